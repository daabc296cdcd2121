#ifndef TRELLIS_CONVERT_H
#define TRELLIS_CONVERT_H

/// Buffers of every depth and shape: pixel conversions, wrappers that call a format's slot with the
/// host's own buffers, and small services around them.
///
/// A buffer's depth is its buffer type: 0 for 8-bit samples of 0..255, 1 for 16-bit samples of
/// 0..16383 in host byte order. Pixel (x, y) is element x + y × pitch; in memory order a pixel is
///
/// | buffer                   | type 0, bytes             | type 1, 16-bit words      |
/// |--------------------------|---------------------------|---------------------------|
/// | colour                   | spare, blue, green, red   | blue, green, red          |
/// | cutout, and RGBA in one  | matte, blue, green, red   | matte, blue, green, red   |
/// | matte or mask            | 1                         | 1                         |
///
/// A matte of 255 or 16383 is opaque. An 8-bit sample v becomes v × 64 + v ÷ 4, and a 16-bit sample
/// w becomes the low byte of w ÷ 64. docs/buffers.md shows the layouts and one use of each wrapper.
///
/// All functions may run in any number of threads at once, on buffers that do not overlap.

#include <stdint.h>

#include "trellis/export.h"
#include "trellis/pic_format.h"

TRELLIS_BEGIN_DECLS

/// @name Pixel conversions
/// They work on the caller's memory, allocate nothing, cannot fail and return 0. A `depth` of 1
/// means 16-bit buffers, any other value 8-bit ones. Sizes and counts below 1 do nothing.

/// Converts all four samples of a `width` × `height` block of cutout pixels, from
/// (`from_x`, `from_y`) in one buffer to (`to_x`, `to_y`) in the other. Equal types: nothing is
/// done, nothing copied. A `from_type` of 1 converts 16-bit to 8-bit, any other 8-bit to 16-bit.
TRELLIS_API int copy_and_convert_cut_buffer_trellis(int width, int height, int from_type,
                                                    const void* from, int from_pitch, int from_x,
                                                    int from_y, int to_type, void* to, int to_pitch,
                                                    int to_x, int to_y);

/// Builds `count` cutout pixels from colour and matte, all stored back to back. A null `matte`
/// makes them opaque. Works from the last pixel to the first, so `cutout` may be `colour`.
TRELLIS_API int rgb_and_a_to_cut_convert_trellis(int depth, const void* colour, const void* matte,
                                                 void* cutout, int count);

/// Takes `count` cutout pixels apart. A null `matte` is not wanted; the spare byte of 8-bit colour
/// pixels keeps its value. Works from the first pixel to the last, so `colour` may be `cutout`.
TRELLIS_API int cut_to_rgb_and_a_convert_trellis(int depth, void* colour, void* matte,
                                                 const void* cutout, int count);

/// Mask samples from `count` colour pixels: 0.11 × blue + 0.59 × green + 0.3 × red, summed in this
/// order in double precision and cut off.
TRELLIS_API int rgb_to_mask_convert_trellis(int depth, const void* colour, void* mask, int count);

/// Sets the three colours of `count` pixels to the mask; the spare byte of 8-bit ones keeps its
/// value.
TRELLIS_API int mask_to_rgb_convert_trellis(int depth, void* colour, const void* mask, int count);

/// Insert the matte into RGBA pixels (`to`), or copy it out of them (`from`), over an inclusive
/// rectangle that addresses both buffers alike.
TRELLIS_API int to8_rgba_trellis(void* rgba, int pitch, const void* matte, int matte_pitch, int x0,
                                 int y0, int x1, int y1);
TRELLIS_API int from8_rgba_trellis(const void* rgba, int pitch, void* matte, int matte_pitch,
                                   int x0, int y0, int x1, int y1);
TRELLIS_API int to16_rgba_trellis(void* rgba, int pitch, const void* matte, int matte_pitch, int x0,
                                  int y0, int x1, int y1);
TRELLIS_API int from16_rgba_trellis(const void* rgba, int pitch, void* matte, int matte_pitch,
                                    int x0, int y0, int x1, int y1);

/// Convert 8-bit cutout buffers between two conventions, in place, `height` rows of `width` pixels.
/// `old` takes them from an inverted matte (0 is opaque) and premultiplied colour to a plain matte
/// n and colours c × 255 ÷ n; transparent pixels become black. `new` goes the other way, with
/// colours c × matte ÷ 256 and opaque pixels unchanged.
TRELLIS_API int reformat_old_cut_8bit_buff(void* cutout, int pitch, int width, int height);
TRELLIS_API int reformat_new_cut_8bit_buff(void* cutout, int pitch, int width, int height);

