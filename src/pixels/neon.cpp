#include "pixels/back_ends.h"

#if TRELLIS_HAS_NEON

#include <arm_neon.h>

#include <array>
#include <bit>

#include "pixels/layouts.h"
#include "pixels/plain.h"
#include "pixels/run_collector.h"

// 64-bit ARM, whose loads and stores of three and four interleaved registers do most of what
// pixels need. The table has what the compiler does not make of the plain loops by itself; a
// kernel does the front of a row (where rows may grow in place, the back) and leaves the rest to
// the plain loop.

namespace trellis::pixels {

namespace {

constexpr std::size_t step = 16;  // bytes of a register, and 8-bit pixels of four

uint8x16_t load_or_zero(const std::uint8_t* bytes, std::size_t x) {
    return bytes == nullptr ? vdupq_n_u8(0) : vld1q_u8(bytes + x);
}

void join(const std::uint8_t* colour, const std::uint8_t* matte, std::uint8_t* cutout,
          std::size_t count) {
    std::size_t x = count;
    while (x >= step) {
        x -= step;
        uint8x16x4_t pixels = vld4q_u8(colour + 4 * x);
        pixels.val[0] =
            matte == nullptr ? vdupq_n_u8(Layout<std::uint8_t>::opaque) : vld1q_u8(matte + x);
        vst4q_u8(cutout + 4 * x, pixels);
    }
    plain::join(colour, matte, cutout, x);
}

void join(const std::uint16_t* colour, const std::uint16_t* matte, std::uint16_t* cutout,
          std::size_t count) {
    std::size_t x = count;
    while (x >= step / 2) {
        x -= step / 2;
        const uint16x8x3_t colours = vld3q_u16(colour + 3 * x);
        const uint16x8_t mattes =
            matte == nullptr ? vdupq_n_u16(Layout<std::uint16_t>::opaque) : vld1q_u16(matte + x);
        const auto& [blue, green, red] = colours.val;
        const uint16x8x4_t pixels = {{mattes, blue, green, red}};
        vst4q_u16(cutout + 4 * x, pixels);
    }
    plain::join(colour, matte, cutout, x);
}

/// Stores colours whose spare bytes are left open.
void store_colours(std::uint8_t* colour, uint8x16x4_t pixels) {
    pixels.val[0] = vld4q_u8(colour).val[0];
    vst4q_u8(colour, pixels);
}

void extract_colours(const std::uint8_t* cutout, std::uint8_t* colour, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        store_colours(colour + 4 * x, vld4q_u8(cutout + 4 * x));
    }
    plain::extract_colours(cutout + 4 * x, colour + 4 * x, count - x);
}

void insert_matte(const std::uint8_t* matte, std::uint8_t* cutout, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        uint8x16x4_t pixels = vld4q_u8(cutout + 4 * x);
        pixels.val[0] = vld1q_u8(matte + x);
        vst4q_u8(cutout + 4 * x, pixels);
    }
    plain::insert_matte(matte + x, cutout + 4 * x, count - x);
}

void insert_matte(const std::uint16_t* matte, std::uint16_t* cutout, std::size_t count) {
    std::size_t x = 0;
    for (; x + step / 2 <= count; x += step / 2) {
        uint16x8x4_t pixels = vld4q_u16(cutout + 4 * x);
        pixels.val[0] = vld1q_u16(matte + x);
        vst4q_u16(cutout + 4 * x, pixels);
    }
    plain::insert_matte(matte + x, cutout + 4 * x, count - x);
}

void mask_to_colour(const std::uint8_t* mask, std::uint8_t* colour, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const uint8x16_t grey = vld1q_u8(mask + x);
        store_colours(colour + 4 * x, {{grey, grey, grey, grey}});
    }
    plain::mask_to_colour(mask + x, colour + 4 * x, count - x);
}

