// Many threads at once: each saves, probes, measures, describes, loads and converts pictures of its
// own in every format, while one thread keeps changing the settings. Under ThreadSanitizer this is
// also the search for data that threads share without agreeing on it.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "support/formats.h"
#include "support/support.h"

namespace {

using u8 = std::uint8_t;
using u16 = std::uint16_t;
using support::Bytes;

/// A cutout with noise in it, as slots take it at either depth. `limit` is the largest sample.
template <class Sample>
struct Picture {
    static constexpr int channels = sizeof(Sample) == 1 ? 4 : 3;
    int width, height;
    std::vector<Sample> colour, matte;

    Picture(int w, int h)
        : width(w), height(h), colour(static_cast<std::size_t>(w * h * channels)), matte(colour.size() / channels) {}

    Picture(unsigned int seed, int limit) : Picture(31 + static_cast<int>(seed % 7), 17 + static_cast<int>(seed % 5)) {
        support::Noise noise(seed);
        const auto next = [&] { return static_cast<Sample>(noise.next() % static_cast<unsigned int>(limit + 1)); };
        for (std::size_t i = 0; i < colour.size(); ++i) {
            colour[i] = channels == 4 && i % 4 == 0 ? Sample{0} : next();  // nobody writes the spare byte
        }
        for (Sample& sample : matte) { sample = next(); }
    }

    Picture blank() const { return {width, height}; }
    int right() const { return width - 1; }
    int top() const { return height - 1; }
    bool operator==(const Picture&) const = default;
};

Picture<u16> widened(const Picture<u8>& from) {
    Picture<u16> to(from.width, from.height);
    const auto wide = [](u8 sample) { return static_cast<u16>(sample * 64 + sample / 4); };
    for (std::size_t i = 0; i < from.matte.size(); ++i) {
        to.matte[i] = wide(from.matte[i]);
        for (std::size_t c = 0; c < 3; ++c) { to.colour[3 * i + c] = wide(from.colour[4 * i + 1 + c]); }
    }
    return to;
}

template <class Sample>
void expect_loads(const pic_format& format, int mode, const std::string& name, const Picture<Sample>& expected) {
    Picture<Sample> loaded = expected.blank();
    EXPECT_EQ(load_rgba_fn_convert_trellis(mode, format.load_cut_fn, name.c_str(), loaded.colour.data(), loaded.width,
                                           loaded.matte.data(), loaded.width, 0, 0, loaded.right(), loaded.top(), 0, 0),
              0);
    EXPECT_TRUE(loaded == expected) << name << ", mode " << mode;
}

template <class Sample>
void save_and_describe(const pic_format& format, const std::string& name, const Picture<Sample>& picture) {
    Picture<Sample> copy = picture;
    EXPECT_EQ(format.save_cut_fn(name.c_str(), copy.colour.data(), copy.width, copy.matte.data(), copy.width, 0, 0,
                                 copy.right(), copy.top(), 1),
              0);
    unsigned int kind = 9, found = 0, width = 0, height = 0;
    support::Bytes start = support::piece(support::contents(name), 0, 594);
    start.resize(594);
    EXPECT_EQ(format.inq_type_fn(start.data(), 594, name.c_str(), 0, &kind, &found), 0);
    EXPECT_EQ((std::array{kind, found}), (std::array{1U, 1U})) << name;
    EXPECT_EQ(format.size_pic_fn(name.c_str(), &width, &height), 0);
    const support::Info info(format, name);
    EXPECT_EQ(info.result, 0);
    EXPECT_EQ((std::array{width, height, info.out[9], info.out[10]}),
              (std::array{unsigned(picture.width), unsigned(picture.height), width, height}));
}

void side_files(const std::string& name, const Picture<u8>& picture, unsigned int seed) {
    EXPECT_EQ(write_minipic_trellis(name.c_str(), picture.colour.data(), picture.matte.data(), nullptr, picture.width,
                                    0, 0, picture.right(), picture.top(), 0, TRELLIS_MINIPIC_CUTOUT),
              0);
    std::vector<u8> preview(100 * 75 * 4);
    int width = 0, height = 0, type = 0;
    EXPECT_EQ(read_minipic_trellis(name.c_str(), preview.data(), 100 * 75, &width, &height, &type), 0);
    EXPECT_EQ((std::array{width, height, type}), (std::array{100, 75, 1}));

    const auto number = static_cast<int>(seed);
    EXPECT_EQ(save_cutout_info_trellis(name.c_str(), number, 2, 3, 4, 1, 2, 3, 4, 5, 6, 0, nullptr, nullptr, 7), 0);
    std::array<unsigned int, 8> out{};
    std::array<float, 4> real{};
    EXPECT_EQ(size_cutout_info_trellis(name.c_str(), &out[0], &out[1], &out[2], &out[3], &real[0], &real[1], &real[2],
                                       &real[3], &out[4], &out[5], nullptr, &out[6]),
              0);
    EXPECT_EQ(out[0], seed);
}

void work(const std::string& base, unsigned int seed) {
    const Picture<u8> bytes(seed, 255);
    save_and_describe(support::pixar, base + ".pic", bytes);
    expect_loads(support::pixar, 0, base + ".pic", bytes);
    expect_loads(support::pixar, 1, base + ".pic", widened(bytes));

    // Maya loads ask the buffer type: the wrapper answers, not the thread that changes it.
    save_and_describe(support::maya, base + ".iff", bytes);
    expect_loads(support::maya, 1, base + ".iff", widened(bytes));
    expect_loads(support::maya, 2, base + ".iff", bytes);

    const Picture<u16> codes(seed, 1023);
    for (const auto& [format, extension] : {std::pair{&support::dpx, ".dpx"}, {&support::cineon, ".cin"}}) {
        save_and_describe(*format, base + extension, codes);
        expect_loads(*format, 0, base + extension, codes);
    }
    side_files(base, bytes, seed);
}

void change_settings(const std::atomic<bool>& done) {
    for (int i = 0; !done; ++i) {
        int type = 0;
        set_buffer_type_trellis(i % 3);
        set_size_1_minipic_trellis(100, 75);
        set_size_2_y_minipic_trellis_(i % 2 * 50 + 10);
        set_minipic_type_trellis(i % 5);
        set_progress_fn_trellis_(i % 2 == 0 ? nullptr : +[](float*) {});
        update_progress_trellis_(0.5F);
        toggle_cut_mask_lantern_trellis();
        inq_last_header_type_trellis(&type);
        std::this_thread::yield();
    }
}

TEST(Threads, EveryFormatWhileSettingsChange) {
    const support::TempDir dir;
    std::atomic<bool> done = false;
    std::thread changing([&] { change_settings(done); });
    std::vector<std::thread> workers;
    for (unsigned int worker = 0; worker < 8; ++worker) {
        workers.emplace_back([&dir, worker] {
            for (unsigned int i = 0; i < 12; ++i) { work(dir.path(std::to_string(worker)), worker * 100 + i); }
        });
    }
    for (std::thread& worker : workers) { worker.join(); }
    done = true;
    changing.join();
    set_buffer_type_trellis(0);
    set_size_2_minipic_trellis(200, 150);
}

/// Loads that end with errors; what they answer is in the documents of the formats.
void fail(const std::string& base, unsigned int seed) {
    Picture<u16> into(seed, 0);
    const auto load = [&](const pic_format& format, const std::string& name, int right) {
        return format.load_pic_fn(name.c_str(), into.colour.data(), into.width, 0, 0, right, into.top(), 0, 0);
    };
    const auto half = [&](const char* extension) {
        Bytes bytes = support::contents(base + extension);
        bytes.resize(bytes.size() / 2);
        std::ofstream(base + "half").write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
        return base + "half";
    };
    EXPECT_EQ(load(support::pixar, base + ".none", into.right()), TRELLIS_OPEN_ERROR);
    EXPECT_EQ(load(support::cineon, base + ".pic", into.right()), TRELLIS_MAGIC_ERROR);
    EXPECT_EQ(load(support::dpx, base + ".dpx", into.width), TRELLIS_WINDOW_ERROR);
    EXPECT_EQ(load(support::pixar, half(".pic"), into.right()), TRELLIS_READ_ERROR);
    EXPECT_EQ(load_film_samples_trellis(half(".dpx").c_str(), into.colour.data(), into.width, nullptr, 0, 0, 0,
                                        into.right(), into.top(), 0, 0),
              TRELLIS_READ_ERROR);
}

std::size_t memory_of_process() {
    std::size_t all = 0, resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * 4096;
}

auto open_files() { return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}); }

