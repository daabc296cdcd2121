#ifndef TRELLIS_SETTINGS_H
#define TRELLIS_SETTINGS_H

/// Process-wide settings, progress reporting and the last-header buffer.
///
/// Every setting is a 32-bit word that holds its default from the moment the library is loaded and
/// is never reset. Most are only stored, for the host and its other file libraries; the ones that
/// the library itself reads say so. A name with a trailing underscore is the form for callers that
/// pass arguments by reference: where it takes a pointer, it reads the value there.
///
/// Threads: any thread may set and query at any time. A load or save asks for what it needs once,
/// as it begins. Hooks and callbacks are called in the thread that does the work. The pointer that
/// `inq_last_header_trellis` hands out is good until the next call of any thread that reads or
/// writes a film file or changes the buffer, so a host with threads reads the
/// header from the file and gives it to `save_film_samples_trellis` (film.h).

#include <stdint.h>

#include "trellis/export.h"

TRELLIS_BEGIN_DECLS

/// @name Buffer type, default 0
/// The sample depth of the host's buffers: 0 = 8-bit, 1 = 16-bit (samples 0..16383). Stored as
/// given. Read by the convert wrappers and by the Maya IFF loads. While a wrapper runs a load slot,
/// the query answers the type of the slot's buffers in that thread (convert.h).
TRELLIS_API void set_buffer_type_trellis(int type);
TRELLIS_API int inq_buffer_type_trellis(void);

/// @name Limits, default 0 and 0: none
/// How large a picture the load slots and `load_film_samples_trellis` accept. `max_pixels` is width
/// times height of the picture in the file, whatever rectangle of it is wanted; `max_bytes` is what
/// the whole picture would take in buffers like those given (a null buffer takes nothing). A header
/// beyond either is error 3, before memory is taken or anything is stored. Sizes and information
/// are answered all the same, and cost nothing.
TRELLIS_API void set_limits_trellis(uint64_t max_pixels, uint64_t max_bytes);
TRELLIS_API void inq_limits_trellis(uint64_t* max_pixels, uint64_t* max_bytes);

/// @name Minipic sizes, default 100 × 75 and 200 × 150 pixels
/// Read by `write_minipic_trellis`. Stored as given. A width of −1 for size 2, which
/// `set_size_2_y_minipic_trellis_` stores, means "from the picture's proportions".
TRELLIS_API void set_size_1_minipic_trellis(int width, int height);
TRELLIS_API void inq_size_1_minipic_trellis(int* width, int* height);
TRELLIS_API void set_size_2_minipic_trellis(int width, int height);
TRELLIS_API void set_size_2_minipic_trellis_(int width, int height);
TRELLIS_API void set_size_2_y_minipic_trellis_(int height);
TRELLIS_API void inq_size_2_minipic_trellis(int* width, int* height);

/// @name Minipic type, default 0
/// 1 to 4; any other value is stored as 0. The setters also clear the last error and return what
/// they stored.
TRELLIS_API int set_minipic_type_trellis(int type);
TRELLIS_API int set_minipic_type_trellis_(const int* type);
TRELLIS_API int inq_minipic_type_trellis(void);
TRELLIS_API int inq_minipic_type_trellis_(void);

/// @name Save minipics, default 1
/// Toggles turn a positive word into 0 and any other into 1, and return the new value.
TRELLIS_API void set_save_minipics_trellis(int on);
TRELLIS_API void set_save_minipics_trellis_(const int* on);
TRELLIS_API int toggle_save_minipics_trellis(void);
TRELLIS_API int toggle_save_minipics_trellis_(void);
TRELLIS_API int inq_save_minipics_trellis(void);
TRELLIS_API int inq_save_minipics_trellis_(void);

/// @name Auto-detect minis, default 0
TRELLIS_API void set_auto_detect_minis_trellis_(int on);
TRELLIS_API int inq_auto_detect_minis_trellis_(void);

