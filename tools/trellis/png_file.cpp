#include "png_file.h"

#include <png.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "trellis/errors.h"
#include "trellis/settings.h"

namespace tool {

namespace {

constexpr int signature_size = 8;

// libpng reports an error by a jump to where the call into it was made. Here that is always
// guarded(), whose callers pass functions that leave nothing behind when they are cut short.
[[noreturn]] void jump(png_structp png, png_const_charp /*message*/) {
    png_longjmp(png, 1);
}

void ignore(png_structp /*png*/, png_const_charp /*warning*/) {}

template <class Calls>
bool guarded(png_structp png, const Calls& calls) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    calls();
    return true;
}

void report_progress(int rows, int height) {
    occaisional_update_progress_trellis_(static_cast<float>(rows) / static_cast<float>(height));
}

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// An open file and libpng's two records for reading it.
class PngReader {
  public:
    explicit PngReader(const char* name) : file_(std::fopen(name, "rb"), std::fclose) {}
    PngReader(const PngReader&) = delete;
    PngReader& operator=(const PngReader&) = delete;
    ~PngReader() { png_destroy_read_struct(&png_, &info_, nullptr); }

    png_structp png() const { return png_; }
    int width() const { return static_cast<int>(png_get_image_width(png_, info_)); }
    int height() const { return static_cast<int>(png_get_image_height(png_, info_)); }
    int bit_depth() const { return png_get_bit_depth(png_, info_); }
    bool has_matte() const { return png_get_valid(png_, info_, PNG_INFO_tRNS) != 0 || has_alpha(); }

    // A palette stands for colours, whose samples it may hold in one index.
    int channels() const {
        const bool palette = png_get_color_type(png_, info_) == PNG_COLOR_TYPE_PALETTE;
        return (palette ? 3 : png_get_channels(png_, info_)) +
               (has_matte() && !has_alpha() ? 1 : 0);
    }

    /// Reads everything before the pixels; returns an error code.
    int read_header() {
        if (file_ == nullptr) {
            return TRELLIS_OPEN_ERROR;
        }
        png_byte signature[signature_size] = {};
        if (std::fread(signature, 1, sizeof signature, file_.get()) != sizeof signature) {
            return TRELLIS_READ_ERROR;
        }
        if (png_sig_cmp(signature, 0, sizeof signature) != 0) {
            return TRELLIS_MAGIC_ERROR;
        }
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, jump, ignore);
        info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
        if (info_ == nullptr) {
            return TRELLIS_ALLOCATION_ERROR;
        }
        const bool read = guarded(png_, [this] {
            png_init_io(png_, file_.get());
            png_set_sig_bytes(png_, signature_size);
            png_read_info(png_, info_);
        });
        return read ? TRELLIS_NO_ERROR : TRELLIS_READ_ERROR;
    }

    /// From here on, rows come in the layout of an 8-bit cutout: matte, blue, green, red. Returns
    /// how many times all rows must be read, one for a picture that is not interlaced; 0 on errors.
    int ask_for_cutout_rows() {
        int passes = 0;
        const bool asked = guarded(png_, [this, &passes] {
            png_set_expand(png_);    // to 8 bits, colours for palettes, alpha for tRNS
            png_set_scale_16(png_);  // to the nearest 8-bit value
            png_set_gray_to_rgb(png_);
            png_set_bgr(png_);
            png_set_swap_alpha(png_);
            png_set_add_alpha(png_, 0xFF, PNG_FILLER_BEFORE);
            passes = png_set_interlace_handling(png_);
            png_read_update_info(png_, info_);
        });
        return asked ? passes : 0;
    }

  private:
    bool has_alpha() const { return (png_get_color_type(png_, info_) & PNG_COLOR_MASK_ALPHA) != 0; }

    File file_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

/// The caller's side of a load: buffers whose matte may be null, and the part of the picture.
struct Destination {
    unsigned char* colour;
    int pitch;
    unsigned char* matte;
    int matte_pitch;
    int x0, y0, x1, y1;
    int left, bottom;  // column and row of the picture, counted from the lower left

    bool fits(int width, int height) const {
        return x0 <= x1 && y0 <= y1 && long{left} + x1 - x0 < width &&
               long{bottom} + y1 - y0 < height;
    }

