// Reels as the tool handles them: many files in one command, planted faults, interrupted work.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <sstream>

#include "support/support.h"

namespace {

using namespace support;
using nlohmann::json;

struct Result {
    int status;
    std::string out, err;
};

class Reel : public testing::Test {
  protected:
    static constexpr std::size_t pixels_at = 2048, time_code_at = 1920;
    static constexpr int first = 1001, last = 1008;

    Result shell(const std::string& command) {
        const std::string whole =
            "cd " + dir.path("") + " && " + command + " >" + results.path("out") + " 2>" + results.path("err");
        const int status = std::system(whole.c_str());
        return {WEXITSTATUS(status), text_of(results.path("out")), text_of(results.path("err"))};
    }
    Result run(const std::string& arguments) { return shell(TRELLIS_TOOL " " + arguments); }

    static std::string text_of(const std::string& path) {
        const Bytes bytes = contents(path);
        return {bytes.begin(), bytes.end()};
    }

    static std::string name(int frame, const std::string& extension = "dpx") {
        return "a." + std::to_string(frame) + "." + extension;
    }

    void patch(const std::string& file, std::size_t offset, const Bytes& bytes) {
        Bytes all = contents(dir.path(file));
        std::copy(bytes.begin(), bytes.end(), all.begin() + static_cast<std::ptrdiff_t>(offset));
        dir.file(file, all);
    }

    /// Eight small frames, each with a first pixel of its own.
    void SetUp() override {
        ASSERT_EQ(run("chart a.png --size 40x30").status, 0);
        ASSERT_EQ(run("convert a.png a.1001.dpx --kind image").status, 0);
        for (int frame = first; frame <= last; ++frame) {
            if (frame > first) { std::filesystem::copy(dir.path(name(first)), dir.path(name(frame))); }
            patch(name(frame), pixels_at, {static_cast<std::uint8_t>(frame), 0x10, 0x20, 0x30});
        }
    }

    std::set<std::string> files(const std::string& directory = "") const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path(directory))) {
            if (entry.is_regular_file()) { names.insert(entry.path().filename()); }
        }
        return names;
    }

    TempDir dir;
    TempDir results;
};

TEST_F(Reel, ConvertsPatternsListsAndNamedFiles) {
    const struct {
        const char* arguments;
        int status;
        const char* written;
        const char* err;
    } cases[] = {
        {"convert a.%04d.dpx o.####.pic --frames 1001-1003,1007", 0, "o.1001.pic o.1002.pic o.1003.pic o.1007.pic ",
         "trellis: 4 of 4 frames converted\n"},
        {"convert a.@.dpx o.%06d.pic --frames 1001-1008x3", 0, "o.001001.pic o.001004.pic o.001007.pic ",
         "trellis: 3 of 3 frames converted\n"},
        {"convert a.%04d.dpx o.%d.pic --frames 1008-1010 --jobs 1", 1, "o.1008.pic ",
         "trellis: a.1009.dpx: Failed to open file in trellis: No such file or directory (code 6)\n"
         "trellis: a.1010.dpx: Failed to open file in trellis: No such file or directory (code 6)\n"
         "trellis: 1 of 3 frames converted, 2 failed\n"},
        {"convert a.%04d.dpx o.%d.pic --frames 1000-1003 --jobs 1 --fail-fast", 3, "",
         "trellis: a.1000.dpx: Failed to open file in trellis: No such file or directory (code 6)\n"
         "trellis: 0 of 4 frames converted, 1 failed\ntrellis: stopped after the first failure\n"},
        {"convert a.1001.dpx a.1002.dpx --out-dir o --to pic", 0, "a.1001.pic a.1002.pic ",
         "trellis: 2 of 2 frames converted\n"},
        {"convert x.%04d.dpx o.%04d.pic", 1, "",
         "trellis: x.%04d.dpx: Failed to open file in trellis: there are no such frames (code 6)\n"},
        {"convert a.%04d.dpx o.pic", 2, "", "trellis: IN is a pattern, OUT has no place for the number of a frame\n"},
        {"convert a.%04d.dpx a.%04d.dpx --force", 2, "",
         "trellis: two pictures meet in a.1001.dpx: targets must differ from each other and from all sources\n"},
        {"convert a.%04d.dpx here/a.%04d.dpx --force", 2, "",
         "trellis: two pictures meet in here/a.1001.dpx: targets must differ from each other and from all sources\n"},
        {"convert a.%04d.dpx l.%d.dpx --frames 1001,1002 --force", 2, "",
         "trellis: two pictures meet in l.1001.dpx: targets must differ from each other and from all sources\n"},
        {"convert a.%04d.dpx o.%04d.pic --frames 9-1", 2, "",
         "trellis: --frames: not a list such as 1001-1100,1200 or 1-99x2: 9-1\n"},
    };
    std::filesystem::create_directory(dir.path("o"));
    std::filesystem::create_directory_symlink(".", dir.path("here"));
    std::filesystem::create_symlink("a.1002.dpx", dir.path("l.1001.dpx"));
    const std::set<std::string> sources = files();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.arguments);
        const Result result = run(c.arguments);
        EXPECT_EQ(result.status, c.status);
        EXPECT_EQ(result.err, c.err);
        std::string written;
        for (const std::string directory : {"", "o/"}) {
            for (const std::string& file : files(directory)) {
                if (directory.empty() && sources.count(file) != 0) { continue; }
                written += file + " ";
                std::filesystem::remove(dir.path(directory + file));
            }
        }
        EXPECT_EQ(written, c.written);
    }
}

