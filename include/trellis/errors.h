#ifndef TRELLIS_ERRORS_H
#define TRELLIS_ERRORS_H

/// Error codes, their messages, and two process-wide words about errors that the library keeps for
/// its host.

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// The codes that the library itself returns. The numbering is shared with hosts and with their
/// other file libraries, which is why it has gaps here; `err_msg_string_pic` knows all of them.
enum trellis_error_code {
    TRELLIS_NO_ERROR = 0,
    TRELLIS_READ_ERROR = 1,         ///< a file ended early, or reading it failed
    TRELLIS_WRITE_ERROR = 2,        ///< writing failed; a partial file is left behind
    TRELLIS_ALLOCATION_ERROR = 3,   ///< memory ran out
    TRELLIS_UNSUPPORTED_ERROR = 5,  ///< a layout or storage code that no reader knows
    TRELLIS_OPEN_ERROR = 6,         ///< a file cannot be opened
    TRELLIS_BUFFER_ERROR = 8,       ///< the caller's buffer is too small
    TRELLIS_WINDOW_ERROR = 9,       ///< a rectangle that the format cannot serve
    TRELLIS_NOT_IN_FORMAT_ERROR = 14,
    TRELLIS_CLOSE_ERROR = 15,
    TRELLIS_SEEK_ERROR = 16,
    TRELLIS_NO_CATALOGUE_ERROR = 19,
    TRELLIS_MAGIC_ERROR = 20,
    TRELLIS_STAT_ERROR = 24,
    TRELLIS_MINIPIC_TOO_BIG_ERROR = 26,
    TRELLIS_SMPTE_DEPTH_ERROR = 33,
    TRELLIS_SMPTE_INTERLEAVE_ERROR = 35,
    TRELLIS_SMPTE_PACKING_ERROR = 36,
    TRELLIS_ELEMENT_COUNT_ERROR = 39,  ///< a DPX file with more than one image element
    TRELLIS_SHORT_HEADER_ERROR = 49    ///< a probe was given too few header bytes
};

/// The message of an error code: constant text, never null, never to be freed. Any code above 64
/// (a negative one counts as that) gives "Unknown error number in trellis".
TRELLIS_API const char* err_msg_string_pic(unsigned int code);

/// Does nothing: showing the message of an error is the host's business.
TRELLIS_API void report_error_pic(int code);

/// The last error: one word for all threads, kept for the host, 0 at load. The slots do not store
/// their results in it; only these functions and `set_minipic_type_trellis` change it.
TRELLIS_API void clear_last_error_trellis(void);
TRELLIS_API void set_last_error_trellis(int code);
TRELLIS_API int inq_last_error_trellis(void);

/// The error-window flag: kept for the host, 0 at load. The setter stores 1 for a positive argument
/// and 0 otherwise, and returns what it stored.
TRELLIS_API int set_error_win_trellis_(int on);
TRELLIS_API int inq_error_win_trellis_(void);

TRELLIS_END_DECLS

#endif