/// Whatever the host has set, floating-point operations round to nearest.
class NearestRounding {
  public:
    NearestRounding() {
        asm volatile("mrs %0, fpcr" : "=r"(host_state_));
        asm volatile("msr fpcr, xzr");
    }
    ~NearestRounding() { asm volatile("msr fpcr, %0" : : "r"(host_state_)); }
    NearestRounding(const NearestRounding&) = delete;
    NearestRounding& operator=(const NearestRounding&) = delete;

  private:
    std::uint64_t host_state_;
};

/// 16 numbers below 65536 × 256, in order.
struct Factors {
    uint32x4_t of_four[4];
};

// (c × 255) ÷ n is c × m ÷ 65536, where m is the whole part of 255 × 65537 ÷ n: at most 256 ÷ n
// more than 255 × 65536 ÷ n, so that no byte c carries the product to the next whole number. The
// m of a transparent pixel is 0, which leaves nothing of any byte.
Factors factors(uint8x16_t matte) {
    const uint16x8_t words[2] = {vmovl_u8(vget_low_u8(matte)), vmovl_high_u8(matte)};
    Factors m;
    for (int i = 0; i < 4; ++i) {
        const uint16x8_t pair = words[i / 2];
        const uint32x4_t n = i % 2 == 0 ? vmovl_u16(vget_low_u16(pair)) : vmovl_high_u16(pair);
        // Quotients below 2^24: the division never rounds up to a whole number.
        const float32x4_t divisor = vcvtq_f32_u32(vmaxq_u32(n, vdupq_n_u32(1)));
        const uint32x4_t quotient = vcvtq_u32_f32(vdivq_f32(vdupq_n_f32(255 * 65537), divisor));
        m.of_four[i] = vbicq_u32(quotient, vceqzq_u32(n));
    }
    return m;
}

uint8x16_t divided(uint8x16_t colour, const Factors& m) {
    const uint16x8_t words[2] = {vmovl_u8(vget_low_u8(colour)), vmovl_high_u8(colour)};
    uint8x8_t bytes[2];
    for (int i = 0; i < 2; ++i) {
        const uint32x4_t low = vmulq_u32(vmovl_u16(vget_low_u16(words[i])), m.of_four[2 * i]);
        const uint32x4_t high = vmulq_u32(vmovl_high_u16(words[i]), m.of_four[2 * i + 1]);
        bytes[i] = vmovn_u16(vcombine_u16(vshrn_n_u32(low, 16), vshrn_n_u32(high, 16)));
    }
    return vcombine_u8(bytes[0], bytes[1]);
}

void unpremultiply(std::uint8_t* cutout, std::size_t count) {
    const NearestRounding rounding;
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        uint8x16x4_t pixels = vld4q_u8(cutout + 4 * x);
        pixels.val[0] = vmvnq_u8(pixels.val[0]);
        const Factors m = factors(pixels.val[0]);
        for (int c = 1; c <= 3; ++c) {
            pixels.val[c] = divided(pixels.val[c], m);
        }
        vst4q_u8(cutout + 4 * x, pixels);
    }
    plain::unpremultiply(cutout + 4 * x, count - x);
}

void premultiply(std::uint8_t* cutout, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        uint8x16x4_t pixels = vld4q_u8(cutout + 4 * x);
        const uint8x16_t matte = pixels.val[0];
        // A matte of 255 counts as 256: the colour is added once more.
        const uint8x16_t opaque = vceqq_u8(matte, vdupq_n_u8(255));
        for (int c = 1; c <= 3; ++c) {
            const uint8x16_t colour = pixels.val[c];
            const uint8x16_t more = vandq_u8(colour, opaque);
            const uint16x8_t low =
                vaddw_u8(vmull_u8(vget_low_u8(colour), vget_low_u8(matte)), vget_low_u8(more));
            const uint16x8_t high = vaddw_high_u8(vmull_high_u8(colour, matte), more);
            pixels.val[c] = vcombine_u8(vshrn_n_u16(low, 8), vshrn_n_u16(high, 8));
        }
        pixels.val[0] = vmvnq_u8(matte);
        vst4q_u8(cutout + 4 * x, pixels);
    }
    plain::premultiply(cutout + 4 * x, count - x);
}

