// Pixar loads and saves of a 2048 × 1556 cutout, each beside its floor.

#include <benchmark/benchmark.h>

#include "trellis/trellis.h"

#include "support.h"

namespace {

using bench::Content;

struct Cutout {
    std::vector<std::uint8_t> colour;
    std::vector<std::uint8_t> matte;
};

const pic_format& pixar() {
    return bench::format<init_pixar_pic_>();
}

Cutout& picture(Content content) {
    static Cutout chart = {bench::samples8(Content::chart, 4), bench::samples8(Content::chart, 1)};
    static Cutout noise = {bench::samples8(Content::noise, 4), bench::samples8(Content::noise, 1)};
    // A matte is drawn, not photographed.
    static Cutout photograph = {bench::samples8(Content::photograph, 4), chart.matte};
    switch (content) {
        case Content::noise:
            return noise;
        case Content::photograph:
            return photograph;
        default:
            return chart;
    }
}

bool save(Content content, const std::string& name, bool compress) {
    Cutout& cutout = picture(content);
    return pixar().save_cut_fn(name.c_str(), cutout.colour.data(), bench::width,
                               cutout.matte.data(), bench::width, 0, 0, bench::width - 1,
                               bench::height - 1, compress ? 1 : 0) == 0;
}

std::string saved(benchmark::State& state, Content content, bool compress) {
    std::string name = bench::path(std::string("pixar-") + bench::name(content) +
                                   (compress ? "-packets" : "-dumped") + ".pic");
    if (!save(content, name, compress)) {
        state.SkipWithError("save failed");
    }
    return name;
}

constexpr std::size_t output_size = bench::pixels * 5;  // four bytes of colour and one of matte

void set_rate(benchmark::State& state) {
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bench::pixels) * 4);
}

void pixar_load(benchmark::State& state, Content content, bool compress) {
    const std::string name = saved(state, content, compress);
    static Cutout loaded = picture(Content::noise);
    for (auto _ : state) {
        if (pixar().load_cut_fn(name.c_str(), loaded.colour.data(), bench::width,
                                loaded.matte.data(), bench::width, 0, 0, bench::width - 1,
                                bench::height - 1, 0, 0) != 0) {
            state.SkipWithError("load failed");
        }
    }
    set_rate(state);
}

void pixar_load_floor(benchmark::State& state, Content content, bool compress) {
    const std::string name = saved(state, content, compress);
    for (auto _ : state) {
        bench::read_floor(name, output_size);
    }
    set_rate(state);
}

void pixar_save(benchmark::State& state, Content content, bool compress) {
    picture(content);  // made before the clock runs
    bench::time_saves(state, bench::path("pixar-save.pic"),
                      [&](const char* name) { return save(content, name, compress); });
    set_rate(state);
}

void pixar_save_floor(benchmark::State& state, Content content, bool compress) {
    bench::time_write_floor(state, saved(state, content, compress));
    set_rate(state);
}

// An 8192 × 8192 cutout in tiles of 128 × 128: the library writes single tiles only, so the file is
// put together here, dumped, every tile where the table says.
std::string tiled_file() {
    constexpr std::size_t side = 8192;
    constexpr std::size_t tile = 128;
    constexpr std::size_t count = (side / tile) * (side / tile);
    constexpr std::size_t tile_bytes = tile * tile * 4;
    const std::string name = bench::path("pixar-tiled.pic");
    std::vector<std::uint8_t> head(760 + count * 16);
    const auto put16 = [&](std::size_t at, std::size_t value) {
        head[at] = static_cast<std::uint8_t>(value >> 8);
        head[at + 1] = static_cast<std::uint8_t>(value);
    };
    put16(2, 0xE880);
    put16(584, side);
    put16(586, side);
    put16(588, tile);
    put16(590, tile);
    put16(592, 15);
    put16(594, 2);
    put16(596, 8192);
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t offset = head.size() + i * tile_bytes;
        put16(760 + 16 * i, offset >> 16);
        put16(762 + 16 * i, offset & 0xFFFF);
        put16(768 + 16 * i, tile_bytes >> 16);
        put16(770 + 16 * i, tile_bytes & 0xFFFF);
    }
    std::FILE* file = std::fopen(name.c_str(), "w");
    std::fwrite(head.data(), 1, head.size(), file);
    const std::vector<std::uint8_t> pixels(tile_bytes, 77);
    for (std::size_t i = 0; i < count; ++i) {
        std::fwrite(pixels.data(), 1, pixels.size(), file);
    }
    std::fclose(file);
    return name;
}

void pixar_region(benchmark::State& state, int side) {
    static const std::string name = tiled_file();
    static std::vector<std::uint8_t> colour(8192UL * 8192 * 4);
    static std::vector<std::uint8_t> matte(8192UL * 8192);
    // 4032 puts a small region across the corner of four tiles, the dearest place for it.
    const int offset = side < 8192 ? -(4096 - side / 2) : 0;
    for (auto _ : state) {
        if (pixar().load_cut_fn(name.c_str(), colour.data(), side, matte.data(), side, 0, 0,
                                side - 1, side - 1, offset, offset) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

const int registered = [] {
    for (const Content content : bench::contents) {
        for (const bool compress : {false, true}) {
            const std::string suffix =
                std::string("/") + bench::name(content) + (compress ? "/packets" : "/dumped");
            const auto add = [&](const std::string& name, auto function) {
                benchmark::RegisterBenchmark((name + suffix).c_str(), function, content, compress)
                    ->Unit(benchmark::kMillisecond);
            };
            add("pixar/load", pixar_load);
            add("pixar/load-floor", pixar_load_floor);
            add("pixar/save", pixar_save);
            add("pixar/save-floor", pixar_save_floor);
            bench::bars().push_back(
                {"pixar/load" + suffix, "pixar/load-floor" + suffix, compress ? 2.5 : 1.5});
            if (!compress) {
                bench::bars().push_back({"pixar/save" + suffix, "pixar/save-floor" + suffix, 1.5});
            }
        }
    }
    for (const int side : {64, 8192}) {
        benchmark::RegisterBenchmark(("pixar/region/" + std::to_string(side)).c_str(), pixar_region,
                                     side)
            ->Unit(benchmark::kMillisecond);
    }
    bench::bars().push_back({"pixar/region/64", "pixar/region/8192", 1.0 / 500});
    return 0;
}();

}  // namespace