TEST_F(Reel, TakesNamesOfAnySort) {
    const std::string odd[] = {"new\nline.dpx", "-dash.dpx", "sp ace.dpx", "\xFF.dpx", "100%d.dpx"};
    std::string list;
    for (const std::string& file : odd) {
        std::filesystem::copy(dir.path(name(first)), dir.path(file));
        list += file + '\0';
    }
    dir.file("list", Bytes(list.begin(), list.end()));
    std::filesystem::create_directory(dir.path("o"));
    EXPECT_EQ(run("convert --files-from - -0 --out-dir o --to pic <list").status, 0);
    EXPECT_EQ(files("o").size(), std::size(odd));
    EXPECT_EQ(run("info -- -dash.dpx '100%d.dpx'").status, 0);  // a file's name is no pattern
    dir.file("sums", text(run("checksum --files-from list -0").out));
    EXPECT_EQ(run("checksum --verify sums").status, 0);
}

TEST_F(Reel, FindsPlantedFaults) {
    ASSERT_EQ(run("header a.%04d.dpx --set film.frame\\ rate=24 --timecode 01:00:59:20 --fps 24").status, 0);
    EXPECT_EQ(run("check a.%04d.dpx").out, "");
    std::filesystem::copy(dir.path(name(1002)), dir.path("a.01002.dpx"));
    std::filesystem::remove(dir.path(name(1003)));
    std::filesystem::resize_file(dir.path(name(1004)), 6000);
    patch(name(1005), time_code_at, hex("01 02 03 04"));
    patch(name(1006), pixels_at, Bytes(40 * 30 * 4, 0));
    dir.file(name(1009), {});
    std::filesystem::copy(dir.path(name(1008)), dir.path(name(1010)));
    patch(name(1010), time_code_at, hex("01 01 00 05"));
    ASSERT_EQ(run("chart b.png --size 20x10").status, 0);
    ASSERT_EQ(run("convert b.png a.1011.dpx --kind image").status, 0);
    const std::string expected =
        "a.1002.dpx: double: its number is that of a.01002.dpx\n"
        "a.1004.dpx: truncated: 848 of 4800 bytes of the picture are missing\n"
        "a.1004.dpx: header: file size 6848 in the header, the file has 6000\n"
        "a.1004.dpx: missing: frame 1003 before it\n"
        "a.1005.dpx: time code: 01:02:03:04, expected 01:01:00:00\n"
        "a.1006.dpx: black: the picture is wholly black\n"
        "a.1009.dpx: empty: the file has no bytes\n"
        "a.1010.dpx: frozen: the same picture as a.1008.dpx\n"
        "a.1011.dpx: different: 20 x 10, image of 10 bits, DPX(10bit); "
        "most are 40 x 30, image of 10 bits, DPX(10bit)\n"
        "a.1011.dpx: time code: 00:00:00:00, expected 01:01:00:06\n";
    const Result found = run("check a.####.dpx --jobs 2");
    EXPECT_EQ(found.out, expected);
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.err, "trellis: 11 of 11 frames checked\n");

    std::istringstream lines(run("check a.####.dpx --json").out);
    std::string line, again;
    while (std::getline(lines, line)) {
        const json object = json::parse(line);
        again += object["file"].get<std::string>() + ": " + object["finding"].get<std::string>() + ": " +
                 object["text"].get<std::string>() + "\n";
    }
    EXPECT_EQ(again, expected);
}

