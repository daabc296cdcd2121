#include "tool/png.h"

#include <stdexcept>

namespace support {

void write_png(const std::string& path, const Png& png) {
    png_structp file = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(file);
    std::FILE* stream = std::fopen(path.c_str(), "wb");
    png_init_io(file, stream);
    png_set_IHDR(file, info, png_uint_32(png.width), png_uint_32(png.height), png.bit_depth, png.colour_type,
                 png.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    if (!png.palette.empty()) { png_set_PLTE(file, info, png.palette.data(), int(png.palette.size())); }
    if (!png.transparency.empty()) {
        png_color_16 grey{};
        grey.gray = png.transparency[0];
        png_set_tRNS(file, info, png.transparency.data(), int(png.transparency.size()), &grey);
    }
    png_write_info(file, info);
    if (png.rows.empty()) {
        png_write_chunk(file, reinterpret_cast<png_const_bytep>("IDAT"), nullptr, 0);
    } else {
        Bytes rows = png.rows;
        std::vector<png_bytep> lines(std::size_t(png.height));
        for (std::size_t y = 0; y < lines.size(); ++y) { lines[y] = rows.data() + y * rows.size() / lines.size(); }
        png_write_image(file, lines.data());
        png_write_end(file, nullptr);
    }
    png_destroy_write_struct(&file, &info);
    std::fclose(stream);
}

Bytes rgba_of_png(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    png_image_begin_read_from_file(&image, path.c_str());
    image.format = PNG_FORMAT_RGBA;
    Bytes pixels(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
    if (PNG_IMAGE_FAILED(image)) { throw std::runtime_error(path + ": " + image.message); }
    return pixels;
}

}  // namespace support
