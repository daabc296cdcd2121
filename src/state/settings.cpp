// The process-wide settings: words that hosts set and query. Few of them are read by the library;
// the public header says which. Each is atomic: any thread may set it while others work.

#include "trellis/settings.h"

#include <atomic>
#include <cstdint>

#include "trellis/errors.h"

#include "state/buffer_type.h"
#include "state/limits.h"

namespace {

// As wide as its alignment, so that every compiler reads and writes it in one instruction.
struct alignas(2 * sizeof(int)) MinipicSize {
    int width;
    int height;
};

// Defaults from the moment the library is loaded.
std::atomic<std::uint64_t> max_pixels = 0;
std::atomic<std::uint64_t> max_bytes = 0;
std::atomic<int> auto_detect_minis = 0;
std::atomic<int> progress_interval = 30;
std::atomic<float> default_gamma = 2.2F;
std::atomic<int> jpeg_quality = 90;
std::atomic<int> buffer_type = 0;
std::atomic<int> lantern_cutouts = 1;
std::atomic<int> lantern_masks = 1;
std::atomic<int> test_escape_during_load = 1;
std::atomic<int> save_minipics = 1;
std::atomic<int> no_extension_check = 0;
std::atomic<int> match_no_info = 0;
std::atomic<int> minipic_type = 0;
std::atomic<MinipicSize> minipic_size_1 = MinipicSize{100, 75};
std::atomic<MinipicSize> minipic_size_2 = MinipicSize{200, 150};
static_assert(std::atomic<MinipicSize>::is_always_lock_free);

// What this thread sees in place of the buffer type.
thread_local const trellis::BufferTypeScope* buffer_type_scope = nullptr;

int store_flag(std::atomic<int>& flag, int on) {
    const int stored = on >= 1 ? 1 : 0;
    flag = stored;
    return stored;
}

/// The value before; the new one is 0 when that is positive, else 1.
int exchange_toggled(std::atomic<int>& flag) {
    int before = flag;
    while (!flag.compare_exchange_weak(before, before > 0 ? 0 : 1)) {
    }
    return before;
}

int toggle_flag(std::atomic<int>& flag) {
    return exchange_toggled(flag) > 0 ? 0 : 1;
}

void store_size(int* width, int* height, MinipicSize size) {
    *width = size.width;
    *height = size.height;
}

}  // namespace

namespace trellis {

BufferTypeScope::BufferTypeScope(int type) : type_(type), outer_(buffer_type_scope) {
    buffer_type_scope = this;
}

BufferTypeScope::~BufferTypeScope() {
    buffer_type_scope = outer_;
}

Limits current_limits() {
    return {max_pixels, max_bytes};
}

}  // namespace trellis

void set_limits_trellis(std::uint64_t pixels, std::uint64_t bytes) {
    max_pixels = pixels;
    max_bytes = bytes;
}
void inq_limits_trellis(std::uint64_t* pixels, std::uint64_t* bytes) {
    *pixels = max_pixels;
    *bytes = max_bytes;
}

void set_buffer_type_trellis(int type) {
    buffer_type = type;
}
int inq_buffer_type_trellis() {
    return buffer_type_scope == nullptr ? buffer_type.load() : buffer_type_scope->type();
}

void set_size_1_minipic_trellis(int width, int height) {
    minipic_size_1 = MinipicSize{width, height};
}
void inq_size_1_minipic_trellis(int* width, int* height) {
    store_size(width, height, minipic_size_1);
}

void set_size_2_minipic_trellis(int width, int height) {
    minipic_size_2 = MinipicSize{width, height};
}
void set_size_2_minipic_trellis_(int width, int height) {
    set_size_2_minipic_trellis(width, height);
}
void set_size_2_y_minipic_trellis_(int height) {
    minipic_size_2 = MinipicSize{-1, height};
}
void inq_size_2_minipic_trellis(int* width, int* height) {
    store_size(width, height, minipic_size_2);
}

int set_minipic_type_trellis(int type) {
    clear_last_error_trellis();
    const int stored = type >= 1 && type <= 4 ? type : 0;
    minipic_type = stored;
    return stored;
}
int set_minipic_type_trellis_(const int* type) {
    return set_minipic_type_trellis(*type);
}
int inq_minipic_type_trellis() {
    return minipic_type;
}
int inq_minipic_type_trellis_() {
    return minipic_type;
}