TEST_F(Reel, DecodesRunsToCheckThem) {
    constexpr std::size_t encoding_at = 806;
    std::string image;
    for (int line = 0; line < 30; ++line) { image += "14 40 10 08 00 C0 00 00"; }  // 40 times one pixel
    for (int frame = first; frame < first + 3; ++frame) {
        patch(name(frame), encoding_at, {0, 1});
        patch(name(frame), pixels_at, hex(image));
    }
    patch(name(1001), pixels_at, hex("14 40 20"));
    patch(name(1003), pixels_at + 8, hex("14 C0"));  // 41 times
    EXPECT_EQ(run("check a.%04d.dpx --frames 1001-1003").out,
              "a.1003.dpx: truncated: Read error in trellis\n");
    std::filesystem::copy(dir.path(name(1002)), dir.path("a.1009.dpx"));
    EXPECT_EQ(run("check a.%04d.dpx --frames 1002,1009").out, "a.1009.dpx: frozen: the same picture as a.1002.dpx\n");
}

TEST_F(Reel, ChecksumsAreOfPixels) {
    dir.file("sums", text(run("checksum a.%04d.dpx").out));
    EXPECT_EQ(run("convert a.%04d.dpx c.%04d.cin").status, 0);
    EXPECT_EQ(run("checksum c.%04d.cin --verify sums").status, 0);
    // One sample of one frame, its lowest bit; and one frame less.
    Bytes pixels = contents(dir.path("c.1004.cin"));
    pixels[pixels.size() - 1] ^= 4;
    dir.file("c.1004.cin", pixels);
    std::filesystem::remove(dir.path("c.1007.cin"));
    const Result found = run("checksum c.%04d.cin --verify sums");
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.out, "c.1004.cin: pixels differ\na.1007.dpx: missing\n");
}

TEST_F(Reel, ComparesReels) {
    ASSERT_EQ(run("convert a.%04d.dpx c.%04d.cin --frames 1001-1006").status, 0);
    const Result found = run("compare a.%04d.dpx c.%04d.cin");
    EXPECT_EQ(found.status, 1);
    EXPECT_EQ(found.out, "c.%04d.cin: missing: 1007-1008\n");
    EXPECT_EQ(run("compare a.%04d.dpx c.%04d.cin --frames 1001-1006").status, 0);
}

