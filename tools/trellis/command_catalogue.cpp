#include <algorithm>
#include <vector>

#include "trellis/errors.h"

#include "commands.h"
#include "file_error.h"
#include "formats.h"

namespace tool {

namespace {

// Catalogue pictures are this large.
constexpr int catalogue_width = 96;
constexpr int catalogue_height = 64;

}  // namespace

void extract_catalogue(const std::string& path, const std::string& out, const SaveOptions& save) {
    const pic_format& format = format_of_file(path);
    if (format.load_cat_fn == nullptr) {
        throw FileError(path, TRELLIS_NOT_IN_FORMAT_ERROR);
    }
    constexpr int capacity = catalogue_width * catalogue_height;
    std::vector<std::uint8_t> pixels(capacity * Picture::colour_size);
    unsigned int width = 0;
    unsigned int height = 0;
    unsigned int present = 0;
    int code = format.load_cat_fn(path.c_str(), pixels.data(), capacity, &width, &height, &present);
    if (code == 0 && present == 0) {
        code = TRELLIS_NO_CATALOGUE_ERROR;
    }
    if (code != 0) {
        throw FileError(path, code);
    }
    const Picture picture(TRELLIS_KIND_IMAGE, static_cast<int>(width), static_cast<int>(height));
    std::copy(pixels.begin(), pixels.end(), picture.colour());
    save_picture(picture, out, save);
}

}  // namespace tool
