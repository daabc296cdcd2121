#ifndef TRELLIS_PIC_FORMAT_H
#define TRELLIS_PIC_FORMAT_H

/// The format descriptor: one record per file format, owned by the host, filled by the library.
///
/// Conventions shared by all slots:
///
/// - A slot takes a file name, opens the file, does its work, closes it, and returns an error code
///   (errors.h), 0 for success. Nothing stays open between calls. A failed save may leave a partial
///   file.
/// - An empty slot is a null pointer: the format does not offer that operation.
/// - Buffers belong to the caller and point at their pixel (0, 0); pixel (x, y) is element
///   x + y × pitch. Pitches count pixels, not bytes. Rows run upward: row y0 of a rectangle is the
///   bottom line of the picture.
/// - The rectangle x0, y0, x1, y1 is inclusive. Loads write nothing outside it.
/// - `file_x`, `file_y` (loads) say which column and row of the file's picture, counted from its
///   lower left, lands at (x0, y0); they are passed as zero or negative numbers.
/// - `compress` (saves), when nonzero, asks for the format's compressed storage, if it has one.
/// - Buffer type 0: a colour pixel is 4 bytes (byte 0 spare, then blue, green, red), a matte pixel
///   1 byte. Buffer type 1: a colour pixel is three 16-bit words (blue, green, red), a matte pixel
///   one word. Pixar slots and Maya saves take type 0, DPX and Cineon slots type 1; Maya loads
///   write the layout of the buffer type setting (settings.h).
/// - Save slots only read their buffers; their types lack `const` because hosts have slots of their
///   own, written to these types.
/// - Slots may run in any number of threads at once, on different files and on buffers that do not
///   overlap. The hooks (settings.h, bytes.h) are called in the thread that runs the slot.

#include <stdint.h>

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// Format type codes (`pic_format::type`). They also tag the last-header buffer (settings.h).
enum trellis_format_type {
    TRELLIS_TYPE_PIXAR = 7,
    TRELLIS_TYPE_CINEON = 14,
    TRELLIS_TYPE_MAYA = 32,
    TRELLIS_TYPE_DPX = 33
};

/// What a file holds, as probes and information queries report it.
enum trellis_kind {
    TRELLIS_KIND_IMAGE = 0,   ///< colour only
    TRELLIS_KIND_CUTOUT = 1,  ///< colour plus matte
    TRELLIS_KIND_MASK = 2,    ///< matte only
    TRELLIS_KIND_OTHER = 4    ///< information queries only: channels that no reader serves
};

/// Loads a colour picture.
typedef int (*trellis_load_pic_fn)(const char* name, void* rgb, int pitch, int x0, int y0, int x1,
                                   int y1, int file_x, int file_y);

/// Saves a colour picture.
typedef int (*trellis_save_pic_fn)(const char* name, void* rgb, int pitch, int x0, int y0, int x1,
                                   int y1, int compress);

/// Loads colour and a separate matte. A null `alpha` means that no matte is wanted.
typedef int (*trellis_load_cut_fn)(const char* name, void* rgb, int pitch, void* alpha,
                                   int alpha_pitch, int x0, int y0, int x1, int y1, int file_x,
                                   int file_y);

/// Saves colour and a separate matte. A null `alpha` means that there is no matte.
typedef int (*trellis_save_cut_fn)(const char* name, void* rgb, int pitch, void* alpha,
                                   int alpha_pitch, int x0, int y0, int x1, int y1, int compress);

/// Loads a matte alone.
typedef int (*trellis_load_mask_fn)(const char* name, void* mask, int pitch, int x0, int y0, int x1,
                                    int y1, int file_x, int file_y);

/// Saves a matte alone.
typedef int (*trellis_save_mask_fn)(const char* name, void* mask, int pitch, int x0, int y0, int x1,
                                    int y1, int compress);

/// Stores a picture's width and height in pixels.
typedef int (*trellis_size_fn)(const char* name, unsigned int* width, unsigned int* height);

/// Loads a cutout together with its cutout information. None of the library's formats offers it.
typedef int (*trellis_load_cutout_fn)(const char* name, unsigned int* info_width,
                                      unsigned int* info_height, unsigned int* int_3,
                                      unsigned int* int_4, float* real_1, float* real_2,
                                      float* real_3, float* real_4, unsigned int* int_5,
                                      unsigned int* int_6, unsigned int* outline_size,
                                      void* outline, unsigned int* data_size, void* cutout,
                                      unsigned int* int_7);

/// Saves a cutout together with its cutout information. None of the library's formats offers it.
typedef int (*trellis_save_cutout_fn)(const char* name, int info_width, int info_height, int int_3,
                                      int int_4, int int_5, int int_6, int outline_size,
                                      void* outline, int data_size, void* cutout, int int_7,
                                      float real_1, float real_2, float real_3, float real_4);

/// Stores a cutout's size and cutout information. None of the library's formats offers it.
typedef int (*trellis_size_cut_fn)(const char* name, unsigned int* info_width,
                                   unsigned int* info_height, unsigned int* int_3,
                                   unsigned int* int_4, float* real_1, float* real_2, float* real_3,
                                   float* real_4, unsigned int* int_6, unsigned int* outline_size,
                                   unsigned int* data_size, unsigned int* int_7);