TEST_F(Reel, KeepsAndChangesHeaders) {
    ASSERT_EQ(run("header a.1001.dpx --set film.slate='S 1' film.count=0012 'film.frame rate=25' project=P").status, 0);
    const Bytes edited = contents(dir.path(name(first)));
    ASSERT_EQ(run("convert a.1001.dpx kept.dpx").status, 0);
    ASSERT_EQ(run("convert a.1001.dpx new.dpx --new-header").status, 0);
    ASSERT_EQ(run("convert a.1001.dpx c.cin").status, 0);
    ASSERT_EQ(run("convert c.cin back.dpx").status, 0);
    const auto field = [&](const std::string& file, const char* section, const char* name_of_field) {
        return json::parse(run("header --json " + file).out)["sections"][section][name_of_field];
    };
    EXPECT_EQ(field("kept.dpx", "file information", "project"), "P");
    EXPECT_NE(field("new.dpx", "film", "slate"), "S 1");
    EXPECT_EQ(field("c.cin", "film", "slate"), "S 1");
    EXPECT_EQ(field("c.cin", "film", "count"), 12);
    EXPECT_EQ(field("back.dpx", "film", "count"), "0012");
    EXPECT_EQ(field("back.dpx", "film", "frame rate"), 25);

    for (const char* refused :
         {"nosuch=1", "'frame rate=24'", "film.count=12345", "'pixels per line=41'", "packing=x"}) {
        SCOPED_TRACE(refused);
        EXPECT_EQ(run(std::string("header a.1001.dpx --set ") + refused).status, 1);
        EXPECT_EQ(contents(dir.path(name(first))), edited);
    }
}

TEST_F(Reel, CountsTimeCodesOverMidnight) {
    ASSERT_EQ(run("header a.%04d.dpx --frames 1003,1001,1005 --timecode 23:59:59:23 --fps 25").status, 0);
    std::istringstream lines(run("header a.%04d.dpx --frames 1001-1005x2 --json").out);  // an object a line
    for (const char* expected : {"23595921", "23595923", "00000000"}) {
        std::string line;
        std::getline(lines, line);
        EXPECT_EQ(json::parse(line)["sections"]["television"]["time code"], expected);
    }
}

TEST_F(Reel, SavesPreviewsOfReels) {
    ASSERT_EQ(run("preview a.%04d.dpx").status, 0);
    EXPECT_EQ(run("preview a.%04d.dpx --png p.@.png --frames 1001-1003").status, 0);
    EXPECT_EQ(run("info p.@.png --frames 1001-1003").status, 0);
    EXPECT_EQ(json::parse(run("info --json a.%04d.dpx").out).size(), 8U);
    EXPECT_EQ(run("preview a.%04d.dpx --png p.png").status, 2);
}

// As few descriptors as one frame needs for each of two threads, and memory that does not grow with the reel.
TEST_F(Reel, TakesThousandsOfFiles) {
    const auto peak_kilobytes = [&](const std::string& arguments) {
        const std::string command = "cd " + dir.path("") + " && ulimit -n 24 && exec " TRELLIS_TOOL " " + arguments +
                                    " --jobs 2 >/dev/null 2>" + results.path("err");
        const pid_t child = fork();
        if (child == 0) {
            execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            _exit(127);
        }
        int status = 0;
        rusage usage{};
        wait4(child, &status, 0, &usage);
        EXPECT_EQ(status, 0) << arguments << text_of(results.path("err"));
        return usage.ru_maxrss;
    };
    patch(name(first), pixels_at, Bytes(40 * 30 * 4, 0x80));
    for (int frame = 10'000; frame < 12'000; ++frame) {
        std::filesystem::create_hard_link(dir.path(name(first)), dir.path(name(frame)));
    }
    for (const char* arguments :
         {"convert a.@.dpx o.@.pic --frames 10000-11999", "checksum a.@.dpx --frames 10000-11999",
          "header a.@.dpx --frames 10000-11999 --json"}) {
        [[maybe_unused]] const long peak = peak_kilobytes(arguments);
#ifndef TRELLIS_SANITIZED                           // sanitizers keep what is freed
        EXPECT_LT(peak, 16 * 1024) << arguments;  // their pictures take 18 MiB together
#endif
    }
}