void expand(const std::uint8_t* samples, std::size_t first, std::uint8_t* row, std::size_t count) {
    const uint8x16_t zero = vdupq_n_u8(0);
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const auto [a, b, c] = vld3q_u8(samples + 3 * x).val;
        const uint8x16x4_t leading = {{zero, a, b, c}};
        const uint8x16x4_t trailing = {{a, b, c, zero}};
        vst4q_u8(row + 4 * x, first == 1 ? leading : trailing);
    }
    plain::expand(samples + 3 * x, first, row + 4 * x, count - x);
}

void pack(const std::uint8_t* row, std::size_t first, std::uint8_t* samples, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const auto [a, b, c, d] = vld4q_u8(row + 4 * x).val;
        const uint8x16x3_t late = {{b, c, d}};
        const uint8x16x3_t early = {{a, b, c}};
        vst3q_u8(samples + 3 * x, first == 1 ? late : early);
    }
    plain::pack(row + 4 * x, first, samples + 3 * x, count - x);
}

void store_reversed(const std::uint8_t* row, std::uint8_t* colour, std::uint8_t* matte,
                    const std::uint8_t* next, std::size_t count) {
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const auto [red, green, blue, mattes] = vld4q_u8(row + 4 * x).val;
        if (colour != nullptr) {
            store_colours(colour + 4 * x, {{mattes, blue, green, red}});
        }
        if (matte != nullptr) {
            vst1q_u8(matte + x, mattes);
        }
    }
    plain::store_reversed(row + 4 * x, colour == nullptr ? nullptr : colour + 4 * x,
                          matte == nullptr ? nullptr : matte + x, next, count - x);
}

void gather_reversed(const std::uint8_t* colour, const std::uint8_t* matte,
                     const std::uint8_t* next, std::uint8_t* row, std::size_t count) {
    const uint8x16_t zero = vdupq_n_u8(0);
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        uint8x16x4_t from = {{zero, zero, zero, zero}};
        if (colour != nullptr) {
            from = vld4q_u8(colour + 4 * x);
        }
        const auto& [spare, blue, green, red] = from.val;
        const uint8x16x4_t pixels = {{red, green, blue, load_or_zero(matte, x)}};
        vst4q_u8(row + 4 * x, pixels);
    }
    plain::gather_reversed(colour == nullptr ? nullptr : colour + 4 * x,
                           matte == nullptr ? nullptr : matte + x, next, row + 4 * x, count - x);
}

void join_planes(const Planes& planes, std::uint8_t* cutout, std::size_t count) {
    const bool colour = planes.blue != nullptr;
    std::size_t x = 0;
    for (; x + step <= count; x += step) {
        const uint8x16x4_t pixels = {{load_or_zero(planes.alpha, x), load_or_zero(planes.blue, x),
                                      load_or_zero(colour ? planes.green : nullptr, x),
                                      load_or_zero(colour ? planes.red : nullptr, x)}};
        vst4q_u8(cutout + 4 * x, pixels);
    }
    plain::join_planes(planes.from(x, 0), cutout + 4 * x, count - x);
}

void store_planes(const Planes& planes, std::size_t width, std::size_t height, ByteRows colour,
                  ByteRows matte) {
    const std::size_t end = colour.bytes == nullptr ? 0 : width / step * step;
    for (std::size_t y = 0; y < height; ++y) {
        const Planes row = planes.from(0, y);
        for (std::size_t x = 0; x < end; x += step) {
            const uint8x16_t blue = vld1q_u8(row.blue + x);
            store_colours(colour.row(y) + 4 * x,
                          {{blue, blue, vld1q_u8(row.green + x), vld1q_u8(row.red + x)}});
        }
    }
    plain::store_planes(planes, width, height, {}, matte);
    if (end < width && colour.bytes != nullptr) {
        plain::store_planes(planes.from(end, 0), width - end, height,
                            {colour.bytes + 4 * end, colour.pitch}, {});
    }
}