/// Loads the small catalogue picture inside a file into `buffer`, which holds `capacity` pixels of
/// 4 bytes. A file without one leaves the outs as they were, so the host clears `present` first.
typedef int (*trellis_load_cat_fn)(const char* name, void* buffer, int capacity,
                                   unsigned int* width, unsigned int* height,
                                   unsigned int* present);

/// 1 when `buffer_type` is the format's native one, else 0.
typedef int (*trellis_depth_supported_fn)(int buffer_type);

/// Probes the first `length` bytes of the file `name`. A recognised file sets `is_this_format` to 1
/// and `kind`; a magic that is not the format's may leave both outs untouched, so the host sets
/// `is_this_format` to 0 before each call. Error 49 when there are fewer bytes than the probe
/// needs; 594 bytes satisfy every probe. `reserved` is not read.
typedef int (*trellis_inq_type_fn)(void* header, int length, const char* name, int64_t reserved,
                                   unsigned int* kind, unsigned int* is_this_format);

/// Describes a file. `compression` is nonzero for encoded storage, `image_offset` the byte offset
/// of the image data (0 where the format has no single one), `deep` 1 for samples of more than
/// 8 bits. Outs that do not apply to a file are left as they were.
typedef int (*trellis_info_fn)(const char* name, unsigned int* compression, unsigned int* flag_a,
                               unsigned int* flag_b, unsigned int* image_offset, unsigned int* kind,
                               unsigned int* channels, unsigned int* deep, unsigned int* zero_1,
                               unsigned int* zero_2, unsigned int* width, unsigned int* height,
                               unsigned int* zero_3);

/// A slot that no format fills.
typedef int (*trellis_spare_fn)(void);

/// The format descriptor. The host owns it and clears it before the init call; the library writes
/// it only there and keeps no pointer to it.
typedef struct pic_format {
    uint32_t type;            ///< format type code: 7 Pixar, 14 Cineon, 32 Maya IFF, 33 DPX
    int32_t flag_1;           ///< always 1
    int32_t flag_2;           ///< always 1
    const char* ext;          ///< first file-name extension, without a dot
    const char* ext2;         ///< second extension, "" where there is none
    const char* ext3;         ///< third extension, "" for all four formats
    char ext_copy[128];       ///< copies of the three, which `inq_this_type_pic_trellis` tests
    char ext2_copy[128];      ///< of the second
    char ext3_copy[128];      ///< of the third
    const char* long_name;    ///< name for display
    const char* code_string;  ///< short upper-case code by which hosts name the format

    trellis_load_pic_fn load_pic_fn;        ///< these are null where a format has no such slot
    trellis_save_pic_fn save_pic_fn;        ///< colour
    trellis_load_cut_fn load_cut_fn;        ///< colour and matte
    trellis_save_cut_fn save_cut_fn;        ///< colour and matte
    trellis_load_cutout_fn load_cutout_fn;  ///< left by every init function as the host had it
    trellis_save_cutout_fn save_cutout_fn;  ///< left by every init function as the host had it
    trellis_size_fn size_pic_fn;            ///< width and height
    trellis_size_cut_fn size_cut_fn;        ///< always null
    trellis_load_mask_fn load_mask_fn;      ///< the matte alone
    trellis_save_mask_fn save_mask_fn;      ///< the matte alone
    trellis_size_fn size_mask_fn;           ///< width and height of a mask
    trellis_spare_fn spare_fn[3];           ///< always null
    trellis_load_cat_fn load_cat_fn;        ///< the catalogue picture
    trellis_depth_supported_fn depth_supported_fn;  ///< the native buffer type
    trellis_inq_type_fn inq_type_fn;                ///< the probe
    trellis_info_fn info_fn;                        ///< what is in a file
    trellis_spare_fn spare_fn_2[2];                 ///< always null
    int32_t spare_word;                             ///< always 0
} pic_format;

/// Fill a descriptor for one format each: every field but `load_cutout_fn` and `save_cutout_fn`.
/// They cannot fail, and filling a record twice gives the same contents.
TRELLIS_API void init_pixar_pic_(pic_format* format);
TRELLIS_API void init_dpx_pic_(pic_format* format);
TRELLIS_API void init_smpte_pic_(pic_format* format);
TRELLIS_API void init_maya_pic_(pic_format* format);

TRELLIS_END_DECLS

/* Compiled hosts know the record by these offsets. */
#if defined(__x86_64__) && defined(__LP64__)
#include <stddef.h>
#ifdef __cplusplus
#define TRELLIS_STATIC_ASSERT static_assert
#else
#define TRELLIS_STATIC_ASSERT _Static_assert
#endif
TRELLIS_STATIC_ASSERT(sizeof(pic_format) == 608, "pic_format is 608 bytes");
TRELLIS_STATIC_ASSERT(offsetof(pic_format, load_pic_fn) == 440, "load_pic_fn is at 440");
TRELLIS_STATIC_ASSERT(offsetof(pic_format, spare_word) == 600, "spare_word is at 600");
#undef TRELLIS_STATIC_ASSERT
#endif

#endif
