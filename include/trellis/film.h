#ifndef TRELLIS_FILM_H
#define TRELLIS_FILM_H

/// Film scans: what the DPX and Cineon formats offer beside their descriptors (`init_dpx_pic_`,
/// `init_smpte_pic_` in pic_format.h).
///
/// Samples. The slots take and give 16-bit buffers. Colour samples and a cutout's matte are the
/// file's 10-bit codes, 0 to 1023, unscaled; codes of an 8-bit DPX file are 0 to 255. A mask is
/// saved from samples 0 to 16383, whose upper ten bits are the code, and loads as the code. Bits
/// above these ranges are dropped on saving, so a neighbouring sample never changes. A sample that
/// the file does not carry loads as 0, and so does every line that is not wholly in the file. A
/// buffer that is null is skipped by a load and saved as 0.
///
/// Rectangles. A load whose rectangle, moved by `file_x` and `file_y`, does not lie inside the
/// file's picture is error 9 and stores nothing. The sign of the offsets does not matter.
///
/// Headers. Each load and save leaves its file's header in the last-header buffer (settings.h): a
/// DPX load the first 1664 bytes, a DPX save all 2048, a Cineon load or save 2056 bytes, the last
/// eight beyond the header. A save starts from the header that is there when it has the format's
/// own type and the size that a save leaves, and rewrites only the fields that each save must:
/// DPX: magic, image offset, ditto key, section lengths, version, file name, creation time,
/// creator, file size, descriptor, pixels per line, lines. Cineon: magic, image offset, section
/// lengths, file size, version, file name, creation date and time, number of channels, and the
/// designator and size of each channel. Otherwise it makes a new header.
///
/// Orientation. DPX files of orientation 0 (upright) and 5 (each file line is a picture column,
/// columns from right to left) are read; a save writes the orientation of the header it starts
/// from. That field alone changes its byte order in the last-header buffer: a DPX load and a DPX
/// save leave it in the host's order. A save takes a 5 of either order for what it is; the file
/// gets 00 05. (Cineon keeps its orientation in one byte, at offset 192.)
///
/// Refused files. A load that fails after opening its file leaves the header as far as it was read
/// over what was held before, or over a new header, and in place of a Cineon field that it refused
/// (depth, interleave, packing, orientation) the value that it would have taken: the next save
/// makes a file that loads.
///
/// Threads. Loads, saves, probes, sizes and infos may run in any number of threads. Each publishes
/// its header and the words below in one step; a save takes its copy of the header it starts from
/// in one step. Whose header is there in the end is then a matter of time: hosts with many threads
/// use the functions that take a header of their own.

#include <stddef.h>
#include <stdint.h>

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// @name State of the last header read
/// 1 when the file last examined is big-endian, 0 when it is little-endian; 1 at load, and after
/// every Cineon file. Loads and queries set it, saves do not.
TRELLIS_API extern int g_bSwap;

/// The bit size of the last DPX header that a load or `size_pic_fn` accepted as DPX; 10 at load.
TRELLIS_API extern int g_iBitDepth;

/// @name Words kept for the host, 0 at load
TRELLIS_API extern int DPX_COMPONENTS;
TRELLIS_API extern int available_user_lut;

/// Stores the transfer characteristic of the last DPX header read by a load or `size_pic_fn` (254
/// at load, and after any Cineon header) and `g_iBitDepth`. Returns 0.
TRELLIS_API int get_info(int* transfer, int* bit_depth);

/// The DPX probe (`inq_type_fn` of the DPX descriptor). `header` holds the first `length` bytes of
/// the file `name`, 4 at least; the file itself is opened for the rest. When the magic is not
/// DPX's, both outs stay as they were; `is_this_format` becomes 0 when the file cannot be opened or
/// holds channels that no kind stands for.
TRELLIS_API int inq_dpx_type_fn_(void* header, int length, const char* name, int64_t reserved,
                                 unsigned int* kind, unsigned int* is_this_format);

/// The Cineon probe (`inq_type_fn` of the Cineon descriptor). `length` is 192 at least; the probe
/// looks at bytes 0 to 3 and 193 of `header` and at nothing else. `is_this_format` is always
/// answered, `kind` only with a 1.
TRELLIS_API int inq_smpte_type_fn(void* header, int length, const char* name, int64_t reserved,
                                  unsigned int* kind, unsigned int* is_this_format);