    /// Stores the part that is wanted of a row, which is `height` - 1 for the top line.
    void store(int row, const unsigned char* pixels) const {
        const long y = long{row} - bottom + y0;
        if (y < y0 || y > y1) {
            return;
        }
        pixels += std::size_t(left) * 4;
        unsigned char* to = colour + (y * pitch + x0) * 4;
        for (int x = x0; x <= x1; ++x, pixels += 4, to += 4) {
            std::memcpy(to + 1, pixels + 1, 3);
            if (matte != nullptr) {
                matte[y * matte_pitch + x] = pixels[0];
            }
        }
    }
};

int load(const char* name, const Destination& destination) {
    PngReader reader(name);
    if (const int code = reader.read_header(); code != 0) {
        return code;
    }
    const int width = reader.width();
    const int height = reader.height();
    if (!destination.fits(width, height)) {
        return TRELLIS_WINDOW_ERROR;
    }
    const int passes = reader.ask_for_cutout_rows();
    if (passes == 0) {
        return TRELLIS_READ_ERROR;
    }
    // The passes of an interlaced picture fill all of its rows little by little.
    const int rows_held = passes == 1 ? 1 : height;
    const std::size_t row_size = std::size_t(width) * 4;
    const std::unique_ptr<void, void (*)(void*)> rows(std::calloc(std::size_t(rows_held), row_size),
                                                      std::free);
    if (rows == nullptr) {
        return TRELLIS_ALLOCATION_ERROR;
    }
    const auto held_row = [&rows, rows_held, row_size](int line) {
        return static_cast<unsigned char*>(rows.get()) + std::size_t(line % rows_held) * row_size;
    };
    for (int pass = 1; pass <= passes; ++pass) {
        for (int line = 0; line < height; ++line) {
            report_progress(line + 1, height);
            unsigned char* row = held_row(line);
            if (!guarded(reader.png(), [&] { png_read_row(reader.png(), row, nullptr); })) {
                return TRELLIS_READ_ERROR;
            }
            if (pass == passes) {
                destination.store(height - 1 - line, row);
            }
        }
    }
    return TRELLIS_NO_ERROR;
}

/// A file being written, and libpng's two records for it.
class PngWriter {
  public:
    explicit PngWriter(const char* name) : file_(std::fopen(name, "wb"), std::fclose) {}
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;
    ~PngWriter() { png_destroy_write_struct(&png_, &info_); }

    int write_header(int width, int height, int colour_type) {
        if (file_ == nullptr) {
            return TRELLIS_OPEN_ERROR;
        }
        png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, jump, ignore);
        info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
        if (info_ == nullptr) {
            return TRELLIS_ALLOCATION_ERROR;
        }
        const bool written = guarded(png_, [&] {
            png_init_io(png_, file_.get());
            png_set_IHDR(png_, info_, png_uint_32(width), png_uint_32(height), 8, colour_type,
                         PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(png_, info_);
            png_set_bgr(png_);
            if (colour_type == PNG_COLOR_TYPE_RGB) {
                png_set_filler(png_, 0, PNG_FILLER_BEFORE);  // the spare byte
            } else {
                png_set_swap_alpha(png_);
            }
        });
        return written ? TRELLIS_NO_ERROR : TRELLIS_WRITE_ERROR;
    }

    int write_row(const unsigned char* row) {
        return guarded(png_, [&] { png_write_row(png_, row); }) ? TRELLIS_NO_ERROR
                                                                : TRELLIS_WRITE_ERROR;
    }

    int finish() {
        if (!guarded(png_, [&] { png_write_end(png_, nullptr); })) {
            return TRELLIS_WRITE_ERROR;
        }
        return std::fclose(file_.release()) == 0 ? TRELLIS_NO_ERROR : TRELLIS_CLOSE_ERROR;
    }

  private:
    File file_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

/// Saves the rows that `row_at` gives for y1 down to y0, in the layout of the buffers.
template <class RowAt>
int save(const char* name, int colour_type, int x0, int y0, int x1, int y1, const RowAt& row_at) {
    if (x0 > x1 || y0 > y1) {
        return TRELLIS_WINDOW_ERROR;
    }
    const int height = y1 - y0 + 1;
    PngWriter writer(name);
    if (const int code = writer.write_header(x1 - x0 + 1, height, colour_type); code != 0) {
        return code;
    }
    for (int y = y1; y >= y0; --y) {
        report_progress(y1 - y + 1, height);
        if (const int code = writer.write_row(row_at(y)); code != 0) {
            return code;
        }
    }
    return writer.finish();
}

const unsigned char* pixel(const void* buffer, int size, int pitch, int x, int y) {
    return static_cast<const unsigned char*>(buffer) + (std::ptrdiff_t{y} * pitch + x) * size;
}

// The slots.

int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    return load(name, {static_cast<unsigned char*>(rgb), pitch, nullptr, 0, x0, y0, x1, y1,
                       std::abs(file_x), std::abs(file_y)});
}

int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    return load(name, {static_cast<unsigned char*>(rgb), pitch, static_cast<unsigned char*>(alpha),
                       alpha_pitch, x0, y0, x1, y1, std::abs(file_x), std::abs(file_y)});
}

