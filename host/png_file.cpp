#include "png_file.h"

#include <png.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "trellis/errors.h"
#include "trellis/settings.h"

#include "png_coding.h"

namespace trellis::host {

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

// PNG is big-endian, our buffers have the order of the machine.
void swap_samples(png_structp png) {
    if constexpr (std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
}

void report_progress(int rows, int height) {
    occaisional_update_progress_trellis_(static_cast<float>(rows) / static_cast<float>(height));
}

/// What sets the two depths apart: the samples in a PNG row, and those in the library's buffers.
template <class Sample>
struct Depth;

template <>
struct Depth<std::uint8_t> {
    static constexpr int bits = 8;
    static constexpr int colour_samples = 4;
    static constexpr std::uint8_t loaded(std::uint8_t sample) { return sample; }
    static constexpr std::uint8_t saved(std::uint8_t sample) { return sample; }
};

template <>
struct Depth<std::uint16_t> {
    static constexpr int bits = 16;
    static constexpr int colour_samples = 3;
    static constexpr std::uint16_t loaded(std::uint16_t sample) {
        return static_cast<std::uint16_t>(sample >> 2);
    }
    static constexpr std::uint16_t saved(std::uint16_t sample) {
        return static_cast<std::uint16_t>(sample << 2 | sample >> 12);
    }
};

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

    /// From here on, rows come in the layout of a cutout: matte, blue, green, red. Returns how many
    /// times all rows must be read, one for a picture that is not interlaced; 0 on errors.
    int ask_for_cutout_rows(int bits) {
        int passes = 0;
        const bool asked = guarded(png_, [this, bits, &passes] {
            png_set_expand(png_);  // to 8 bits, colours for palettes, alpha for tRNS
            if (bits == 8) {
                png_set_scale_16(png_);  // to the nearest 8-bit value
            } else {
                png_set_expand_16(png_);
                swap_samples(png_);
            }
            png_set_gray_to_rgb(png_);
            png_set_bgr(png_);
            png_set_swap_alpha(png_);
            png_set_add_alpha(png_, 0xFFFF, PNG_FILLER_BEFORE);
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
template <class Sample>
struct Destination {
    Sample* colour;
    int pitch;
    Sample* matte;
    int matte_pitch;
    int x0, y0, x1, y1;
    int left, bottom;  // column and row of the picture, counted from the lower left

    bool fits(int width, int height) const {
        return x0 <= x1 && y0 <= y1 && long{left} + x1 - x0 < width &&
               long{bottom} + y1 - y0 < height;
    }

    /// Stores the part that is wanted of a row, which is `height` - 1 for the top line.
    void store(int row, const Sample* pixels) const {
        const long y = long{row} - bottom + y0;
        if (y < y0 || y > y1) {
            return;
        }
        constexpr int size = Depth<Sample>::colour_samples;
        pixels += std::size_t(left) * 4;
        Sample* to = colour + (y * pitch + x0) * size + size - 3;
        for (int x = x0; x <= x1; ++x, pixels += 4, to += size) {
            for (int c = 0; c < 3; ++c) {
                to[c] = Depth<Sample>::loaded(pixels[1 + c]);
            }
            if (matte != nullptr) {
                matte[y * matte_pitch + x] = Depth<Sample>::loaded(pixels[0]);
            }
        }
    }
};

template <class Sample>
int load(const char* name, const Destination<Sample>& destination) {
    PngReader reader(name);
    if (const int code = reader.read_header(); code != 0) {
        return code;
    }
    const int width = reader.width();
    const int height = reader.height();
    if (!destination.fits(width, height)) {
        return TRELLIS_WINDOW_ERROR;
    }
    const int passes = reader.ask_for_cutout_rows(Depth<Sample>::bits);
    if (passes == 0) {
        return TRELLIS_READ_ERROR;
    }
    // The passes of an interlaced picture fill all of its rows little by little.
    const int rows_held = passes == 1 ? 1 : height;
    const std::size_t row_samples = std::size_t(width) * 4;
    const std::unique_ptr<void, void (*)(void*)> rows(
        std::calloc(std::size_t(rows_held), row_samples * sizeof(Sample)), std::free);
    if (rows == nullptr) {
        return TRELLIS_ALLOCATION_ERROR;
    }
    for (int pass = 1; pass <= passes; ++pass) {
        for (int line = 0; line < height; ++line) {
            report_progress(line + 1, height);
            Sample* row =
                static_cast<Sample*>(rows.get()) + std::size_t(line % rows_held) * row_samples;
            auto* bytes = reinterpret_cast<png_bytep>(row);
            if (!guarded(reader.png(), [&] { png_read_row(reader.png(), bytes, nullptr); })) {
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

    int write_header(int width, int height, int bits, int colour_type, const PngCoding& coding) {
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
            png_set_IHDR(png_, info_, png_uint_32(width), png_uint_32(height), bits, colour_type,
                         PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_set_filter(png_, PNG_FILTER_TYPE_BASE, coding.filter);
            png_set_compression_level(png_, coding.level);
            png_set_compression_strategy(png_, coding.strategy);
            png_write_info(png_, info_);
            png_set_bgr(png_);
            png_set_swap_alpha(png_);
            if (bits == 16) {
                swap_samples(png_);
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

/// The caller's side of a save: buffers of which either may be null, and the part to save.
template <class Sample>
struct Source {
    const Sample* colour;
    int pitch;
    const Sample* matte;
    int matte_pitch;
    int x0, y0, x1, y1;

    int samples() const { return (colour != nullptr ? 3 : 0) + (matte != nullptr ? 1 : 0); }

    int colour_type() const {
        return samples() == 1   ? PNG_COLOR_TYPE_GRAY
               : samples() == 3 ? PNG_COLOR_TYPE_RGB
                                : PNG_COLOR_TYPE_RGB_ALPHA;
    }

    /// Pixels of matte, blue, green and red, as far as there are such.
    void row(int y, Sample* to) const {
        constexpr int size = Depth<Sample>::colour_samples;
        for (std::ptrdiff_t x = x0; x <= x1; ++x) {
            if (matte != nullptr) {
                *to++ = Depth<Sample>::saved(matte[std::ptrdiff_t{y} * matte_pitch + x]);
            }
            for (int c = size - 3; colour != nullptr && c < size; ++c) {
                *to++ = Depth<Sample>::saved(colour[(std::ptrdiff_t{y} * pitch + x) * size + c]);
            }
        }
    }
};

template <class Sample>
int save(const char* name, const Source<Sample>& source, int level) try {
    if (source.x0 > source.x1 || source.y0 > source.y1) {
        return TRELLIS_WINDOW_ERROR;
    }
    const int width = source.x1 - source.x0 + 1;
    const int height = source.y1 - source.y0 + 1;
    std::vector<Sample> row(std::size_t(width) * std::size_t(source.samples()));
    const PngCoding coding =
        choose_png_coding(static_cast<std::size_t>(height), row.size() * sizeof(Sample), level,
                          [&](std::size_t line, unsigned char* bytes) {
                              source.row(source.y1 - static_cast<int>(line), row.data());
                              std::memcpy(bytes, row.data(), row.size() * sizeof(Sample));
                          });
    PngWriter writer(name);
    if (const int code =
            writer.write_header(width, height, Depth<Sample>::bits, source.colour_type(), coding);
        code != 0) {
        return code;
    }
    for (int y = source.y1; y >= source.y0; --y) {
        report_progress(source.y1 - y + 1, height);
        source.row(y, row.data());
        if (const int code = writer.write_row(reinterpret_cast<png_const_bytep>(row.data()));
            code != 0) {
            return code;
        }
    }
    return writer.finish();
} catch (const std::bad_alloc&) {
    return TRELLIS_ALLOCATION_ERROR;
}

// The slots. PNG files are always compressed; what a save asks for is the level.

template <class Sample>
int load_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int file_x, int file_y) {
    return load<Sample>(name, {static_cast<Sample*>(rgb), pitch, static_cast<Sample*>(alpha),
                               alpha_pitch, x0, y0, x1, y1, std::abs(file_x), std::abs(file_y)});
}

template <class Sample>
int load_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int file_x,
             int file_y) {
    return load_cut<Sample>(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, file_x, file_y);
}

template <class Sample>
int save_cut(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch, int x0, int y0,
             int x1, int y1, int level) {
    return save<Sample>(name,
                        {static_cast<const Sample*>(rgb), pitch, static_cast<const Sample*>(alpha),
                         alpha_pitch, x0, y0, x1, y1},
                        level);
}

template <class Sample>
int save_pic(const char* name, void* rgb, int pitch, int x0, int y0, int x1, int y1, int level) {
    return save_cut<Sample>(name, rgb, pitch, nullptr, 0, x0, y0, x1, y1, level);
}

template <class Sample>
int save_mask(const char* name, void* mask, int pitch, int x0, int y0, int x1, int y1, int level) {
    return save_cut<Sample>(name, nullptr, 0, mask, pitch, x0, y0, x1, y1, level);
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

template <class Sample>
int depth_supported(int buffer_type) {
    return buffer_type == (Depth<Sample>::bits == 16 ? 1 : 0) ? 1 : 0;
}

template <class Sample>
int probe(void* header, int length, const char* /*name*/, std::int64_t /*reserved*/,
          unsigned int* kind, unsigned int* is_this_format) {
    constexpr int bits_offset = 24;
    constexpr int colour_type_offset = 25;
    const auto* bytes = static_cast<const unsigned char*>(header);
    if (length <= colour_type_offset) {
        return TRELLIS_SHORT_HEADER_ERROR;
    }
    const bool is_deep = bytes[bits_offset] == 16;
    if (png_sig_cmp(bytes, 0, signature_size) == 0 && is_deep == (Depth<Sample>::bits == 16)) {
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

template <class Sample>
void fill(pic_format* format) {
    format->ext = "png";
    format->ext2 = "";
    format->ext3 = "";
    format->load_pic_fn = load_pic<Sample>;
    format->save_pic_fn = save_pic<Sample>;
    format->load_cut_fn = load_cut<Sample>;
    format->save_cut_fn = save_cut<Sample>;
    format->size_pic_fn = size;
    format->save_mask_fn = save_mask<Sample>;
    format->depth_supported_fn = depth_supported<Sample>;
    format->inq_type_fn = probe<Sample>;
    format->info_fn = info;
}

}  // namespace

void init_png_pic(pic_format* format) {
    fill<std::uint8_t>(format);
    format->type = png_type;
    format->long_name = "PNG";
    format->code_string = "PNG";
}

void init_deep_png_pic(pic_format* format) {
    fill<std::uint16_t>(format);
    format->type = deep_png_type;
    format->long_name = "PNG(16bit)";
    format->code_string = "PNG16";
}

}  // namespace trellis::host
