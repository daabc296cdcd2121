#pragma once

// One thing done with many files.

#include <cstddef>
#include <functional>
#include <stdexcept>
#include <string>

#include "trellis/sequence.hpp"

namespace tool {

/// The work ended before all files were done, and said why.
class Stopped : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

struct BatchOptions {
    int jobs = 0;            // 0: the processors that the process may use
    bool fail_fast = false;  // stop at the first failure
    std::string verb = {};   // for the line of the end, "converted"; none is printed without
};

/// What became of one file, beside failure, which is an exception.
enum class Outcome { done, skipped };

/// Calls `work(0)` to `work(count - 1)`, several at a time. Where one throws host::Error, that is
/// reported and the others go on. Standard error shows how far it is: a line that changes on a
/// terminal, else a line every ten seconds and one at the end. Returns whether all is done; throws
/// Stopped when a disk is full, or after a failure if that is to end it.
bool run_batch(std::size_t count, const BatchOptions& options,
               const std::function<Outcome(std::size_t)>& work);

}  // namespace tool
