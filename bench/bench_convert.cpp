// Every pixel conversion over 2048 × 1556 pixels, beside a plain loop of memcpy that moves the same
// number of bytes: those of the pixels read plus those of the pixels written.

#include <benchmark/benchmark.h>

#include <cstring>

#include "trellis/trellis.h"

#include "convert/depth.h"
#include "frame/raster.h"
#include "support.h"

namespace {

using namespace trellis;

constexpr int w = bench::width;
constexpr int h = bench::height;
constexpr int n = w * h;

/// Pixel memory at least as large as any buffer, filled before anything is measured.
struct Memory {
    std::vector<std::uint16_t> words = bench::samples16(bench::Content::noise, 4, 16383);
    std::vector<std::uint8_t> bytes = bench::samples8(bench::Content::noise, 4);
};

Memory& source() {
    static Memory memory;
    return memory;
}

Memory& destination() {
    static Memory memory;
    return memory;
}

struct Conversion {
    const char* name;
    int bytes_read;  // of one pixel; of the destination too, where its spare byte is kept
    int bytes_written;
    void (*run)(Memory& from, Memory& to);
};

const Conversion conversions[] = {
    {"colour-8-to-16", 4, 6,
     [](Memory& from, Memory& to) {
         convert::widen(Colour8(from.bytes.data(), w), Colour16(to.words.data(), w), {w, h});
     }},
    {"colour-16-to-8", 10, 4,
     [](Memory& from, Memory& to) {
         convert::narrow(Colour16(from.words.data(), w), Colour8(to.bytes.data(), w), {w, h});
     }},
    {"matte-8-to-16", 1, 2,
     [](Memory& from, Memory& to) {
         convert::widen(Matte8(from.bytes.data(), w), Matte16(to.words.data(), w), {w, h});
     }},
    {"matte-16-to-8", 2, 1,
     [](Memory& from, Memory& to) {
         convert::narrow(Matte16(from.words.data(), w), Matte8(to.bytes.data(), w), {w, h});
     }},
    {"cutout-8-to-16", 4, 8,
     [](Memory& from, Memory& to) {
         copy_and_convert_cut_buffer_trellis(w, h, 0, from.bytes.data(), w, 0, 0, 1,
                                             to.words.data(), w, 0, 0);
     }},
    {"cutout-16-to-8", 8, 4,
     [](Memory& from, Memory& to) {
         copy_and_convert_cut_buffer_trellis(w, h, 1, from.words.data(), w, 0, 0, 0,
                                             to.bytes.data(), w, 0, 0);
     }},
    {"join-8", 5, 4,
     [](Memory& from, Memory& to) {
         rgb_and_a_to_cut_convert_trellis(0, from.bytes.data(), from.words.data(), to.bytes.data(),
                                          n);
     }},
    {"join-16", 8, 8,
     [](Memory& from, Memory& to) {
         rgb_and_a_to_cut_convert_trellis(1, from.words.data(), from.bytes.data(), to.words.data(),
                                          n);
     }},
    {"join-16-in-place", 6, 8,
     [](Memory&, Memory& to) {
         rgb_and_a_to_cut_convert_trellis(1, to.words.data(), nullptr, to.words.data(), n);
     }},
    {"split-8", 8, 5,
     [](Memory& from, Memory& to) {
         cut_to_rgb_and_a_convert_trellis(0, to.bytes.data(), to.words.data(), from.bytes.data(),
                                          n);
     }},
    {"split-16", 8, 8,
     [](Memory& from, Memory& to) {
         cut_to_rgb_and_a_convert_trellis(1, to.words.data(), to.bytes.data(), from.words.data(),
                                          n);
     }},
    {"split-16-in-place", 8, 6,
     [](Memory&, Memory& to) {
         cut_to_rgb_and_a_convert_trellis(1, to.words.data(), nullptr, to.words.data(), n);
     }},
    {"grey-8", 4, 1,
     [](Memory& from, Memory& to) {
         rgb_to_mask_convert_trellis(0, from.bytes.data(), to.bytes.data(), n);
     }},
    {"grey-8-neutral", 4, 1,
     [](Memory&, Memory& to) {
         // Every sample of these colours is whole hundredths: the dearest ones for the kernel.
         static const std::vector<std::uint8_t> neutral(bench::pixels * 4, 101);
         rgb_to_mask_convert_trellis(0, neutral.data(), to.bytes.data(), n);
     }},
    {"grey-8-mixed", 4, 1,
     [](Memory&, Memory& to) {
         // A white page with a coloured pixel here and there.
         static const std::vector<std::uint8_t> page = [] {
             std::vector<std::uint8_t> pixels(bench::pixels * 4, 255);
             for (std::size_t at = 0; at < pixels.size(); at += std::size_t{4} * 37) {
                 pixels[at + 1] = 10;
                 pixels[at + 2] = 200;
             }
             return pixels;
         }();
         rgb_to_mask_convert_trellis(0, page.data(), to.bytes.data(), n);
     }},
    {"grey-16", 6, 2,
     [](Memory& from, Memory& to) {
         rgb_to_mask_convert_trellis(1, from.words.data(), to.words.data(), n);
     }},
    {"mask-to-colour-8", 5, 4,
     [](Memory& from, Memory& to) {
         mask_to_rgb_convert_trellis(0, to.bytes.data(), from.bytes.data(), n);
     }},
    {"mask-to-colour-16", 2, 6,
     [](Memory& from, Memory& to) {
         mask_to_rgb_convert_trellis(1, to.words.data(), from.words.data(), n);
     }},
    {"insert-matte-8", 5, 4,
     [](Memory& from, Memory& to) {
         to8_rgba_trellis(to.bytes.data(), w, from.bytes.data(), w, 0, 0, w - 1, h - 1);
     }},
    {"insert-matte-16", 10, 8,
     [](Memory& from, Memory& to) {
         to16_rgba_trellis(to.words.data(), w, from.words.data(), w, 0, 0, w - 1, h - 1);
     }},
    {"extract-matte-8", 4, 1,
     [](Memory& from, Memory& to) {
         from8_rgba_trellis(from.bytes.data(), w, to.bytes.data(), w, 0, 0, w - 1, h - 1);
     }},
    {"extract-matte-16", 8, 2,
     [](Memory& from, Memory& to) {
         from16_rgba_trellis(from.words.data(), w, to.words.data(), w, 0, 0, w - 1, h - 1);
     }},
    {"unpremultiply", 4, 4,
     [](Memory&, Memory& to) { reformat_old_cut_8bit_buff(to.bytes.data(), w, w, h); }},
    {"premultiply", 4, 4,
     [](Memory&, Memory& to) { reformat_new_cut_8bit_buff(to.bytes.data(), w, w, h); }},
};

void convert_picture(benchmark::State& state, const Conversion& conversion) {
    Memory& from = source();
    Memory& to = destination();
    for (auto _ : state) {
        conversion.run(from, to);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * n *
                            (conversion.bytes_read + conversion.bytes_written));
}

// Half of the bytes are read and half are written, a row of the picture at a time.
void copy_picture(benchmark::State& state, const Conversion& conversion) {
    const std::uint16_t* from = source().words.data();
    std::uint16_t* to = destination().words.data();
    const int bytes = conversion.bytes_read + conversion.bytes_written;
    const std::size_t row_words = static_cast<std::size_t>(w) * static_cast<std::size_t>(bytes) / 4;
    // Rows of odd pixels end within the memory: it holds 8 bytes a pixel, a half of 16 at most.
    const std::size_t capacity = source().words.size();
    for (auto _ : state) {
        for (std::size_t y = 0, at = 0; y < h; ++y, at += row_words) {
            at = at + row_words > capacity ? 0 : at;
            std::memcpy(to + at, from + at, row_words * sizeof(std::uint16_t));
        }
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * n * bytes);
}

const int registered = [] {
    for (const Conversion& conversion : conversions) {
        const std::string name = std::string("convert/") + conversion.name;
        benchmark::RegisterBenchmark(name.c_str(), convert_picture, conversion)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark((name + "-memcpy").c_str(), copy_picture, conversion)
            ->Unit(benchmark::kMillisecond);
        const bool is_grey = name.find("grey") != std::string::npos;
        bench::bars().push_back({name, name + "-memcpy", is_grey ? 3.0 : 1.3});
    }
    return 0;
}();

}  // namespace