// Eight film cutouts are 40 bytes. A table look-up deals them into five times eight bytes, one of
// each pixel, or collects them from there.
constexpr std::size_t film_step = 8;

using Lookup = std::array<std::uint8_t, 40>;

constexpr Lookup deal = [] {
    Lookup bytes = {};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i % 8 * 5 + i / 8);
    }
    return bytes;
}();

constexpr Lookup collect = [] {
    Lookup bytes = {};
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i % 5 * 8 + i / 5);
    }
    return bytes;
}();

/// Eight bytes of 40, as words.
uint16x8_t words_at(const uint8x16x3_t& bytes, const std::uint8_t* lookup) {
    return vmovl_u8(vget_low_u8(vqtbl3q_u8(bytes, vcombine_u8(vld1_u8(lookup), vdup_n_u8(0)))));
}

/// c0, c1, c2 and matte of eight film pixels.
using EightCodes = std::array<uint16x8_t, 4>;

EightCodes unpack_cutouts(const std::uint8_t* from) {
    const uint8x16x3_t packed = {
        {vld1q_u8(from), vld1q_u8(from + 16), vcombine_u8(vld1_u8(from + 32), vdup_n_u8(0))}};
    const uint16x8_t b0 = words_at(packed, &deal[0]);
    const uint16x8_t b1 = words_at(packed, &deal[8]);
    const uint16x8_t b2 = words_at(packed, &deal[16]);
    const uint16x8_t b3 = words_at(packed, &deal[24]);
    const uint16x8_t b4 = words_at(packed, &deal[32]);
    const uint16x8_t code = vdupq_n_u16(1023);
    return {vandq_u16(vsliq_n_u16(vshrq_n_u16(b3, 2), b2, 6), code),
            vandq_u16(vsliq_n_u16(vshrq_n_u16(b2, 4), b1, 4), code),
            vsliq_n_u16(vshrq_n_u16(b1, 6), b0, 2), vandq_u16(vsliq_n_u16(b4, b3, 8), code)};
}

template <bool little>
EightCodes unpack_words(const std::uint8_t* from) {
    const auto word = [from](std::size_t at) {
        const uint8x16_t bytes = vld1q_u8(from + at);
        return vreinterpretq_u32_u8(little ? bytes : vrev32q_u8(bytes));
    };
    const uint32x4_t first = word(0);
    const uint32x4_t next = word(16);
    const uint16x8_t code = vdupq_n_u16(1023);
    const uint16x8_t upper = vcombine_u16(vshrn_n_u32(first, 16), vshrn_n_u32(next, 16));
    return {vandq_u16(vcombine_u16(vshrn_n_u32(first, 2), vshrn_n_u32(next, 2)), code),
            vandq_u16(vcombine_u16(vshrn_n_u32(first, 12), vshrn_n_u32(next, 12)), code),
            vshrq_n_u16(upper, 6), vdupq_n_u16(0)};
}

/// The upper bits of two bytes each.
template <int bits, bool little>
uint16x8_t half_codes(uint16x8_t halves) {
    const uint16x8_t words =
        little ? halves : vreinterpretq_u16_u8(vrev16q_u8(vreinterpretq_u8_u16(halves)));
    if constexpr (bits == 16) {
        return words;
    } else {
        return vshrq_n_u16(words, 16 - bits);
    }
}

template <int bits, bool little, bool with_matte>
EightCodes unpack_halves(const std::uint8_t* from) {
    const auto* halves = reinterpret_cast<const std::uint16_t*>(from);
    const auto codes = half_codes<bits, little>;
    if constexpr (with_matte) {
        const auto [red, green, blue, matte] = vld4q_u16(halves).val;
        return {codes(blue), codes(green), codes(red), codes(matte)};
    } else {
        const auto [red, green, blue] = vld3q_u16(halves).val;
        return {codes(blue), codes(green), codes(red), vdupq_n_u16(0)};
    }
}

EightCodes unpack_mask8(const std::uint8_t* from) {
    const uint16x8_t zero = vdupq_n_u16(0);
    return {zero, zero, zero, vmovl_u8(vld1_u8(from))};
}

