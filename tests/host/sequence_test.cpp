#include "trellis/sequence.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

namespace host = trellis::host;
using Frames = std::vector<std::int64_t>;

TEST(Sequence, ReadsListsOfFrames) {
    const std::pair<const char*, Frames> lists[] = {
        {"7", {7}}, {"0001", {1}}, {"8-11", {8, 9, 10, 11}}, {"1-8x3", {1, 4, 7}}, {"5,1-2,9-9x4", {5, 1, 2, 9}}};
    for (const auto& [text, frames] : lists) { EXPECT_EQ(host::parse_frames(text), frames) << text; }
    for (const char* text : {"", "1,", "-3", "4-3", "1-5x0", "5x2", "1-5x", "1 ", "1-9x2x2", "0-1000000",
                             "1-500000,1-500001", "99999999999999999999"}) {
        EXPECT_EQ(host::parse_frames(text), std::nullopt) << '"' << text << '"';
    }
}

TEST(Sequence, PutsNumbersIntoNames) {
    const std::pair<const char*, const char*> names[] = {{"s.%04d.dpx", "s.1001.dpx"},
                                                         {"s.%06d.dpx", "s.001001.dpx"},
                                                         {"s.%d.dpx", "s.1001.dpx"},
                                                         {"s.%2d.dpx", "s.1001.dpx"},
                                                         {"s.#####.dpx", "s.01001.dpx"},
                                                         {"@.dpx", "1001.dpx"},
                                                         {"d#/a%05d", "d#/a01001"},
                                                         {"%%%d", "%%1001"},
                                                         {"%0d%x", "1001%x"}};
    for (const auto& [text, name] : names) {
        const auto pattern = host::Pattern::parse(text);
        ASSERT_TRUE(pattern) << text;
        EXPECT_EQ(pattern->name(1001), name) << text;
    }
    for (const char* text : {"s.dpx", "d%04d/s.dpx", "#.#", "%d@", "50%.dpx", "%10d"}) {
        EXPECT_FALSE(host::Pattern::parse(text)) << text;
    }
}

TEST(Sequence, FindsFramesOnDisk) {
    const std::string directory = testing::TempDir() + "sequence-frames/";
    std::filesystem::remove_all(directory);
    std::filesystem::create_directory(directory);
    for (const char* name : {"s.0010.d", "s.0002.d", "s.12345.d", "s.02.d", "s.00010.d", "s..d", "s.0x10.d", "s.-001.d",
                             "t.0003.d", "s.0004.dd", "s.0010"}) {
        std::ofstream(directory + name);
    }
    const auto pattern = host::Pattern::parse(directory + "s.%04d.d").value();
    EXPECT_EQ(pattern.frames_on_disk(), (Frames{2, 10, 12345}));
    std::vector<std::string> all;
    for (const auto& [frame, path] : pattern.files_of_any_width()) {
        all.push_back(std::to_string(frame) + path.substr(directory.size() - 1));
    }
    EXPECT_EQ(all,
              (std::vector<std::string>{"2/s.0002.d", "2/s.02.d", "10/s.00010.d", "10/s.0010.d", "12345/s.12345.d"}));
    EXPECT_ANY_THROW(host::Pattern::parse("/nowhere/at/all/%d")->frames_on_disk());
}

TEST(Sequence, DoesEveryJobOnceUntilOneSaysStop) {
    for (const int threads : {0, 1, 4}) {
        std::vector<std::atomic<int>> done(1000);
        host::run_jobs(done.size(), threads, [&](std::size_t i) {
            ++done[i];
            return host::AfterJob::go_on;
        });
        for (const auto& times : done) { ASSERT_EQ(times, 1); }
        // Jobs that other threads have begun by then are finished.
        std::atomic<std::size_t> begun = 0;
        const auto until_ten = [&](std::size_t i) {
            ++begun;
            return i == 10 ? host::AfterJob::stop : host::AfterJob::go_on;
        };
        host::run_jobs(1'000'000'000, threads, until_ten);
        EXPECT_GE(begun, 11U);
        EXPECT_LT(begun, 1'000'000'000U);
        const auto throwing = [](std::size_t i) -> host::AfterJob { throw std::runtime_error(std::to_string(i)); };
        EXPECT_THROW(host::run_jobs(100, threads, throwing), std::runtime_error);
    }
    host::run_jobs(0, 8, [](std::size_t) -> host::AfterJob { throw std::runtime_error("none"); });
    EXPECT_GE(host::usable_processors(), 1);
}

}  // namespace
