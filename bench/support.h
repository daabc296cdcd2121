#pragma once

// What all benchmarks share: pictures to work on, files to read, and the floor under every figure.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "trellis/pic_format.h"

namespace bench {

inline constexpr int width = 2048;
inline constexpr int height = 1556;
inline constexpr std::size_t pixels = static_cast<std::size_t>(width) * height;

/// A file name in a directory of the benchmark's own, which is removed when the process ends: in
/// the directory for temporary files, and in a file system in memory.
using PathOf = std::string (*)(const std::string& name);
std::string path(const std::string& name);
std::string memory_path(const std::string& name);

std::size_t file_size(const std::string& name);

/// A format's descriptor, filled once.
template <void (*init)(pic_format*)>
const pic_format& format() {
    static const pic_format filled = [] {
        pic_format record{};
        init(&record);
        return record;
    }();
    return filled;
}

/// Samples of three kinds of picture: bars and ramps that code well, noise that does not, and what
/// people have. A pixel of four channels is a colour pixel as hosts hold it: a spare one, then
/// blue, green, red.
enum class Content { chart, noise, photograph };
inline constexpr Content contents[] = {Content::chart, Content::noise, Content::photograph};
const char* name(Content content);
std::vector<std::uint8_t> samples8(Content content, int channels);
std::vector<std::uint16_t> samples16(Content content, int channels, int highest);

/// A promise: the benchmark `name` takes at most `limit` times as long as the benchmark `base`.
struct Bar {
    std::string name;
    std::string base;
    double limit;
};

/// All promises, in the order in which they were made. Benchmark files add theirs at start-up.
std::vector<Bar>& bars();

/// The floor under a load: reads the whole file in 64 KiB pieces and stores `output` bytes.
void read_floor(const std::string& name, std::size_t output);

/// Times `save`, which has to make a new file of the name and tells whether it did. Emptying an old
/// file of many pages takes as long as a good part of a save, and is not what is measured.
template <class Save>
void time_saves(benchmark::State& state, const std::string& name, Save save) {
    for (auto _ : state) {
        if (!save(name.c_str())) {
            state.SkipWithError("save failed");
            return;
        }
        state.PauseTiming();
        std::filesystem::remove(name);
        state.ResumeTiming();
    }
}

/// The floor under a save: writes the bytes of a file, which are in memory, in 64 KiB pieces to a
/// new file `name`.
void time_write_floor(benchmark::State& state, const std::string& saved,
                      const std::string& name = path("floor.raw"));

}  // namespace bench
