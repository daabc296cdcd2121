#pragma once

// The last-header buffer, as the film slots use it: each takes its copy in one step and publishes
// what it has read or written in one step, so that no thread sees half a header.

#include <cstddef>
#include <cstdint>
#include <span>

#include "frame/error.h"
#include "frame/film_words.h"

namespace trellis {

/// Copies the block, as far as `copy` reaches, when it is tagged `type`. Answers its size, 0 when
/// it has another tag.
std::size_t copy_last_header(int type, std::span<std::uint8_t> copy);

/// Replaces the block and its tag, and changes the words. Error::allocation, with no block left and
/// the words as they were, when memory runs out.
Error publish_last_header(int type, std::span<const std::uint8_t> header, const FilmWords& words);

/// A record as bytes.
template <class Record>
std::span<std::uint8_t> bytes_of(Record& record) {
    return {reinterpret_cast<std::uint8_t*>(&record), sizeof record};
}

}  // namespace trellis
