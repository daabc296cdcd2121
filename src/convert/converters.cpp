// The exported pixel conversions: the C functions that hosts call, over the routines of this
// folder.

#include "trellis/convert.h"

#include "convert/cutout.h"
#include "convert/depth.h"
#include "convert/layouts.h"
#include "frame/raster.h"
#include "pixels/kernels.h"

namespace {

using namespace trellis;
using namespace trellis::convert;
using pixels::kernels;

constexpr int depth_16 = 1;  // every other depth is 8-bit

constexpr std::size_t pixel_count(int count) {
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

template <class Sample>
Sample* as(void* buffer) {
    return static_cast<Sample*>(buffer);
}

template <class Sample>
const Sample* as(const void* buffer) {
    return static_cast<const Sample*>(buffer);
}

template <class Cutout, class Matte>
int insert_mattes(Cutout cutout, Matte matte, const Rectangle& at) {
    each_row(matte.from(at.x0, at.y0), cutout.from(at.x0, at.y0), {at.width(), at.height()},
             kernels().shapes<typename Cutout::Sample>().insert_matte);
    return 0;
}

template <class Cutout, class Matte>
int extract_mattes(Cutout cutout, Matte matte, const Rectangle& at) {
    each_row(cutout.from(at.x0, at.y0), matte.from(at.x0, at.y0), {at.width(), at.height()},
             kernels().shapes<typename Matte::Sample>().extract_matte);
    return 0;
}

}  // namespace

int copy_and_convert_cut_buffer_trellis(int width, int height, int from_type, const void* from,
                                        int from_pitch, int from_x, int from_y, int to_type,
                                        void* to, int to_pitch, int to_x, int to_y) {
    if (from_type == to_type) {
        return 0;
    }
    if (from_type == depth_16) {
        narrow(CutoutSource16(from, from_pitch).from(from_x, from_y),
               Cutout8(to, to_pitch).from(to_x, to_y), {width, height});
    } else {
        widen(CutoutSource8(from, from_pitch).from(from_x, from_y),
              Cutout16(to, to_pitch).from(to_x, to_y), {width, height});
    }
    return 0;
}

int rgb_and_a_to_cut_convert_trellis(int depth, const void* colour, const void* matte, void* cutout,
                                     int count) {
    if (depth == depth_16) {
        kernels().words.join(as<std::uint16_t>(colour), as<std::uint16_t>(matte),
                             as<std::uint16_t>(cutout), pixel_count(count));
    } else {
        kernels().bytes.join(as<std::uint8_t>(colour), as<std::uint8_t>(matte),
                             as<std::uint8_t>(cutout), pixel_count(count));
    }
    return 0;
}

int cut_to_rgb_and_a_convert_trellis(int depth, void* colour, void* matte, const void* cutout,
                                     int count) {
    if (depth == depth_16) {
        split_cutout(as<std::uint16_t>(colour), as<std::uint16_t>(matte), as<std::uint16_t>(cutout),
                     pixel_count(count));
    } else {
        split_cutout(as<std::uint8_t>(colour), as<std::uint8_t>(matte), as<std::uint8_t>(cutout),
                     pixel_count(count));
    }
    return 0;
}

int rgb_to_mask_convert_trellis(int depth, const void* colour, void* mask, int count) {
    if (depth == depth_16) {
        kernels().words.colour_to_mask(as<std::uint16_t>(colour), as<std::uint16_t>(mask),
                                       pixel_count(count));
    } else {
        kernels().bytes.colour_to_mask(as<std::uint8_t>(colour), as<std::uint8_t>(mask),
                                       pixel_count(count));
    }
    return 0;
}

int mask_to_rgb_convert_trellis(int depth, void* colour, const void* mask, int count) {
    if (depth == depth_16) {
        kernels().words.mask_to_colour(as<std::uint16_t>(mask), as<std::uint16_t>(colour),
                                       pixel_count(count));
    } else {
        kernels().bytes.mask_to_colour(as<std::uint8_t>(mask), as<std::uint8_t>(colour),
                                       pixel_count(count));
    }
    return 0;
}

int to8_rgba_trellis(void* rgba, int pitch, const void* matte, int matte_pitch, int x0, int y0,
                     int x1, int y1) {
    return insert_mattes(Cutout8(rgba, pitch), MatteSource8(matte, matte_pitch), {x0, y0, x1, y1});
}

int from8_rgba_trellis(const void* rgba, int pitch, void* matte, int matte_pitch, int x0, int y0,
                       int x1, int y1) {
    return extract_mattes(CutoutSource8(rgba, pitch), Matte8(matte, matte_pitch), {x0, y0, x1, y1});
}

int to16_rgba_trellis(void* rgba, int pitch, const void* matte, int matte_pitch, int x0, int y0,
                      int x1, int y1) {
    return insert_mattes(Cutout16(rgba, pitch), MatteSource16(matte, matte_pitch),
                         {x0, y0, x1, y1});
}

int from16_rgba_trellis(const void* rgba, int pitch, void* matte, int matte_pitch, int x0, int y0,
                        int x1, int y1) {
    return extract_mattes(CutoutSource16(rgba, pitch), Matte16(matte, matte_pitch),
                          {x0, y0, x1, y1});
}

int reformat_old_cut_8bit_buff(void* cutout, int pitch, int width, int height) {
    const Cutout8 buffer(cutout, pitch);
    each_row(buffer, buffer, {width, height},
             [](auto* row, auto*, std::size_t count) { kernels().unpremultiply(row, count); });
    return 0;
}

int reformat_new_cut_8bit_buff(void* cutout, int pitch, int width, int height) {
    const Cutout8 buffer(cutout, pitch);
    each_row(buffer, buffer, {width, height},
             [](auto* row, auto*, std::size_t count) { kernels().premultiply(row, count); });
    return 0;
}
