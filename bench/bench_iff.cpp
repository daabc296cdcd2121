// Maya IFF loads and saves of a 2048 × 1556 cutout in run-length code, beside floors and peer, and
// regions of a larger file.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <span>

#include "trellis/trellis.h"

#include "formats/iff/chunks.h"
#include "formats/iff/header.h"
#include "formats/iff/run_length.h"
#include "peers_iff.h"
#include "support.h"

namespace {

using namespace trellis::iff;
using bench::Content;
using Bytes = std::vector<std::uint8_t>;

// Noisy colour in front of a clean matte: every tile has one plane of runs and three of literals,
// which is the dearest that still is code.
struct Cutout {
    Bytes colour;
    Bytes matte;
    int width;
    int height;
};

Cutout& picture(Content content) {
    const auto made = [](Content colour) {
        return Cutout{bench::samples8(colour, 4), bench::samples8(Content::chart, 1), bench::width,
                      bench::height};
    };
    static Cutout chart = made(Content::chart);
    static Cutout noise = made(Content::noise);
    static Cutout photograph = made(Content::photograph);
    switch (content) {
        case Content::noise:
            return noise;
        case Content::photograph:
            return photograph;
        default:
            return chart;
    }
}

const pic_format& maya() {
    return bench::format<init_maya_pic_>();
}

template <class Record>
void append(Bytes& bytes, const Record& record) {
    bytes.resize(bytes.size() + sizeof record);
    std::memcpy(&bytes[bytes.size() - sizeof record], &record, sizeof record);
}

void append_tile(Bytes& file, const Cutout& cutout, int x0, int y0, int x1, int y1) {
    const std::size_t area =
        static_cast<std::size_t>(x1 - x0 + 1) * static_cast<std::size_t>(y1 - y0 + 1);
    Bytes plane(area);
    Bytes code(area * 5);
    std::size_t code_size = 0;
    for (std::size_t channel = 0; channel < 4; ++channel) {
        std::size_t k = 0;
        for (int y = y0; y <= y1; ++y) {
            for (int x = x0; x <= x1; ++x) {
                const auto i = static_cast<std::size_t>(y * cutout.width + x);
                plane[k++] = channel == 0 ? cutout.matte[i] : cutout.colour[4 * i + channel];
            }
        }
        code_size += encode_runs(plane, std::span(code).subspan(code_size));
    }
    code.resize(code_size);
    const auto size = static_cast<std::uint32_t>(sizeof(tile_header) + code.size());
    append(file, iff_chunk_header{tile_tag, size});
    append(file, tile_header{static_cast<std::uint16_t>(x0), static_cast<std::uint16_t>(y0),
                             static_cast<std::uint16_t>(x1), static_cast<std::uint16_t>(y1)});
    file.insert(file.end(), code.begin(), code.end());
    file.resize(padded(file.size()));
}

// The library writes single tiles only, so tiled files are put together here.
std::string tiled_file(const std::string& name, const Cutout& cutout, int tile) {
    Bytes file;
    maya_header header{};
    header.width = cutout.width;
    header.height = cutout.height;
    header.flags = maya_header::colour_flag | maya_header::alpha_flag;
    header.tiles = static_cast<std::uint16_t>(((cutout.width - 1) / tile + 1) *
                                              ((cutout.height - 1) / tile + 1));
    header.compression = 1;
    append(file, iff_chunk_header{form_tag, 0});
    append(file, trellis::be32(picture_tag));
    append(file, iff_chunk_header{header_tag, sizeof header});
    append(file, header);
    append(file, iff_chunk_header{form_tag, 0});
    append(file, trellis::be32(bitmap_tag));
    for (int y = 0; y < cutout.height; y += tile) {
        for (int x = 0; x < cutout.width; x += tile) {
            append_tile(file, cutout, x, y, std::min(x + tile, cutout.width) - 1,
                        std::min(y + tile, cutout.height) - 1);
        }
    }
    // Sizes of forms, for readers that mind them.
    const auto size = static_cast<std::uint32_t>(file.size());
    const iff_chunk_header picture_form{form_tag, size - 8};
    const iff_chunk_header bitmap_form{form_tag, size - 60};
    std::memcpy(file.data(), &picture_form, sizeof picture_form);
    std::memcpy(file.data() + 52, &bitmap_form, sizeof bitmap_form);
    std::FILE* out = std::fopen(bench::path(name).c_str(), "w");
    std::fwrite(file.data(), 1, file.size(), out);
    std::fclose(out);
    return bench::path(name);
}

std::string tiled_file(Content content) {
    static std::map<Content, std::string> names;
    std::string& name = names[content];
    if (name.empty()) {
        name = tiled_file(std::string(bench::name(content)) + ".iff", picture(content), 64);
    }
    return name;
}

void load(benchmark::State& state, const std::string& name, int buffer_type) {
    static Bytes colour(bench::pixels * 6);
    static Bytes matte(bench::pixels * 2);
    set_buffer_type_trellis(buffer_type);
    for (auto _ : state) {
        if (maya().load_cut_fn(name.c_str(), colour.data(), bench::width, matte.data(),
                               bench::width, 0, 0, bench::width - 1, bench::height - 1, 0,
                               0) != 0) {
            state.SkipWithError("load failed");
        }
    }
    set_buffer_type_trellis(0);
}

void iff_load(benchmark::State& state, Content content) {
    load(state, tiled_file(content), 0);
}

void iff_load_deep(benchmark::State& state, Content content) {
    load(state, tiled_file(content), 1);
}

void iff_load_floor(benchmark::State& state, Content content) {
    const std::string name = tiled_file(content);
    for (auto _ : state) {
        bench::read_floor(name, bench::pixels * 5);
    }
}

bool save(Content content, const std::string& name) {
    Cutout& cutout = picture(content);
    return maya().save_cut_fn(name.c_str(), cutout.colour.data(), bench::width, cutout.matte.data(),
                              bench::width, 0, 0, bench::width - 1, bench::height - 1, 1) == 0;
}

void iff_save(benchmark::State& state, Content content) {
    picture(content);  // made before the clock runs
    bench::time_saves(state, bench::path("save.iff"),
                      [content](const char* name) { return save(content, name); });
}

// The library's own files: one tile of the whole picture.
void iff_load_single(benchmark::State& state, Content content) {
    const std::string name = bench::path("single.iff");
    save(content, name);
    load(state, name, 0);
}

void iff_save_floor(benchmark::State& state, Content content) {
    const std::string name = bench::path("single.iff");
    save(content, name);
    bench::time_write_floor(state, name);
}

void peer_load(benchmark::State& state, Content content) {
    const std::string name = tiled_file(content);
    for (auto _ : state) {
        if (!bench::peer_loads_iff(name)) {
            state.SkipWithError("peer failed");
        }
    }
}

void peer_save(benchmark::State& state, Content content) {
    const Cutout& cutout = picture(content);
    Bytes samples;
    for (std::size_t i = 0; i < bench::pixels; ++i) {
        const std::uint8_t* pixel = &cutout.colour[4 * i];
        samples.insert(samples.end(), {pixel[3], pixel[2], pixel[1], cutout.matte[i]});
    }
    bench::time_saves(state, bench::path("peer.iff"),
                      [&](const char* name) { return bench::peer_saves_iff(name, samples); });
}

// 8192 × 8192 pixels in tiles of tile × tile.
constexpr int large_side = 8192;
constexpr std::size_t large_pixels = std::size_t{large_side} * large_side;

const std::string& large_file(int tile) {
    static std::map<int, std::string> names;
    std::string& name = names[tile];
    if (name.empty()) {
        Cutout cutout = {Bytes(large_pixels * 4), Bytes(large_pixels), large_side, large_side};
        const Cutout& noise = picture(Content::noise);
        for (std::size_t i = 0; i < large_pixels; ++i) {
            std::memcpy(&cutout.colour[4 * i], &noise.colour[4 * (i % bench::pixels)], 4);
        }
        name = tiled_file("large" + std::to_string(tile) + ".iff", cutout, tile);
    }
    return name;
}

// A small region lies across the corner of four tiles, the dearest place for it.
void iff_region(benchmark::State& state, int tile, int side) {
    static Bytes colour(large_pixels * 4, 1);
    static Bytes matte(large_pixels, 1);
    const std::string& name = large_file(tile);
    const int offset = side < large_side ? -(large_side / 2 - side / 2) : 0;
    for (auto _ : state) {
        if (maya().load_cut_fn(name.c_str(), colour.data(), side, matte.data(), side, 0, 0,
                               side - 1, side - 1, offset, offset) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

// What any reader has to do for any region: go from tile to tile, for the format has no index.
void iff_walk(benchmark::State& state, int tile) {
    const std::string& name = large_file(tile);
    for (auto _ : state) {
        std::FILE* file = std::fopen(name.c_str(), "r");
        std::setvbuf(file, nullptr, _IONBF, 0);
        long position = 64;
        struct {
            iff_chunk_header chunk;
            tile_header corners;
        } start;
        while (std::fseek(file, position, SEEK_SET) == 0 &&
               std::fread(&start, sizeof start, 1, file) == 1) {
            position += static_cast<long>(sizeof start.chunk + padded(start.chunk.size));
        }
        std::fclose(file);
    }
}

const int registered = [] {
    for (const Content content : bench::contents) {
        const std::string suffix = std::string("/") + bench::name(content);
        const auto add = [&](const std::string& name, auto function) {
            benchmark::RegisterBenchmark((name + suffix).c_str(), function, content)
                ->Unit(benchmark::kMillisecond);
        };
        const auto promise = [&](const std::string& name, const std::string& base, double limit) {
            bench::bars().push_back({name + suffix, base + suffix, limit});
        };
        add("iff/load", iff_load);
        add("iff/load-deep", iff_load_deep);
        add("iff/load-single", iff_load_single);
        add("iff/load-floor", iff_load_floor);
        add("iff/save", iff_save);
        add("iff/save-floor", iff_save_floor);
        promise("iff/load", "iff/load-floor", 2.5);
        if (bench::has_iff_peer()) {
            add("iff/load-peer", peer_load);
            add("iff/save-peer", peer_save);
            promise("iff/load", "iff/load-peer",
                    content == Content::photograph ? 1.0 / 12 : 1.0 / 8);
            promise("iff/save", "iff/save-peer", 1.0 / 8);
        }
    }
    for (const int tile : {64, 512}) {
        const std::string name = "iff/region" + std::to_string(tile);
        for (const int side : {64, large_side}) {
            benchmark::RegisterBenchmark((name + "/" + std::to_string(side)).c_str(), iff_region,
                                         tile, side)
                ->Unit(benchmark::kMillisecond);
        }
        benchmark::RegisterBenchmark((name + "/walk").c_str(), iff_walk, tile)
            ->Unit(benchmark::kMillisecond);
        bench::bars().push_back({name + "/64", name + "/8192", 1.0 / 500});
        bench::bars().push_back({name + "/64", name + "/walk", tile == 64 ? 1.5 : 3});
    }
    return 0;
}();

}  // namespace