EightCodes unpack_mask10(const std::uint8_t* from) {
    const uint16x8_t zero = vdupq_n_u16(0);
    return {zero, zero, zero, half_codes<10, false>(vreinterpretq_u16_u8(vld1q_u8(from)))};
}

EightCodes unpack_colour8(const std::uint8_t* from) {
    const auto [red, green, blue] = vld3_u8(from).val;
    return {vmovl_u8(blue), vmovl_u8(green), vmovl_u8(red), vdupq_n_u16(0)};
}

EightCodes unpack_cutout8(const std::uint8_t* from) {
    const auto [red, green, blue, matte] = vld4_u8(from).val;
    return {vmovl_u8(blue), vmovl_u8(green), vmovl_u8(red), vmovl_u8(matte)};
}

/// The upper half of a product.
uint16x8_t upper_product(uint16x8_t a, std::uint16_t factor) {
    return vcombine_u16(vshrn_n_u32(vmull_n_u16(vget_low_u16(a), factor), 16),
                        vshrn_n_u32(vmull_high_n_u16(a, factor), 16));
}

/// Codes scaled as plain.cpp does, by one product: what is left beside the whole steps is the upper
/// half of it, in fractions of 2^-`fraction`.
template <int bits>
uint16x8_t scaled(uint16x8_t codes) {
    if constexpr (bits == 16) {
        return vrshrq_n_u16(vqsubq_u16(vsubq_u16(codes, upper_product(codes, 3)), vdupq_n_u16(1)),
                            2);
    } else {
        constexpr int fraction = 2 * bits - 14;
        constexpr std::uint32_t greatest = (1U << bits) - 1;
        constexpr std::uint32_t most_left = ((1U << (14 - bits)) - 1) << (fraction + 16);
        const uint16x8_t left = upper_product(codes, (most_left + greatest / 2) / greatest);
        return vaddq_u16(vshlq_n_u16(codes, 14 - bits), vrshrq_n_u16(left, fraction));
    }
}

// Eight pixels a step.
template <FilmLayout layout, FilmCodes codes, EightCodes (*unpack)(const std::uint8_t*)>
std::size_t unpack_eights(const std::uint8_t* bytes, std::size_t count, std::uint16_t* colour,
                          std::uint16_t* matte) {
    std::size_t x = 0;
    for (; x + film_step <= count; x += film_step) {
        EightCodes samples = unpack(bytes + pixel_size(layout) * x);
        if constexpr (codes == FilmCodes::scaled) {
            for (uint16x8_t& sample : samples) {
                sample = scaled<code_bits(layout)>(sample);
            }
        }
        if (colour != nullptr) {
            const uint16x8x3_t colours = {{samples[0], samples[1], samples[2]}};
            vst3q_u16(colour + 3 * x, colours);
        }
        if (matte != nullptr) {
            vst1q_u16(matte + x, samples[3]);
        }
    }
    return x;
}

using UnpackFront = std::size_t (*)(const std::uint8_t*, std::size_t, std::uint16_t*,
                                    std::uint16_t*);

// In the order of FilmLayout.
template <FilmCodes codes>
constexpr UnpackFront fronts[film_layout_count] = {
    nullptr,
    unpack_eights<FilmLayout::mask8, codes, unpack_mask8>,
    unpack_eights<FilmLayout::colour8, codes, unpack_colour8>,
    unpack_eights<FilmLayout::cutout8, codes, unpack_cutout8>,
    unpack_eights<FilmLayout::mask10, codes, unpack_mask10>,
    unpack_eights<FilmLayout::colour10, codes, unpack_words<false>>,
    unpack_eights<FilmLayout::colour10_little, codes, unpack_words<true>>,
    unpack_eights<FilmLayout::cutout10, codes, unpack_cutouts>,
    unpack_eights<FilmLayout::colour12, codes, unpack_halves<12, false, false>>,
    unpack_eights<FilmLayout::colour12_little, codes, unpack_halves<12, true, false>>,
    unpack_eights<FilmLayout::cutout12, codes, unpack_halves<12, false, true>>,
    unpack_eights<FilmLayout::cutout12_little, codes, unpack_halves<12, true, true>>,
    unpack_eights<FilmLayout::colour16, codes, unpack_halves<16, false, false>>,
    unpack_eights<FilmLayout::colour16_little, codes, unpack_halves<16, true, false>>,
    unpack_eights<FilmLayout::cutout16, codes, unpack_halves<16, false, true>>,
    unpack_eights<FilmLayout::cutout16_little, codes, unpack_halves<16, true, true>>,
};