void set_save_minipics_trellis(int on) {
    save_minipics = on;
}
void set_save_minipics_trellis_(const int* on) {
    save_minipics = *on;
}
int toggle_save_minipics_trellis() {
    return toggle_flag(save_minipics);
}
int toggle_save_minipics_trellis_() {
    return toggle_flag(save_minipics);
}
int inq_save_minipics_trellis() {
    return save_minipics;
}
int inq_save_minipics_trellis_() {
    return save_minipics;
}

void set_auto_detect_minis_trellis_(int on) {
    auto_detect_minis = on;
}
int inq_auto_detect_minis_trellis_() {
    return auto_detect_minis;
}

// Lantern cutouts: three setters, plain and by reference, all on one word.
int set_cut_lantern_trellis(int on) {
    return store_flag(lantern_cutouts, on);
}
int set_cut_lantern_trellis_(const int* on) {
    return store_flag(lantern_cutouts, *on);
}
int set_lantern_cutouts_trellis(int on) {
    return store_flag(lantern_cutouts, on);
}
int set_cut_mask_lantern_trellis(int on) {
    return store_flag(lantern_cutouts, on);
}
int set_cut_mask_lantern_trellis_(const int* on) {
    return store_flag(lantern_cutouts, *on);
}
int toggle_cut_lantern_trellis() {
    return toggle_flag(lantern_cutouts);
}
int toggle_cut_lantern_trellis_() {
    return toggle_flag(lantern_cutouts);
}
int toggle_cut_mask_lantern_trellis() {
    const int before = exchange_toggled(lantern_cutouts);
    lantern_masks = before > 0 ? 0 : 1;
    return before;
}
int toggle_cut_mask_lantern_trellis_() {
    return toggle_cut_mask_lantern_trellis();
}
int inq_cut_lantern_trellis() {
    return lantern_cutouts;
}
int inq_cut_lantern_trellis_() {
    return lantern_cutouts;
}
int inq_lantern_cutouts_trellis() {
    return lantern_cutouts;
}
int inq_cut_mask_lantern_trellis() {
    return lantern_cutouts;
}
int inq_cut_mask_lantern_trellis_() {
    return lantern_cutouts;
}

int set_mask_lantern_trellis(int on) {
    return store_flag(lantern_masks, on);
}
int set_mask_lantern_trellis_(const int* on) {
    return store_flag(lantern_masks, *on);
}
int toggle_mask_lantern_trellis() {
    return toggle_flag(lantern_masks);
}
int toggle_mask_lantern_trellis_() {
    return toggle_flag(lantern_masks);
}
int inq_mask_lantern_trellis() {
    return lantern_masks;
}
int inq_mask_lantern_trellis_() {
    return lantern_masks;
}
int inq_lantern_masks_trellis() {
    return lantern_masks;
}

void set_default_gamma_trellis_(const float* gamma) {
    default_gamma = *gamma;
}
float rinq_default_gamma_trellis_() {
    return default_gamma;
}

void set_jpeg_quality_trellis_(int quality) {
    jpeg_quality = quality;
}
int inq_jpeg_quality_trellis_() {
    return jpeg_quality;
}

void set_test_esc_during_load_trellis_(int on) {
    test_escape_during_load = on;
}
int inq_test_esc_during_load_trellis_() {
    return test_escape_during_load;
}

void set_noextchk_trellis(int on) {
    no_extension_check = on;
}
void set_noextchk_trellis_(const int* on) {
    no_extension_check = *on;
}
int inq_noextchk_trellis() {
    return no_extension_check;
}
int inq_noextchk_trellis_() {
    return no_extension_check;
}

void set_match_noinfo_trellis(int on) {
    match_no_info = on;
}
void set_match_noinfo_trellis_(const int* on) {
    match_no_info = *on;
}
int inq_match_noinfo_trellis() {
    return match_no_info;
}
int inq_match_noinfo_trellis_() {
    return match_no_info;
}

int inq_apply_user_lut_trellis_() {
    return 0;
}
int inq_compressed_trellis() {
    return 2;
}

int set_progress_interval_trellis_(const int* interval) {
    progress_interval = *interval;
    return 1;
}
int set_progress_interval_gauge_(const int* interval) {
    return set_progress_interval_trellis_(interval);
}
int inq_progress_interval_trellis_() {
    return progress_interval;
}
int inq_progress_interval_gauge_() {
    return progress_interval;
}
