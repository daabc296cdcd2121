#ifndef TRELLIS_SIDEDATA_H
#define TRELLIS_SIDEDATA_H

/// The two side files that stand beside a picture: cutout information (".cinfo") and minipics
/// (".mpc"). Both carry the whole name of the picture file in front of their extension: shot.iff
/// has shot.iff.cinfo and shot.iff.mpc. The library touches them in these functions only.
///
/// All functions take the name of the picture file and return an error code (errors.h), 0 for
/// success. They may run in any number of threads at once, for different pictures.

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// @name Cutout information
/// A cutout's width and height, numbers whose meaning is the host's own, and an outline: bytes that
/// the library stores and does not interpret. A host that wants the outline asks
/// `size_cutout_info_trellis` for its size, makes room, and calls `load_cutout_info_trellis`.

/// 1 when `buffer_type` is 1, else 0.
TRELLIS_API int format_cutout_info_trellis(int buffer_type);

/// Writes the side file. `outline` holds `outline_size` bytes; without an outline both are null and
/// 0. `reserved` is not read. Error 8, and no file, for a negative outline size or a positive one
/// without an outline; 3 when memory runs out; 6 when the file cannot be created; 2 when writing it
/// fails, which leaves a part of it behind.
TRELLIS_API int save_cutout_info_trellis(const char* name, int info_width, int info_height,
                                         int int_3, int int_4, float real_1, float real_2,
                                         float real_3, float real_4, int int_5, int int_6,
                                         int outline_size, const void* outline, void* reserved,
                                         int int_7);

/// Reads the side file. The integers are those that were saved, negative ones included.
///
/// A cutout without a stored outline has its four corner pixels for one: `outline_size` becomes 40
/// and `outline`, unless it is null, receives the `trellis_default_outline` (convert.h) of
/// `info_width` and `info_height`. The same happens when the load fails and `outline_size` is below
/// 1 at that moment, so a host that sets it to 0 and the size to that of its picture always gets an
/// outline. `outline` must have room for the stored size, and for 40 bytes.
///
/// Error 3 when memory runs out; 6 when the file cannot be opened; 1 when it ends early or its
/// lengths reach beyond its end; 16 when the outline cannot be passed over. Values read before the
/// failure are kept, the others stay as they were. A version other than 1 is announced on standard
/// output and read alike. `reserved` is not read.
TRELLIS_API int load_cutout_info_trellis(const char* name, unsigned int* info_width,
                                         unsigned int* info_height, unsigned int* int_3,
                                         unsigned int* int_4, float* real_1, float* real_2,
                                         float* real_3, float* real_4, unsigned int* int_5,
                                         unsigned int* int_6, unsigned int* outline_size,
                                         void* outline, void* reserved, unsigned int* int_7);

/// As `load_cutout_info_trellis`, without the outline and without `int_5`. A `trellis_size_cut_fn`.
TRELLIS_API int size_cutout_info_trellis(const char* name, unsigned int* info_width,
                                         unsigned int* info_height, unsigned int* int_3,
                                         unsigned int* int_4, float* real_1, float* real_2,
                                         float* real_3, float* real_4, unsigned int* int_6,
                                         unsigned int* outline_size, unsigned int* reserved,
                                         unsigned int* int_7);

/// @name Minipics
/// Two small previews of a picture. A preview pixel is 4 bytes: matte (or a grey level where there
/// is no matte), blue, green, red. Rows follow each other without padding, in the order of the
/// buffer's: the first comes from row `y0`.

/// What the previews are made from.
enum trellis_minipic_source {
    TRELLIS_MINIPIC_IMAGE = 0,    ///< `rgb`; the first byte is the mean of the colours
    TRELLIS_MINIPIC_CUTOUT = 1,   ///< `rgb` and `alpha`
    TRELLIS_MINIPIC_MASK = 2,     ///< `alpha`, in all four bytes
    TRELLIS_MINIPIC_COMBINED = 3  ///< `cut`
};

/// Makes two previews of the inclusive rectangle and writes them to the side file. Their sizes are
/// the minipic sizes of settings.h; the picture keeps its proportions and is centred on zeros.
///
/// `pitch`, in pixels, is that of all buffers. `cut` holds colour and matte together: matte, blue,
/// green, red, as bytes or words. Only the buffers that `source` names are read; when one of them
/// is null, or the source or depth is none of those listed, both previews stay zero.
///
/// `depth` 0 is for 8-bit buffers and 1 for 16-bit buffers (samples 0..16383), of which the first
/// preview alone is made, the second staying zero. 2 (12-bit table indices) is announced on
/// standard output as unsupported.
///
/// Error 2 when the file cannot be written, or when a preview has no pixels: a part of the file may
/// be left behind. Error 2, and no file, for negative sizes or ones whose bytes a 32-bit number
/// cannot count, and when memory runs out.
TRELLIS_API int write_minipic_trellis(const char* name, const void* rgb, const void* alpha,
                                      const void* cut, int pitch, int x0, int y0, int x1, int y1,
                                      int depth, int source);

/// Reads the first preview. `destination` has room for `capacity` pixels of 4 bytes; those that the
/// preview does not fill become zero. `type` is 1 for a preview of colour (sources 0 and 1), 2 for
/// a mask, 3 for a combined cutout; a source that is none of these leaves it as it was (4 sets 0).
///
/// Error 24 when there is no side file; 1 when it cannot be read, ends early or contradicts itself;
/// 3 when memory runs out. These leave outs and destination as they were. Error 26 when the preview
/// needs more than `capacity` pixels: the outs are set and the destination is cleared.
TRELLIS_API int read_minipic_trellis(const char* name, void* destination, int capacity, int* width,
                                     int* height, int* type);

TRELLIS_END_DECLS

#endif