/// @name Convert wrappers
///
/// Each calls the slot `fn` once and returns its result. `mode` says what becomes of the depth:
///
/// - 0: loads fill and saves read the host's own buffers.
/// - 1: 8-bit becomes 16-bit. A load slot fills 8-bit buffers for the host's 16-bit ones; a save
///   slot gets 16-bit copies of the host's 8-bit ones.
/// - 2: 16-bit becomes 8-bit, likewise.
///
/// In modes 1 and 2 the slot works on temporary buffers of the rectangle: their pitch is its width,
/// and it begins at (0, 0). They start as zeros, and a load converts them into the host's rectangle
/// whatever the slot returned. A save leaves the host's buffers as they are.
///
/// Samples change their depth and nothing else. DPX and Cineon slots take and give codes of 0 to
/// 1023 in 16-bit buffers, which are not scaled: mode 2 on a load, and mode 1 on a save, make a
/// picture that is all but black. Their buffers stay 16-bit (mode 0), and the host scales.
///
/// A wrapper asks the buffer type setting (settings.h) once, as it begins. While a load slot runs,
/// the thread that called, the slot and the host's hooks with it, is answered with the type of the
/// slot's buffers instead: in modes 1 and 2 that is 0 or 1, whatever the setting says. Other
/// threads notice nothing. Slots and hooks must return normally: no exception, no longjmp.
///
/// Error 14: another mode (except where the mode is ignored), a source kind that the wrapper cannot
/// serve, or a null `fn`; no buffer is touched then. Error 3: no memory for a temporary buffer. In
/// both cases the slot is not called. A rectangle without pixels converts nothing, but the slot is
/// called and gives its own answer. A buffer given as null is passed on as null, and so is one that
/// the wrapper would make from it or for it.
///
/// Save slots only read their buffers. They are not `const` here because hosts have slots of their
/// own, whose types are fixed (pic_format.h).

/// A slot of one of several types; `source_kind` says of which:
///
/// | kind | loads            | saves            | sizes          |                              |
/// |------|------------------|------------------|----------------|------------------------------|
/// | 0    | `load_cutout_fn` | `save_cutout_fn` | `size_cut_fn`  | cutout with its information  |
/// | 1    | `load_pic_fn`    | `save_pic_fn`    | `size_pic_fn`  | picture                      |
/// | 2    | `load_cut_fn`    | `save_cut_fn`    | `size_pic_fn`  | picture and matte            |
/// | 3    | `load_mask_fn`   | `save_mask_fn`   | `size_mask_fn` | mask                         |
///
/// The cut wrappers serve kinds 0, 1 and 2, the mask wrappers 1, 2 and 3.
typedef void (*trellis_slot_fn)(void);

/// Colour pictures.
TRELLIS_API int load_pic_fn_convert_trellis(int mode, trellis_load_pic_fn fn, const char* name,
                                            void* rgb, int pitch, int x0, int y0, int x1, int y1,
                                            int file_x, int file_y);
TRELLIS_API int save_pic_fn_convert_trellis(int mode, trellis_save_pic_fn fn, const char* name,
                                            void* rgb, int pitch, int x0, int y0, int x1, int y1,
                                            int compress);

/// Colour and matte in two buffers. A null `alpha` means that there is no matte.
TRELLIS_API int load_rgba_fn_convert_trellis(int mode, trellis_load_cut_fn fn, const char* name,
                                             void* rgb, int pitch, void* alpha, int alpha_pitch,
                                             int x0, int y0, int x1, int y1, int file_x,
                                             int file_y);
TRELLIS_API int save_rgba_fn_convert_trellis(int mode, trellis_save_cut_fn fn, const char* name,
                                             void* rgb, int pitch, void* alpha, int alpha_pitch,
                                             int x0, int y0, int x1, int y1, int compress);

/// Colour and matte in one buffer of four samples a pixel, on both sides.
TRELLIS_API int load_rgba_inone_fn_convert_trellis(int mode, trellis_load_pic_fn fn,
                                                   const char* name, void* rgba, int pitch, int x0,
                                                   int y0, int x1, int y1, int file_x, int file_y);
TRELLIS_API int save_rgba_inone_fn_convert_trellis(int mode, trellis_save_pic_fn fn,
                                                   const char* name, void* rgba, int pitch, int x0,
                                                   int y0, int x1, int y1, int compress);

/// A mask from any slot. Kind 1: the grey of the picture (loads), a grey picture (saves). Kind 2:
/// the matte of the picture, beside colour that is dropped (loads) or black (saves). Kinds 1 and 2
/// save with `compress` 1. In mode 0 the mask's depth is the buffer type setting, and kinds 1 and 2
/// take a packed mask: pitch = width, rectangle from (0, 0).
TRELLIS_API int load_mask_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn,
                                             const char* name, void* mask, int pitch, int x0,
                                             int y0, int x1, int y1, int file_x, int file_y);
TRELLIS_API int save_mask_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn,
                                             const char* name, void* mask, int pitch, int x0,
                                             int y0, int x1, int y1, int compress);