int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1,
             int /*compress: PNG always is*/) {
    return save(name, PNG_COLOR_TYPE_RGB, x0, y0, x1, y1,
                [&](int y) { return pixel(rgb, 4, pitch, x0, y); });
}

int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int /*compress*/) try {
    const std::size_t width = x0 > x1 ? 0 : std::size_t(x1 - x0) + 1;
    std::vector<unsigned char> row(width * 4);
    return save(name, PNG_COLOR_TYPE_RGB_ALPHA, x0, y0, x1, y1, [&](int y) {
        std::memcpy(row.data(), pixel(rgb, 4, pitch, x0, y), row.size());
        for (std::size_t i = 0; i < width; ++i) {
            row[4 * i] = *pixel(alpha, 1, alpha_pitch, x0 + int(i), y);
        }
        return row.data();
    });
} catch (const std::bad_alloc&) {
    return TRELLIS_ALLOCATION_ERROR;
}

int save_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1,
              int /*compress*/) {
    return save(name, PNG_COLOR_TYPE_GRAY, x0, y0, x1, y1,
                [&](int y) { return pixel(mask, 1, pitch, x0, y); });
}

int size(const char* name, unsigned int* width, unsigned int* height) {
    PngReader reader(name);
    if (const int code = reader.read_header(); code != 0) {
        return code;
    }
    *width = static_cast<unsigned int>(reader.width());
    *height = static_cast<unsigned int>(reader.height());
    return TRELLIS_NO_ERROR;
}

int depth_supported(int buffer_type) {
    return buffer_type == 0 ? 1 : 0;
}

int probe(void* header, int length, const char* /*name*/, std::int64_t /*reserved*/,
          unsigned int* kind, unsigned int* is_this_format) {
    constexpr int colour_type_offset = 25;
    const auto* bytes = static_cast<const unsigned char*>(header);
    if (length <= colour_type_offset) {
        return TRELLIS_SHORT_HEADER_ERROR;
    }
    if (png_sig_cmp(bytes, 0, signature_size) == 0) {
        *is_this_format = 1;
        *kind = (bytes[colour_type_offset] & PNG_COLOR_MASK_ALPHA) != 0 ? TRELLIS_KIND_CUTOUT
                                                                        : TRELLIS_KIND_IMAGE;
    }
    return TRELLIS_NO_ERROR;
}

int info(const char* name, unsigned int* compression, unsigned int* flag_a, unsigned int* flag_b,
         unsigned int* image_offset, unsigned int* kind, unsigned int* channels, unsigned int* deep,
         unsigned int* zero_1, unsigned int* zero_2, unsigned int* width, unsigned int* height,
         unsigned int* zero_3) {
    PngReader reader(name);
    if (const int code = reader.read_header(); code != 0) {
        return code;
    }
    *flag_a = *flag_b = *image_offset = *zero_1 = *zero_2 = *zero_3 = 0;
    *compression = 1;
    *kind = reader.has_matte() ? TRELLIS_KIND_CUTOUT : TRELLIS_KIND_IMAGE;
    *channels = static_cast<unsigned int>(reader.channels());
    *deep = reader.bit_depth() > 8 ? 1 : 0;
    *width = static_cast<unsigned int>(reader.width());
    *height = static_cast<unsigned int>(reader.height());
    return TRELLIS_NO_ERROR;
}

}  // namespace

void init_png_pic(pic_format* format) {
    format->type = png_type;
    format->ext = "png";
    format->ext2 = "";
    format->ext3 = "";
    format->long_name = "PNG";
    format->code_string = "PNG";
    format->load_pic_fn = load_pic;
    format->save_pic_fn = save_pic;
    format->load_cut_fn = load_cut;
    format->save_cut_fn = save_cut;
    format->size_pic_fn = size;
    format->save_mask_fn = save_mask;
    format->depth_supported_fn = depth_supported;
    format->inq_type_fn = probe;
    format->info_fn = info;
}

}  // namespace tool