void unpack_film(FilmLayout layout, FilmCodes codes, const std::uint8_t* bytes, std::size_t count,
                 std::uint16_t* colour, std::uint16_t* matte) {
    const auto& all =
        codes == FilmCodes::kept ? fronts<FilmCodes::kept> : fronts<FilmCodes::scaled>;
    const std::size_t x = all[static_cast<std::size_t>(layout)](bytes, count, colour, matte);
    plain::unpack_film(layout, codes, bytes + pixel_size(layout) * x, count - x,
                       colour == nullptr ? nullptr : colour + 3 * x,
                       matte == nullptr ? nullptr : matte + x);
}

void pack_cutouts(const std::uint16_t* colour, const std::uint16_t* matte, std::size_t x,
                  std::uint8_t* bytes) {
    const uint16x8_t zero = vdupq_n_u16(0);
    const uint16x8_t code = vdupq_n_u16(1023);
    uint16x8x3_t colours = {{zero, zero, zero}};
    if (colour != nullptr) {
        colours = vld3q_u16(colour + 3 * x);
    }
    const uint16x8_t c0 = vandq_u16(colours.val[0], code);
    const uint16x8_t c1 = vandq_u16(colours.val[1], code);
    const uint16x8_t c2 = vandq_u16(colours.val[2], code);
    const uint16x8_t m = matte == nullptr ? zero : vandq_u16(vld1q_u16(matte + x), code);
    // What lies above the low byte of each word is dropped.
    const uint8x8_t b0 = vshrn_n_u16(c2, 2);
    const uint8x8_t b1 = vmovn_u16(vsliq_n_u16(vshrq_n_u16(c1, 4), c2, 6));
    const uint8x8_t b2 = vmovn_u16(vsliq_n_u16(vshrq_n_u16(c0, 6), c1, 4));
    const uint8x8_t b3 = vmovn_u16(vsliq_n_u16(vshrq_n_u16(m, 8), c0, 2));
    const uint8x8_t b4 = vmovn_u16(m);
    const uint8x16x3_t dealt = {
        {vcombine_u8(b0, b1), vcombine_u8(b2, b3), vcombine_u8(b4, vdup_n_u8(0))}};
    std::uint8_t* to = bytes + 5 * x;
    vst1q_u8(to, vqtbl3q_u8(dealt, vld1q_u8(&collect[0])));
    vst1q_u8(to + 16, vqtbl3q_u8(dealt, vld1q_u8(&collect[16])));
    vst1_u8(to + 32, vqtbl3_u8(dealt, vld1_u8(&collect[32])));
}

void pack_film(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
               std::size_t count, std::uint8_t* bytes) {
    std::size_t x = 0;
    for (; layout == FilmLayout::cutout10 && x + film_step <= count; x += film_step) {
        pack_cutouts(colour, matte, x, bytes);
    }
    plain::pack_film(layout, colour == nullptr ? nullptr : colour + 3 * x,
                     matte == nullptr ? nullptr : matte + x, count - x,
                     bytes + pixel_size(layout) * x);
}

/// The first byte of a register that is set, given that all bytes are 0 or 255; 16 if none is.
std::size_t first_set(uint8x16_t bytes) {
    // Each byte becomes four bits of one word.
    const uint8x8_t nibbles = vshrn_n_u16(vreinterpretq_u16_u8(bytes), 4);
    const std::uint64_t word = vget_lane_u64(vreinterpret_u64_u8(nibbles), 0);
    return static_cast<std::size_t>(std::countr_zero(word)) / 4;
}