/// A cutout in one packed buffer of `info_width` × `info_height` pixels, which the caller sets
/// before the call (a size of 0 or less has no pixels), together with its information. In mode 0
/// the buffer's depth is the buffer type setting.
///
/// Kind 0 passes everything on. Kinds 1 and 2 load an opaque cutout, or one with the picture's
/// matte, and fill the information with defaults: `int_3` and `int_4` 0, `real_1` and `real_2` the
/// centre, `real_3` and `real_4` 0.5, `int_6` 1, `outline_size` 40, the outline of the whole
/// picture (`outline` holds at least 40 bytes, or is null), `int_7` 3, and in `data_size` the bytes
/// of the slot side's cutout pixels. `int_5` is passed on and not touched.
TRELLIS_API int load_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn,
                                            const char* name, unsigned int* info_width,
                                            unsigned int* info_height, unsigned int* int_3,
                                            unsigned int* int_4, float* real_1, float* real_2,
                                            float* real_3, float* real_4, unsigned int* int_5,
                                            unsigned int* int_6, unsigned int* outline_size,
                                            void* outline, unsigned int* data_size, void* cutout,
                                            unsigned int* int_7);

/// Kind 0 passes everything on, with 0 for `int_5`. Kind 1 saves the colour with `compress` 1,
/// kind 2 colour and matte with `compress` 0.
TRELLIS_API int save_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn,
                                            const char* name, int info_width, int info_height,
                                            int int_3, int int_4, int int_5, int int_6,
                                            int outline_size, void* outline, int data_size,
                                            void* cutout, int int_7, float real_1, float real_2,
                                            float real_3, float real_4);

/// The size of a cutout and its information, with the defaults of `load_cut_fn_convert_trellis` for
/// kinds 1 and 2. Whatever the result, mode 1 then doubles `data_size`, and mode 2 replaces it by
/// `data_size` ÷ 2 + 4; other modes leave it.
TRELLIS_API int size_cut_fn_convert_trellis(int mode, int source_kind, trellis_slot_fn fn,
                                            const char* name, unsigned int* info_width,
                                            unsigned int* info_height, unsigned int* int_3,
                                            unsigned int* int_4, float* real_1, float* real_2,
                                            float* real_3, float* real_4, unsigned int* int_6,
                                            unsigned int* outline_size, unsigned int* data_size,
                                            unsigned int* int_7);

/// The size of a mask, and the catalogue picture. The mode is ignored.
TRELLIS_API int size_mask_fn_convert_trellis(int mode, int source_kind, trellis_size_fn fn,
                                             const char* name, unsigned int* width,
                                             unsigned int* height);
TRELLIS_API int load_cat_fn_convert_trellis(int mode, trellis_load_cat_fn fn, const char* name,
                                            void* buffer, int capacity, unsigned int* width,
                                            unsigned int* height, unsigned int* present);

/// @name Would coding in runs make a picture smaller?
/// A run is up to 255 equal samples of one channel and counts two bytes.

/// The run estimate of a row of 8-bit pixels: three channels of colour, four of RGBA, or a mask.
TRELLIS_API int check_line_for_compression(const unsigned char* line, int count);
TRELLIS_API int check_rgba_line_for_compression(const unsigned char* line, int count);
TRELLIS_API int check_mask_line_for_compression(const unsigned char* line, int count);

/// 1 when ten rows of an 8-bit buffer, height ÷ 22 above the first row of the rectangle, would
/// become smaller, else 0. The rectangle should hold these rows; where it ends, they end. Both
/// four-byte forms look at the three colours. `reserved` is not read.
TRELLIS_API int check_buff_for_compression(int reserved, const void* buffer, int pitch, int x0,
                                           int y0, int x1, int y1);
TRELLIS_API int check_rgba_buff_for_compression(int reserved, const void* buffer, int pitch, int x0,
                                                int y0, int x1, int y1);
TRELLIS_API int check_mask_buff_for_compression(int reserved, const void* buffer, int pitch, int x0,
                                                int y0, int x1, int y1);

/// The aspect ratio of a video picture's pixels: 768 ÷ width for 576 lines, 648 ÷ width for 486
/// lines, else 1. A width of 0 gives an infinity.
TRELLIS_API float guess_aspect_ratio_pic(int width, int height);

/// @name Default outline

/// The outline that a cutout gets when its file carries none: the picture's four corner pixels.
typedef struct trellis_outline_point {
    float x;  ///< pixels from the left
    float y;  ///< pixels from the bottom
} trellis_outline_point;

/// An outline record of four points, 40 bytes, as cutout-information files store it.
typedef struct trellis_default_outline {
    int32_t point_count;              ///< 4
    int32_t closed;                   ///< 1
    trellis_outline_point points[4];  ///< the corners, in the order of the outline
} trellis_default_outline;

/// Fills the 40 bytes at `outline` (a `trellis_default_outline` of any alignment) with the corner
/// pixels (0, 0), (width − 1, 0), (width − 1, height − 1), (0, height − 1), and stores the point
/// half-way between the first and the third as the centre. The origin is not used.
TRELLIS_API void set_default_cutout_outline(void* outline, int origin_x, int origin_y, int width,
                                            int height, float* centre_x, float* centre_y);

TRELLIS_END_DECLS

#endif