TEST_F(Reel, WritesRawVideoInOrder) {
    ASSERT_EQ(run("convert a.%04d.dpx - --to rgb48le --jobs 3").status, 0);
    const std::string video = text_of(results.path("out"));
    constexpr std::size_t frame_size = 40 * 30 * 6;
    ASSERT_EQ(video.size(), 8 * frame_size);
    for (int frame = first; frame <= last; ++frame) {
        const unsigned int code = (static_cast<unsigned int>(frame & 0xFF) << 2);  // of the first red sample
        const unsigned int sample = (code * 16383 + 511) / 1023;
        const auto at = static_cast<std::size_t>(frame - first) * frame_size;
        const auto byte = [&](std::size_t i) -> unsigned int { return static_cast<unsigned char>(video[i]); };
        const unsigned int word = byte(at) | byte(at + 1) << 8;
        EXPECT_EQ(word, sample << 2 | sample >> 12);
    }
}

TEST_F(Reel, GoesOnAfterItWasKilled) {
    // Pixar files hold no time, so that two conversions give the same bytes.
    std::filesystem::create_directory(dir.path("whole"));
    std::filesystem::create_directory(dir.path("killed"));
    for (int frame = last + 1; frame < first + 60; ++frame) {
        std::filesystem::copy(dir.path(name(first + frame % 8)), dir.path(name(frame)));
    }
    ASSERT_EQ(run("convert a.%04d.dpx whole/%04d.pic").status, 0);
    std::minstd_rand random(20);
    const std::string out = dir.path("killed/%04d.pic"), in = dir.path("a.%04d.dpx");
    for (int i = 0; i < 20; ++i) {
        const pid_t child = fork();
        if (child == 0) {
            [[maybe_unused]] const auto* none = std::freopen("/dev/null", "w", stderr);
            execl(TRELLIS_TOOL, TRELLIS_TOOL, "convert", in.c_str(), out.c_str(), "--resume", "--jobs", "2", nullptr);
            _exit(127);
        }
        usleep(static_cast<useconds_t>(random() % 40'000));
        kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        if (i % 5 == 4) {  // so that there is always something to do
            for (const std::string& file : files("killed")) {
                if (random() % 2 == 0) { std::filesystem::remove(dir.path("killed/" + file)); }
            }
        }
    }
    std::filesystem::remove(dir.path("killed/1002.pic"));
    std::filesystem::remove(dir.path("killed/1003.pic"));
    dir.file("killed/1003.pic", Bytes(9000, 1));
    ASSERT_EQ(run("convert a.%04d.dpx killed/%04d.pic --resume").status, 0);
    EXPECT_EQ(shell("diff -r whole killed").out, "");
    EXPECT_EQ(run("convert a.%04d.dpx killed/%04d.pic --resume").err,
              "trellis: 0 of 60 frames converted, 60 were done before\n");
}

TEST_F(Reel, SaysOnceThatADiskIsFull) {
    if (geteuid() != 0 || shell("mkdir full && mount -t tmpfs -o size=20k tmpfs full").status != 0) {
        GTEST_SKIP() << "no small file system can be mounted here";
    }
    const Result result = run("convert a.%04d.dpx full/%04d.cin --jobs 2");
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("No space left on device (code 2)"), std::string::npos) << result.err;
    EXPECT_EQ(result.err.find("No space left"), result.err.rfind("No space left")) << result.err;
    for (const std::string& file : files("full")) { EXPECT_EQ(std::filesystem::path(file).extension(), ".cin"); }
    shell("umount full");
}

TEST_F(Reel, RunsChunkByChunkAsAFarmDoes) {
    const std::string farm = "IN=a.%04d.dpx OUT=o.%04d.cin FIRST=1001 LAST=1008 CHUNK=3 TRELLIS=" TRELLIS_TOOL
                             " " TRELLIS_SOURCE "/examples/farm/one-machine 2";
    EXPECT_EQ(shell(farm).status, 0);
    std::filesystem::remove(dir.path("o.1002.cin"));
    std::filesystem::resize_file(dir.path("o.1005.cin"), 3000);
    EXPECT_EQ(shell(farm).status, 0);
    EXPECT_EQ(run("compare a.%04d.dpx o.%04d.cin").status, 0);
}

}  // namespace