// A bit for each byte that is all ones, and for each word.
std::uint64_t bits_of(uint8x16_t equal) {
    constexpr std::array<std::uint8_t, 8> weights = {1, 2, 4, 8, 16, 32, 64, 128};
    const uint8x8_t weight = vld1_u8(weights.data());
    return vaddv_u8(vand_u8(vget_low_u8(equal), weight)) |
           static_cast<std::uint64_t>(vaddv_u8(vand_u8(vget_high_u8(equal), weight))) << 8;
}

std::uint64_t bits_of(uint32x4_t equal) {
    constexpr std::array<std::uint32_t, 4> weights = {1, 2, 4, 8};
    return vaddvq_u32(vandq_u32(equal, vld1q_u32(weights.data())));
}

std::size_t find_byte_runs(const std::uint8_t* bytes, std::size_t size, Run* runs) {
    RunCollector collector(runs, 2);
    std::size_t at = 0;
    for (; at + 64 + 2 <= size; at += 64) {
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < 64; i += step) {
            const std::uint8_t* from = bytes + at + i;
            const uint8x16_t first = vld1q_u8(from);
            const uint8x16_t equal =
                vandq_u8(vceqq_u8(first, vld1q_u8(from + 1)), vceqq_u8(first, vld1q_u8(from + 2)));
            mask |= bits_of(equal) << i;
        }
        collector.add(mask, at);
    }
    collector.add(plain::triples(bytes + at, size - at), at);
    return collector.count();
}

std::size_t find_pixel_runs(const std::uint8_t* row, std::size_t count, Run* runs) {
    RunCollector collector(runs, 1);
    std::size_t at = 0;
    for (; at + 64 + 1 <= count; at += 64) {
        std::uint64_t mask = 0;
        for (std::size_t i = 0; i < 64; i += 4) {
            const std::uint8_t* from = row + 4 * (at + i);
            const uint32x4_t first = vreinterpretq_u32_u8(vld1q_u8(from));
            const uint32x4_t next = vreinterpretq_u32_u8(vld1q_u8(from + 4));
            mask |= bits_of(vceqq_u32(first, next)) << i;
        }
        collector.add(mask, at);
    }
    collector.add(plain::pairs(row + 4 * at, count - at), at);
    return collector.count();
}

std::size_t find_run_end(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                         std::uint8_t value) {
    const uint8x16_t values = vdupq_n_u8(value);
    for (; from + step <= size; from += step) {
        const std::size_t found = first_set(vmvnq_u8(vceqq_u8(values, vld1q_u8(bytes + from))));
        if (found < step) {
            return from + found;
        }
    }
    return plain::find_run_end(bytes, from, size, value);
}

constexpr Kernels table() {
    Kernels kernels = plain::kernels;
    kernels.name = "neon";
    kernels.bytes.join = join;
    kernels.bytes.extract_colours = extract_colours;
    kernels.bytes.insert_matte = insert_matte;
    kernels.bytes.mask_to_colour = mask_to_colour;
    kernels.words.join = join;
    kernels.words.insert_matte = insert_matte;
    kernels.unpremultiply = unpremultiply;
    kernels.premultiply = premultiply;
    kernels.expand = expand;
    kernels.pack = pack;
    kernels.store_reversed = store_reversed;
    kernels.gather_reversed = gather_reversed;
    kernels.join_planes = join_planes;
    kernels.store_planes = store_planes;
    kernels.unpack_film = unpack_film;
    kernels.pack_film = pack_film;
    kernels.find_byte_runs = find_byte_runs;
    kernels.find_pixel_runs = find_pixel_runs;
    kernels.find_run_end = find_run_end;
    return kernels;
}

}  // namespace

constexpr Kernels neon_kernels = table();

}  // namespace trellis::pixels

#endif  // TRELLIS_HAS_NEON