/// @name Lantern cutouts and lantern masks, default 1 and 1
/// Setters store 1 for arguments of at least 1 and 0 otherwise, and return what they stored; the
/// `cut_mask` setters change the cutouts word alone. Toggles return the new value, except
/// `toggle_cut_mask_lantern_trellis` and its twin: they set both words to 0 when the cutouts word
/// was positive, else both to 1, and return the cutouts word as it was before.
TRELLIS_API int set_cut_lantern_trellis(int on);
TRELLIS_API int set_cut_lantern_trellis_(const int* on);
TRELLIS_API int set_lantern_cutouts_trellis(int on);
TRELLIS_API int set_cut_mask_lantern_trellis(int on);
TRELLIS_API int set_cut_mask_lantern_trellis_(const int* on);
TRELLIS_API int toggle_cut_lantern_trellis(void);
TRELLIS_API int toggle_cut_lantern_trellis_(void);
TRELLIS_API int toggle_cut_mask_lantern_trellis(void);
TRELLIS_API int toggle_cut_mask_lantern_trellis_(void);
TRELLIS_API int inq_cut_lantern_trellis(void);
TRELLIS_API int inq_cut_lantern_trellis_(void);
TRELLIS_API int inq_lantern_cutouts_trellis(void);
TRELLIS_API int inq_cut_mask_lantern_trellis(void);
TRELLIS_API int inq_cut_mask_lantern_trellis_(void);
TRELLIS_API int set_mask_lantern_trellis(int on);
TRELLIS_API int set_mask_lantern_trellis_(const int* on);
TRELLIS_API int toggle_mask_lantern_trellis(void);
TRELLIS_API int toggle_mask_lantern_trellis_(void);
TRELLIS_API int inq_mask_lantern_trellis(void);
TRELLIS_API int inq_mask_lantern_trellis_(void);
TRELLIS_API int inq_lantern_masks_trellis(void);

/// @name Words kept for the host's other file libraries
TRELLIS_API void set_default_gamma_trellis_(const float* gamma);  ///< default 2.2
TRELLIS_API float rinq_default_gamma_trellis_(void);
TRELLIS_API void set_jpeg_quality_trellis_(int quality);  ///< default 90
TRELLIS_API int inq_jpeg_quality_trellis_(void);
TRELLIS_API void set_test_esc_during_load_trellis_(int on);  ///< default 1
TRELLIS_API int inq_test_esc_during_load_trellis_(void);
TRELLIS_API void set_noextchk_trellis(int on);  ///< default 0
TRELLIS_API void set_noextchk_trellis_(const int* on);
TRELLIS_API int inq_noextchk_trellis(void);
TRELLIS_API int inq_noextchk_trellis_(void);
TRELLIS_API void set_match_noinfo_trellis(int on);  ///< default 0
TRELLIS_API void set_match_noinfo_trellis_(const int* on);
TRELLIS_API int inq_match_noinfo_trellis(void);
TRELLIS_API int inq_match_noinfo_trellis_(void);

/// @name Fixed answers
TRELLIS_API int inq_apply_user_lut_trellis_(void);  ///< always 0: samples pass through no table
TRELLIS_API int inq_compressed_trellis(void);       ///< always 2: the host decides

/// @name Progress interval, default 30
/// Both setters write the same word and return 1.
TRELLIS_API int set_progress_interval_trellis_(const int* interval);
TRELLIS_API int set_progress_interval_gauge_(const int* interval);
TRELLIS_API int inq_progress_interval_trellis_(void);
TRELLIS_API int inq_progress_interval_gauge_(void);

/// A progress callback; `fraction` points at a float in 0.0 to 1.0 that lives for the call.
typedef void (*trellis_progress_fn)(float* fraction);

/// Installs the callback that `update_progress_trellis_` calls; null removes it.
TRELLIS_API void set_progress_fn_trellis_(trellis_progress_fn callback);

/// For the host: clamps `fraction` into 0.0 to 1.0 and hands it to the installed callback, if any.
/// The library never calls this function.
TRELLIS_API void update_progress_trellis_(float fraction);

/// The formats' own progress hook, empty in the library. The Pixar and Maya readers and writers and
/// the DPX and Cineon writers call it with the fraction of their work done (the DPX and Cineon
/// readers do not), in the thread that works and always through the dynamic symbol: a host
/// executable that exports a function of this name (link it with -rdynamic) receives the calls
/// instead.
TRELLIS_API void occaisional_update_progress_trellis_(float fraction);

/// Does nothing.
TRELLIS_API void occasional_update_gauge_(void);

/// @name Last-header buffer
/// One heap block, made by `malloc`, that holds the raw header of the last DPX or Cineon file read
/// or written, its size in bytes and the type code of its format (33 DPX, 14 Cineon). The block
/// belongs to the library. All functions return 0 unless said otherwise.

/// Grows or shrinks the block to `size` bytes (added bytes are zero). When memory runs out, or the
/// size is negative, the block is gone and the result is 3.
TRELLIS_API int realloc_last_header_trellis(int size);
TRELLIS_API int inq_last_header_trellis(void** header, int* size);
TRELLIS_API int set_last_header_type_trellis(int type);
TRELLIS_API int inq_last_header_type_trellis(int* type);

/// Forgets the block without freeing it: for a host that has taken it over and will `free` it.
TRELLIS_API int clear_last_header_trellis(void);

/// Frees the block, if there is one, and sets pointer, size and type to 0.
TRELLIS_API int free_last_header_trellis(void);

TRELLIS_END_DECLS

#endif