/// What a film file really holds, beyond what the slots tell. Values are the header's own; a number
/// that a header leaves undefined has all its bits set there, as in the file.
typedef struct trellis_film_info {
    /// sizeof(trellis_film_info), set by the caller. Later versions add members at the end; no more
    /// than this many bytes are written.
    size_t size;
    int format;                  ///< TRELLIS_TYPE_DPX or TRELLIS_TYPE_CINEON
    int big_endian;              ///< 1 or 0
    unsigned int width;          ///< of the picture shown the right way up, in pixels
    unsigned int height;         ///< likewise, in rows
    int channels;                ///< samples a pixel; 0 when the descriptor says nothing known
    char channel_order[8];       ///< as they are stored, "RGB", "ABGR", "A", "Y" (luma); or ""
    int descriptor;              ///< DPX; 0 for Cineon, like the other fields that it lacks
    int bit_size;                ///< bits of a sample
    int packing;                 ///< DPX: 0 tight, 1 and 2 filled to words; Cineon: 5
    int encoding;                ///< DPX: 1 is run-length
    int transfer;                ///< 254 for Cineon, as `get_info` has it
    int colorimetric;            ///< DPX
    unsigned int data_sign;      ///< 0 is unsigned
    int orientation;             ///< 0 to 7
    unsigned int line_padding;   ///< bytes after each line
    unsigned int image_padding;  ///< bytes after the image
    int elements;                ///< image elements; 1 for Cineon
    /// 1 when the pixels are this library's own 5-byte cutouts or 2-byte masks. Other programs put
    /// three 10-bit samples in each word, also those of such pixels.
    int private_layout;
    uint64_t image_offset;   ///< where the first line starts
    uint64_t line_size;      ///< bytes from one line to the next; 0 when lines vary or are unknown
    uint64_t file_size;      ///< of the file as it is; of pipes and the like, a guess
    uint64_t promised_size;  ///< image bytes that the header asks for; 0 with a `line_size` of 0
    uint64_t present_size;   ///< how many of them (or, where that is 0, of any) are in the file
    /// Why the load slots would not give the picture that is in the file: constant text, "" when
    /// they do. Lines that are missing are not a reason.
    const char* slots_reason;
    /// Likewise `load_film_samples_trellis`.
    const char* samples_reason;
} trellis_film_info;

/// Describes the DPX or Cineon file `name`, told by its first bytes. Errors: 1 (header cut short),
/// 6, 8 (`info` is null or its size holds no member), 20 (neither format); `info` is then as it
/// was. Neither the last-header buffer nor any word about the last header changes.
TRELLIS_API int info_film_trellis(const char* name, trellis_film_info* info);

/// Loads a rectangle of any DPX or Cineon file for which `info_film_trellis` gives no
/// `samples_reason`, into 16-bit buffers like the cut slot, the right way up. Samples of every bit
/// size are scaled to 0..16383 and rounded to nearest. A null buffer is not wanted; luma fills the
/// three colours, other samples that the file does not carry are 0.
///
/// Errors: 5 (cannot be loaded as what it is) and 39 (two image elements), 9 (outside the picture),
/// 1, 3, 6, 15, 16, 20; nothing is stored then, but for 1: when lines of the rectangle are missing
/// in the file, those that are there are stored, and the others stay as they were.
///
/// Neither the last-header buffer nor any word about the last header changes.
TRELLIS_API int load_film_samples_trellis(const char* name, void* rgb, int pitch, void* alpha,
                                          int alpha_pitch, int x0, int y0, int x1, int y1,
                                          int file_x, int file_y);

/// What `save_film_samples_trellis` is to write.
typedef struct trellis_film_save {
    size_t size;  ///< sizeof(trellis_film_save), set by the caller
    int format;   ///< TRELLIS_TYPE_DPX or TRELLIS_TYPE_CINEON
    int bits;     ///< of the file's samples: 10, for scaled DPX also 8, 12 or 16
    int scaled;   ///< 1: samples are 0..16383, to be scaled; 0: as the save slots take them
    /// The raw header to start from, big-endian, as a file or the last-header buffer has it: 1664
    /// or 2048 bytes for DPX, 2048 or 2056 for Cineon. No bytes (not null, a size of 0): a new
    /// header. Null: the held one or a new one, as the save slots do it.
    const void* header;
    size_t header_size;  ///< bytes at `header`
} trellis_film_save;

/// Saves a rectangle like the save slots: an image without `alpha`, a mask without `rgb`, else a
/// cutout. Samples of 10 bits are packed as the slots do; those of 8 and 16 fill their bytes, and
/// those of 12 the upper end of two, most significant byte first. Fields that say how samples are
/// stored are set to what is written; the others are kept as the slots keep them.
///
/// With a header of the caller's own, neither the last-header buffer nor any word about the last
/// header is read or changed, so threads do not meet. Without one the save starts from the held
/// header and publishes its own, in which the fields about storage stay as they were: they belong
/// to a slot's next save, which would not change them.
///
/// Errors: those of the slots; 5 (anything that cannot be saved so) and 8 (`options` is null or too
/// small) before the file is created.
TRELLIS_API int save_film_samples_trellis(const char* name, const void* rgb, int pitch,
                                          const void* alpha, int alpha_pitch, int x0, int y0,
                                          int x1, int y1, const trellis_film_save* options);

TRELLIS_END_DECLS

#endif