// The same work for long: 31 calls a round in each of 4 threads, failing ones among them.
TEST(Threads, HoldNoMoreAfterManyRounds) {
    constexpr unsigned int threads = 4, calls = 31;
    const unsigned int rounds = (std::getenv("TRELLIS_LONG_TESTS") != nullptr ? 200'000 : 4'000) / threads / calls + 1;
    const support::TempDir dir;
    const auto run = [&](unsigned int count) {
        std::vector<std::thread> workers;
        for (unsigned int worker = 0; worker < threads; ++worker) {
            workers.emplace_back([&, worker] {
                const std::string base = dir.path(std::to_string(worker));
                for (unsigned int i = 0; i < count; ++i) {
                    work(base, worker * 35 + i % 35);
                    fail(base, worker * 35 + i % 35);
                }
            });
        }
        for (std::thread& worker : workers) { worker.join(); }
    };
    run(rounds / 10 + 1);
    const auto files = open_files();
    const std::size_t memory = memory_of_process();
    run(rounds);
    EXPECT_EQ(open_files(), files);
    std::printf("%u calls; %zu KiB, %zu KiB after a tenth of them\n", rounds * threads * calls,
                memory_of_process() / 1024, memory / 1024);
#ifndef TRELLIS_SANITIZED  // sanitizers remember what was freed
    EXPECT_LT(memory_of_process(), memory + 1024 * 1024);
#endif
}

}  // namespace
