#ifndef TRELLIS_BYTES_H
#define TRELLIS_BYTES_H

/// Small helpers that the format code and hosts share: byte order, file-name extensions, removing
/// the remains of a failed save, and the escape test.

#include "trellis/export.h"
#include "trellis/pic_format.h"

TRELLIS_BEGIN_DECLS

/// Little-endian byte sequences. `bytes` points at 2 (short) or 4 (long) bytes of any alignment.
TRELLIS_API int chars_to_short_pic(const unsigned char* bytes);  ///< −32768 to 32767
TRELLIS_API void short_to_chars_pic(unsigned char* bytes, short value);
TRELLIS_API long chars_to_long_pic(const unsigned char* bytes);  ///< 0 to 4294967295
TRELLIS_API void long_to_chars_pic(unsigned char* bytes, long value);

/// In-place byte reversal at addresses of any alignment.
TRELLIS_API void swapends_short_pic(void* two_bytes);    ///< exchanges two bytes
TRELLIS_API void swap_shorts_long_pic(void* two_words);  ///< exchanges two 16-bit words
TRELLIS_API void swapends_long_pic(void* long_value);    ///< reverses the first four bytes only

/// By-value swappers. A nonzero `keep` returns the value as it came (the low 16 bits of it for
/// `SwapBytesInWord`).
TRELLIS_API unsigned int SwapBytesInWord(int keep, unsigned int value);
TRELLIS_API unsigned int SwapWordsInDword(int keep, unsigned int value);
TRELLIS_API unsigned int SwapBytesInDword(int keep, unsigned int value);

/// The float whose four bytes are those of `value` in reverse order.
TRELLIS_API float OR_ImageSwapFloat(float value);

/// 1 when `name` ends in the characters of `extension` (case counts, a dot is not needed), or when
/// the extension is empty; else 0.
TRELLIS_API int check_ext_trellis(const char* name, const char* extension);

/// Tests `name` against the three extension copies of `format` in turn and stores the last answer
/// in `match`, stopping at the first 1. All four formats have an empty third extension, so their
/// records match every name. Returns 0.
TRELLIS_API int inq_this_type_pic_trellis(const pic_format* format, const char* name,
                                          unsigned int* match);

/// Removes the file that a failed save left behind, when the owner-write or group-write bit lets
/// the calling user do so. What happened is printed on standard output.
TRELLIS_API void delete_if_writeable_trellis(const char* name);

/// Long saves ask this function whether the user wants to stop. The library's own answer is always
/// 0; a host executable that exports the same name is asked instead, in the thread that saves, and
/// a nonzero answer ends a DPX or Cineon save with that value as its error code.
TRELLIS_API int escape_test_utils_pic(void);

TRELLIS_END_DECLS

#endif
