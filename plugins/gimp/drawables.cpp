#include "drawables.h"

#include <algorithm>
#include <string>
#include <vector>

#include "trellis/errors.h"

namespace plugin {

namespace {

constexpr int band_height = 64;  // that of GIMP's tiles

template <class Sample>
std::vector<Sample> room_for_band(const host::Picture& picture) {
    return std::vector<Sample>(std::size_t(band_height) * std::size_t(picture.width()) *
                               std::size_t(host::samples_of_row(picture)));
}

/// Calls `work` with each band of a picture.
template <class Work>
void for_each_band(const host::Picture& picture, Work work) {
    for (int y = 0; y < picture.height(); y += band_height) {
        work(GeglRectangle{0, y, picture.width(), std::min(band_height, picture.height() - y)});
    }
}

template <class Sample>
void put_rows(const host::Picture& picture, GeglBuffer* buffer, const Babl* format) {
    auto rows = room_for_band<Sample>(picture);
    const std::size_t row_size = rows.size() / band_height;
    for_each_band(picture, [&](const GeglRectangle& band) {
        for (int i = 0; i < band.height; ++i) {
            host::get_row(picture, band.y + i, &rows[std::size_t(i) * row_size]);
        }
        gegl_buffer_set(buffer, &band, 0, format, rows.data(), GEGL_AUTO_ROWSTRIDE);
    });
}

template <class Sample>
void get_rows(host::Picture& picture, GeglBuffer* buffer, const Babl* format) {
    auto rows = room_for_band<Sample>(picture);
    const std::size_t row_size = rows.size() / band_height;
    for_each_band(picture, [&](const GeglRectangle& band) {
        gegl_buffer_get(buffer, &band, 1.0, format, rows.data(), GEGL_AUTO_ROWSTRIDE,
                        GEGL_ABYSS_NONE);
        for (int i = 0; i < band.height; ++i) {
            host::set_row(picture, band.y + i, &rows[std::size_t(i) * row_size]);
        }
    });
}

bool is_linear(GimpPrecision precision) {
    switch (precision) {
        case GIMP_PRECISION_U8_LINEAR:
        case GIMP_PRECISION_U16_LINEAR:
        case GIMP_PRECISION_U32_LINEAR:
        case GIMP_PRECISION_HALF_LINEAR:
        case GIMP_PRECISION_FLOAT_LINEAR:
        case GIMP_PRECISION_DOUBLE_LINEAR:
            return true;
        default:
            return false;
    }
}

/// The name of a layout of pixels: one with a prime is for samples that a screen shows as they are.
const Babl* pixel_format(trellis_kind kind, bool linear, int depth) {
    const std::string colours = kind == TRELLIS_KIND_MASK     ? (linear ? "Y" : "Y'")
                                : kind == TRELLIS_KIND_CUTOUT ? (linear ? "RGBA" : "R'G'B'A")
                                                              : (linear ? "RGB" : "R'G'B'");
    return babl_format((colours + (depth == 8 ? " u8" : " u16")).c_str());
}

}  // namespace

gint32 image_of(const host::Picture& picture, const std::string& path, bool linear) {
    if (std::max(picture.width(), picture.height()) > GIMP_MAX_IMAGE_SIZE) {
        throw host::Error(path, TRELLIS_UNSUPPORTED_ERROR, "the picture is too large for GIMP");
    }
    const bool grey = picture.kind() == TRELLIS_KIND_MASK;
    const bool alpha = picture.kind() == TRELLIS_KIND_CUTOUT;
    const GimpPrecision precision = !picture.has_words() ? GIMP_PRECISION_U8_GAMMA
                                    : linear             ? GIMP_PRECISION_U16_LINEAR
                                                         : GIMP_PRECISION_U16_GAMMA;
    const gint32 image = gimp_image_new_with_precision(picture.width(), picture.height(),
                                                       grey ? GIMP_GRAY : GIMP_RGB, precision);
    const gint32 layer = gimp_layer_new(image, "Picture", picture.width(), picture.height(),
                                        grey    ? GIMP_GRAY_IMAGE
                                        : alpha ? GIMP_RGBA_IMAGE
                                                : GIMP_RGB_IMAGE,
                                        100, gimp_image_get_default_new_layer_mode(image));
    gimp_image_insert_layer(image, layer, -1, 0);
    GeglBuffer* buffer = gimp_drawable_get_buffer(layer);
    const Babl* format = gimp_drawable_get_format(layer);
    if (picture.has_words()) {
        put_rows<std::uint16_t>(picture, buffer, format);
    } else {
        put_rows<std::uint8_t>(picture, buffer, format);
    }
    g_object_unref(buffer);
    return image;
}

host::Picture picture_of(gint32 image, gint32 drawable) {
    const GimpPrecision precision = gimp_image_get_precision(image);
    const bool bytes =
        precision == GIMP_PRECISION_U8_GAMMA || precision == GIMP_PRECISION_U8_LINEAR;
    const int depth = bytes ? 8 : 16;
    const trellis_kind kind = gimp_drawable_has_alpha(drawable) != FALSE ? TRELLIS_KIND_CUTOUT
                              : gimp_drawable_is_gray(drawable) != FALSE ? TRELLIS_KIND_MASK
                                                                         : TRELLIS_KIND_IMAGE;
    host::Picture picture(kind, gimp_drawable_width(drawable), gimp_drawable_height(drawable),
                          depth);
    GeglBuffer* buffer = gimp_drawable_get_buffer(drawable);
    const Babl* format = pixel_format(kind, is_linear(precision), depth);
    if (picture.has_words()) {
        get_rows<std::uint16_t>(picture, buffer, format);
    } else {
        get_rows<std::uint8_t>(picture, buffer, format);
    }
    g_object_unref(buffer);
    return picture;
}

}  // namespace plugin
