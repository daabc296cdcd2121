// Loads and saves of a 2048 × 1556 photograph by one thread and by two, each of which has files and
// buffers of its own: what two cost more than half of one is spent waiting for each other. Saves go
// to the directory of temporary files and to a file system in memory. The same with the bare calls
// of the system, and with no call at all, says how much of that is the machine's.

#include <benchmark/benchmark.h>

#include <cstring>
#include <utility>

#include "trellis/trellis.h"

#include "support.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

/// A cutout as a format's slots take it.
struct Picture {
    Bytes colour;
    Bytes matte;
};

struct Coding {
    const char* name;
    const pic_format& format;
    int compress;
    Picture (*make)();
};

template <class Sample>
Bytes bytes_of(const std::vector<Sample>& samples) {
    Bytes bytes(samples.size() * sizeof(Sample));
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

Picture film() {
    return {bytes_of(bench::samples16(bench::Content::photograph, 3, 1023)),
            bytes_of(bench::samples16(bench::Content::chart, 1, 1023))};
}

Picture paint() {
    return {bench::samples8(bench::Content::photograph, 4),
            bench::samples8(bench::Content::chart, 1)};
}

const Coding codings[] = {
    {"dpx", bench::format<init_dpx_pic_>(), 0, film},
    {"cineon", bench::format<init_smpte_pic_>(), 0, film},
    {"pixar-dumped", bench::format<init_pixar_pic_>(), 0, paint},
    {"pixar-packets", bench::format<init_pixar_pic_>(), 1, paint},
    {"iff", bench::format<init_maya_pic_>(), 1, paint},
};

const struct {
    const char* name;
    bench::PathOf path;
} places[] = {{"temporary", bench::path}, {"memory", bench::memory_path}};

std::string own_name(const benchmark::State& state) {
    return "thread-" + std::to_string(state.thread_index());
}

bool save(const Coding& coding, Picture& picture, const std::string& name) {
    return coding.format.save_cut_fn(name.c_str(), picture.colour.data(), bench::width,
                                     picture.matte.data(), bench::width, 0, 0, bench::width - 1,
                                     bench::height - 1, coding.compress) == 0;
}

bool load(const Coding& coding, Picture& picture, const std::string& name) {
    return coding.format.load_cut_fn(name.c_str(), picture.colour.data(), bench::width,
                                     picture.matte.data(), bench::width, 0, 0, bench::width - 1,
                                     bench::height - 1, 0, 0) == 0;
}

void time_load(benchmark::State& state, const Coding& coding) {
    const std::string name = bench::path(own_name(state));
    Picture picture = coding.make();
    if (!save(coding, picture, name)) {
        state.SkipWithError("save failed");
    }
    for (auto _ : state) {
        if (!load(coding, picture, name)) {
            state.SkipWithError("load failed");
        }
    }
}

void time_save(benchmark::State& state, const Coding& coding, bench::PathOf path) {
    Picture picture = coding.make();
    bench::time_saves(state, path(own_name(state)),
                      [&](const char* name) { return save(coding, picture, name); });
}

// The file that the floors read and write.
std::string floor_file(const benchmark::State& state) {
    const std::string name = bench::path("floor-" + own_name(state));
    Picture picture = film();
    save(codings[0], picture, name);
    return name;
}

void time_load_floor(benchmark::State& state) {
    const std::string name = floor_file(state);
    const std::size_t output = bench::pixels * 8;
    bench::read_floor(name, output);  // takes this thread's memory
    for (auto _ : state) {
        bench::read_floor(name, output);
    }
}

void time_save_floor(benchmark::State& state, bench::PathOf path) {
    bench::time_write_floor(state, floor_file(state), path(own_name(state)));
}

void time_arithmetic(benchmark::State& state) {
    for (auto _ : state) {
        for (std::uint32_t i = 0; i < 1000000; ++i) {
            benchmark::DoNotOptimize(i);
        }
    }
}

/// Two threads have to do at least `speedup` times as much as one.
template <class Function, class... Arguments>
void add(const std::string& name, double speedup, Function function,
         const Arguments&... arguments) {
    const std::string one = "threads/" + name + "/1";
    const std::string two = "threads/" + name + "/2";
    for (const auto& [full_name, threads] : {std::pair{one, 1}, {two, 2}}) {
        benchmark::RegisterBenchmark(full_name.c_str(), function, arguments...)
            ->Threads(threads)
            ->UseRealTime()
            ->Unit(benchmark::kMillisecond);
    }
    bench::bars().push_back({two, one, 1 / speedup});
}

const int registered = [] {
    add("arithmetic", 1.95, time_arithmetic);
    add("load/floor", 1.9, time_load_floor);
    for (const Coding& coding : codings) {
        add(std::string("load/") + coding.name, 1.9, time_load, coding);
    }
    for (const auto& [place, path] : places) {
        const std::string save = std::string("save-") + place + "/";
        add(save + "floor", 1.8, time_save_floor, path);
        for (const Coding& coding : codings) {
            add(save + coding.name, 1.8, time_save, coding, path);
        }
    }
    return 0;
}();

}  // namespace
