#pragma once

// Errors as values inside the library. The numbers are the public codes, so a slot hands its result
// to the host with code().

#include "trellis/errors.h"

namespace trellis {

enum class [[nodiscard]] Error : int{
    none = TRELLIS_NO_ERROR,
    read = TRELLIS_READ_ERROR,
    write = TRELLIS_WRITE_ERROR,
    allocation = TRELLIS_ALLOCATION_ERROR,
    unsupported = TRELLIS_UNSUPPORTED_ERROR,
    open = TRELLIS_OPEN_ERROR,
    buffer = TRELLIS_BUFFER_ERROR,
    window = TRELLIS_WINDOW_ERROR,
    not_in_format = TRELLIS_NOT_IN_FORMAT_ERROR,
    close = TRELLIS_CLOSE_ERROR,
    seek = TRELLIS_SEEK_ERROR,
    no_catalogue = TRELLIS_NO_CATALOGUE_ERROR,
    magic = TRELLIS_MAGIC_ERROR,
    stat = TRELLIS_STAT_ERROR,
    minipic_too_big = TRELLIS_MINIPIC_TOO_BIG_ERROR,
    smpte_depth = TRELLIS_SMPTE_DEPTH_ERROR,
    smpte_interleave = TRELLIS_SMPTE_INTERLEAVE_ERROR,
    smpte_packing = TRELLIS_SMPTE_PACKING_ERROR,
    element_count = TRELLIS_ELEMENT_COUNT_ERROR,
    short_header = TRELLIS_SHORT_HEADER_ERROR,
};

constexpr bool failed(Error error) {
    return error != Error::none;
}

constexpr int code(Error error) {
    return static_cast<int>(error);
}

/// Hands a failure on to the caller: returns from the function around it when `expression`, an
/// Error, is one. TRELLIS_TRY_CODE does the same where the caller is a host that wants a number.
#define TRELLIS_TRY(expression)                                      \
    do {                                                             \
        if (const ::trellis::Error trellis_try_error = (expression); \
            ::trellis::failed(trellis_try_error)) {                  \
            return trellis_try_error;                                \
        }                                                            \
    } while (false)

#define TRELLIS_TRY_CODE(expression)                                 \
    do {                                                             \
        if (const ::trellis::Error trellis_try_error = (expression); \
            ::trellis::failed(trellis_try_error)) {                  \
            return ::trellis::code(trellis_try_error);               \
        }                                                            \
    } while (false)

}  // namespace trellis
