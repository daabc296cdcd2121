// DPX and Cineon loads and saves of a 2048 × 1556 picture beside their floors and peers; both
// orientations; cutouts and masks; scaled samples of 10, 12 and 16 bits; and a small region of a
// large picture.

#include <benchmark/benchmark.h>

#include <cstring>

#include "trellis/trellis.h"

#include "peers.h"
#include "support.h"

namespace {

struct Format {
    std::string extension;
    pic_format slots;
};

const Format& dpx() {
    static const Format format = {"dpx", bench::format<init_dpx_pic_>()};
    return format;
}

const Format& cineon() {
    static const Format format = {"cin", bench::format<init_smpte_pic_>()};
    return format;
}

std::vector<std::uint16_t>& colour() {
    static auto samples = bench::samples16(bench::Content::noise, 3, 1023);
    return samples;
}

std::vector<std::uint16_t>& matte() {
    static auto samples = bench::samples16(bench::Content::noise, 1, 1023);
    return samples;
}

enum class Kind { picture, cutout, mask };

int save(const Format& format, Kind kind, const std::string& name, int width, int height) {
    const pic_format& slots = format.slots;
    switch (kind) {
        case Kind::cutout:
            return slots.save_cut_fn(name.c_str(), colour().data(), width, matte().data(), width, 0,
                                     0, width - 1, height - 1, 0);
        case Kind::mask:
            return slots.save_mask_fn(name.c_str(), matte().data(), width, 0, 0, width - 1,
                                      height - 1, 0);
        default:
            return slots.save_pic_fn(name.c_str(), colour().data(), width, 0, 0, width - 1,
                                     height - 1, 0);
    }
}

int load(const Format& format, Kind kind, const std::string& name, int width, int height) {
    static std::vector<std::uint16_t> loaded_colour = colour();
    static std::vector<std::uint16_t> loaded_matte = matte();
    const pic_format& slots = format.slots;
    switch (kind) {
        case Kind::cutout:
            return slots.load_cut_fn(name.c_str(), loaded_colour.data(), width, loaded_matte.data(),
                                     width, 0, 0, width - 1, height - 1, 0, 0);
        case Kind::mask:
            return slots.load_mask_fn(name.c_str(), loaded_matte.data(), width, 0, 0, width - 1,
                                      height - 1, 0, 0);
        default:
            return slots.load_pic_fn(name.c_str(), loaded_colour.data(), width, 0, 0, width - 1,
                                     height - 1, 0, 0);
    }
}

// What a load stores: the file's bytes are fewer.
std::size_t output_size(Kind kind) {
    return bench::pixels * (kind == Kind::cutout ? 8 : kind == Kind::mask ? 2 : 6);
}

std::string saved(const Format& format, Kind kind) {
    free_last_header_trellis();
    const std::string name =
        bench::path("kind-" + std::to_string(static_cast<int>(kind)) + "." + format.extension);
    save(format, kind, name, bench::width, bench::height);
    return name;
}

void load_whole(benchmark::State& state, const Format& format, Kind kind) {
    const std::string name = saved(format, kind);
    for (auto _ : state) {
        if (load(format, kind, name, bench::width, bench::height) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

void load_floor(benchmark::State& state, const Format& format, Kind kind) {
    const std::string name = saved(format, kind);
    for (auto _ : state) {
        bench::read_floor(name, output_size(kind));
    }
}

void save_whole(benchmark::State& state, const Format& format, Kind kind) {
    free_last_header_trellis();
    bench::time_saves(state, bench::path("save." + format.extension), [&](const char* name) {
        return save(format, kind, name, bench::width, bench::height) == 0;
    });
}

void save_floor(benchmark::State& state, const Format& format, Kind kind) {
    bench::time_write_floor(state, saved(format, kind));
}

// A header of the transposed orientation for the next save, as a host prepares it.
void prepare_transposed_header() {
    void* header = nullptr;
    int size = 0;
    saved(dpx(), Kind::picture);
    inq_last_header_trellis(&header, &size);
    std::memcpy(static_cast<char*>(header) + 768, "\0\5", 2);
}

void load_transposed(benchmark::State& state) {
    const std::string name = bench::path("transposed.dpx");
    prepare_transposed_header();
    if (save(dpx(), Kind::picture, name, bench::width, bench::height) != 0) {
        state.SkipWithError("save failed");
    }
    for (auto _ : state) {
        if (load(dpx(), Kind::picture, name, bench::width, bench::height) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

void save_transposed(benchmark::State& state) {
    prepare_transposed_header();
    bench::time_saves(state, bench::path("save-transposed.dpx"), [](const char* name) {
        void* header = nullptr;
        int size = 0;
        inq_last_header_trellis(&header, &size);
        std::memcpy(static_cast<char*>(header) + 768, "\0\5", 2);
        return save(dpx(), Kind::picture, name, bench::width, bench::height) == 0;
    });
}

// A file of samples of so many bits.
std::string saved_samples(int bits) {
    const std::string name = bench::path("samples-" + std::to_string(bits) + ".dpx");
    const trellis_film_save options = {sizeof options, TRELLIS_TYPE_DPX, bits, 1, nullptr, 0};
    static auto samples = bench::samples16(bench::Content::noise, 3, 16383);
    free_last_header_trellis();
    save_film_samples_trellis(name.c_str(), samples.data(), bench::width, nullptr, 0, 0, 0,
                              bench::width - 1, bench::height - 1, &options);
    return name;
}

void load_samples(benchmark::State& state, int bits) {
    static std::vector<std::uint16_t> loaded = colour();
    const std::string name = saved_samples(bits);
    for (auto _ : state) {
        if (load_film_samples_trellis(name.c_str(), loaded.data(), bench::width, nullptr, 0, 0, 0,
                                      bench::width - 1, bench::height - 1, 0, 0) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

void load_samples_floor(benchmark::State& state, int bits) {
    const std::string name = saved_samples(bits);
    for (auto _ : state) {
        bench::read_floor(name, output_size(Kind::picture));
    }
}

void peer_load_samples(benchmark::State& state, const bench::Peer& peer, int bits) {
    const std::string name = saved_samples(bits);
    for (auto _ : state) {
        if (!peer.load(name, "dpx")) {
            state.SkipWithError("this peer does not read the file");
        }
    }
}

// A picture of 8192 × 6224 pixels: a square of `side`, or all of it.
void region(benchmark::State& state, int side) {
    constexpr int width = 8192;
    constexpr int height = 6224;
    static std::vector<std::uint16_t> samples(std::size_t{width} * height * 3, 512);
    static const std::string name = [] {
        free_last_header_trellis();
        const std::string large = bench::path("large.dpx");
        dpx().slots.save_pic_fn(large.c_str(), samples.data(), width, 0, 0, width - 1, height - 1,
                                0);
        return large;
    }();
    const bool whole = side == 0;
    const int x1 = whole ? width - 1 : side - 1;
    const int y1 = whole ? height - 1 : side - 1;
    const int offset = whole ? 0 : -3000;
    for (auto _ : state) {
        if (dpx().slots.load_pic_fn(name.c_str(), samples.data(), width, 0, 0, x1, y1, offset,
                                    offset) != 0) {
            state.SkipWithError("load failed");
        }
    }
}

void peer_load(benchmark::State& state, const bench::Peer& peer, const Format& format) {
    const std::string name = saved(format, Kind::picture);
    for (auto _ : state) {
        if (!peer.load(name, format.extension)) {
            state.SkipWithError("this peer does not read the format");
        }
    }
}

void peer_save(benchmark::State& state, const bench::Peer& peer, const Format& format) {
    static const auto samples = bench::samples16(bench::Content::noise, 3, 65535);
    bench::time_saves(state, bench::path("peer-save." + format.extension),
                      [&](const char* name) { return peer.save(name, samples); });
}

template <class Function, class... Arguments>
void add(const std::string& name, Function function, const Arguments&... arguments) {
    benchmark::RegisterBenchmark(name.c_str(), function, arguments...)
        ->Unit(benchmark::kMillisecond);
}

void add_format(const Format& format, const std::string& name, double openimageio_limit) {
    const struct {
        Kind kind;
        std::string suffix;
    } kinds[] = {{Kind::picture, ""}, {Kind::cutout, "/cutout"}, {Kind::mask, "/mask"}};
    for (const auto& [kind, suffix] : kinds) {
        add(name + "/load" + suffix, load_whole, format, kind);
        add(name + "/load-floor" + suffix, load_floor, format, kind);
        add(name + "/save" + suffix, save_whole, format, kind);
        add(name + "/save-floor" + suffix, save_floor, format, kind);
    }
    bench::bars().push_back({name + "/load", name + "/load-floor", 1.35});
    bench::bars().push_back({name + "/save", name + "/save-floor", 1.4});
    for (const bench::Peer& peer : bench::peers()) {
        add(name + "/load/" + peer.name, peer_load, peer, format);
        if (peer.save != nullptr) {
            add(name + "/save/" + peer.name, peer_save, peer, format);
        }
    }
    bench::bars().push_back({name + "/load", name + "/load/OpenImageIO", openimageio_limit});
    bench::bars().push_back({name + "/load", name + "/load/GraphicsMagick", 1});
    bench::bars().push_back({name + "/load", name + "/load/FFmpeg", 1.0 / 2});
    bench::bars().push_back({name + "/save", name + "/save/OpenImageIO", 1.0 / 6});
}

void add_samples(int bits) {
    const std::string name = "dpx/load/samples-" + std::to_string(bits);
    add(name, load_samples, bits);
    add(name + "/floor", load_samples_floor, bits);
    bench::bars().push_back(bits == 10 ? bench::Bar{name, "dpx/load", 1.25}
                                       : bench::Bar{name, name + "/floor", 1.5});
    for (const bench::Peer& peer : bench::peers()) {
        add(name + "/" + peer.name, peer_load_samples, peer, bits);
    }
    bench::bars().push_back({name, name + "/OpenImageIO", 1.0 / 5});
}

const int registered = [] {
    add_format(dpx(), "dpx", 1.0 / 8);
    add_format(cineon(), "cineon", 1.0 / 8);
    add("dpx/load/transposed", load_transposed);
    add("dpx/save/transposed", save_transposed);
    for (const int bits : {10, 12, 16}) {
        add_samples(bits);
    }
    add("dpx/region/64", region, 64);
    add("dpx/region/whole", region, 0);
    bench::bars().push_back({"dpx/load/transposed", "dpx/load", 4});
    bench::bars().push_back({"dpx/save/transposed", "dpx/save", 4});
    bench::bars().push_back({"dpx/region/64", "dpx/region/whole", 1.0 / 200});
    return 0;
}();

}  // namespace
