// The trellis tool as its users meet it: command lines in, files, messages and exit statuses out.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <set>
#include <sstream>

#include "support/support.h"
#include "tool/png.h"

namespace {

using namespace support;
using nlohmann::json;

struct Result {
    int status;
    std::string out, err;
};

std::string text(const std::string& path) {
    const Bytes bytes = contents(path);
    return {bytes.begin(), bytes.end()};
}

class Tool : public testing::Test {
  protected:
    /// Runs the tool in the test's directory; `before` is shell text, such as a limit to set.
    Result run(const std::string& arguments, const std::string& before = "") {
        // Under the sanitizers, memory that cannot be had is a null pointer, as it is without them.
        const std::string command = "cd " + dir.path("") + " && " + before +
                                    " ASAN_OPTIONS=$ASAN_OPTIONS:allocator_may_return_null=1 " TRELLIS_TOOL " " +
                                    arguments + " >" + results.path("out") + " 2>" + results.path("err");
        const int status = std::system(command.c_str());
        return {WEXITSTATUS(status), text(results.path("out")), text(results.path("err"))};
    }

    void succeed(const std::string& arguments) {
        const Result result = run(arguments);
        EXPECT_EQ(result.status, 0) << arguments;
        EXPECT_EQ(result.err, "") << arguments;
    }

    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    Bytes rgba(const std::string& name) const { return rgba_of_png(dir.path(name)); }

    json info(const std::string& name) { return json::parse(run("info --json " + name).out)[0]; }

    mode_t mode(const std::string& name) const {
        struct stat status {};
        stat(dir.path(name).c_str(), &status);
        return status.st_mode & 0777;
    }

    TempDir dir;
    TempDir results;
};

constexpr std::size_t pixar_data = 8192;  // where the tool's own Pixar files have their pixels

TEST_F(Tool, LoadsEverySortOfPng) {
    constexpr int rgb = PNG_COLOR_TYPE_RGB, rgba_type = PNG_COLOR_TYPE_RGBA, indexed = PNG_COLOR_TYPE_PALETTE;
    constexpr int grey = PNG_COLOR_TYPE_GRAY, grey_alpha = PNG_COLOR_TYPE_GA;
    const std::vector<png_color> palette = {{10, 20, 30}, {200, 100, 50}, {1, 2, 3}, {4, 5, 6}};
    const struct {
        Png png;
        const char* kind;
        int channels;
        const char* rgba;
    } cases[] = {
        {{2, 1, rgb, 8, hex("010203 040506")}, "image", 3, "010203FF 040506FF"},
        {{2, 2, rgb, 8, hex("010203 040506 070809 0A0B0C"), {}, {}, true},  // interlaced
         "image",
         3,
         "010203FF 040506FF 070809FF 0A0B0CFF"},
        {{2, 1, rgb, 16, hex("0000 FFFF 8080 12C0 1240 FF7F")}, "image", 3, "00FF80FF 1212FFFF"},
        {{2, 1, rgba_type, 8, hex("01020300 04050680")}, "cutout", 4, "01020300 04050680"},  // straight
        {{1, 2, grey_alpha, 16, hex("4040FFFF C0C08080")}, "cutout", 2, "404040FF C0C0C080"},
        {{3, 2, grey, 1, hex("A0 40")}, "image", 1, "FFFFFFFF 000000FF FFFFFFFF 000000FF FFFFFFFF 000000FF"},
        {{2, 1, grey, 8, hex("11 22"), {}, hex("22")}, "cutout", 2, "111111FF 22222200"},  // a transparent level
        {{4, 1, indexed, 2, hex("1B"), palette}, "image", 3, "0A141EFF C86432FF 010203FF 040506FF"},
        {{4, 1, indexed, 2, hex("1B"), palette, hex("00 80")}, "cutout", 4, "0A141E00 C8643280 010203FF 040506FF"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        write_png(dir.path("in.png"), c.png);
        const json in = info("in.png");
        EXPECT_EQ(in["kind"], c.kind);
        EXPECT_EQ(in["channels"], c.channels);
        EXPECT_EQ(in["depth"], c.png.bit_depth == 16 ? 16 : 8);

        // A dumped cutout holds red, green, blue, matte of every pixel from the top left on.
        succeed("convert in.png a.pic --kind cutout --compress off --force");
        const Bytes expected = hex(c.rgba);
        const Bytes pic = contents(dir.path("a.pic"));
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), pic.begin() + pixar_data));

        succeed("convert in.png b.pic --force");
        EXPECT_EQ(info("b.pic")["kind"], c.kind);
        succeed("convert b.pic back.png --force");
        EXPECT_EQ(rgba("back.png"), expected);
        EXPECT_EQ(info("back.png")["kind"], c.kind);
    }
}

TEST_F(Tool, TakesARectangleCountedFromTheLowerLeft) {
    constexpr long width = 37;
    constexpr long height = 23;
    succeed("chart all.png --size 37x23");
    succeed("convert all.png all.pic");
    const Bytes all = rgba("all.png");
    constexpr long rectangles[][4] = {{5, 3, 20, 11}, {0, 0, 0, 0}, {0, 0, 36, 22}, {36, 22, 36, 22}, {0, 21, 36, 21}};
    for (const auto& [x0, y0, x1, y1] : rectangles) {
        Bytes expected;
        for (long y = y1; y >= y0; --y) {
            const auto row = all.begin() + (height - 1 - y) * width * 4;
            expected.insert(expected.end(), row + x0 * 4, row + (x1 + 1) * 4);
        }
        std::ostringstream rectangle;
        rectangle << "--rect " << x0 << ',' << y0 << ',' << x1 << ',' << y1;
        for (const std::string in : {"all.png", "all.pic"}) {
            succeed("convert --force " + rectangle.str() + " " + in + " part.png");
            EXPECT_EQ(rgba("part.png"), expected) << in << " " << rectangle.str();
        }
    }
}

TEST_F(Tool, TurnsKindsIntoOneAnother) {
    write_png(dir.path("image.png"), {2, 1, PNG_COLOR_TYPE_RGB, 8, hex("FF0000 6496C8")});
    write_png(dir.path("cutout.png"), {2, 1, PNG_COLOR_TYPE_RGBA, 8, hex("0102037F 04050600")});
    // A mask of two rows: top 11 22, bottom 33 44. Nothing makes such files but other programs.
    write_png(dir.path("grey.png"), {2, 2, PNG_COLOR_TYPE_RGB, 8, Bytes(12)});
    succeed("convert grey.png mask.pic --compress off");
    Bytes mask = contents(dir.path("mask.pic"));
    put(mask, 592, be(1, 2));
    put(mask, pixar_data, hex("11 22 33 44"));
    dir.file("mask.pic", mask);
    EXPECT_EQ(info("mask.pic")["kind"], "mask");

    struct Case {
        const char *arguments, *rgba;
    };
    for (const Case& c : {
             Case{"image.png out.png --kind cutout", "FF0000FF 6496C8FF"},
             {"image.png out.png --kind mask", "4C4C4CFF 8C8C8CFF"},
             {"cutout.png out.png --kind image", "010203FF 040506FF"},
             {"cutout.png out.png --kind mask", "7F7F7FFF 000000FF"},
             {"mask.pic out.png", "111111FF 222222FF 333333FF 444444FF"},
             {"mask.pic out.png --kind image", "111111FF 222222FF 333333FF 444444FF"},
             {"mask.pic out.png --kind cutout", "00000011 00000022 00000033 00000044"},
         }) {
        succeed("convert --force " + std::string(c.arguments));
        EXPECT_EQ(rgba("out.png"), hex(c.rgba)) << c.arguments;
    }
}

TEST_F(Tool, TellsWhatFailedAndLeavesNothingBehind) {
    write_png(dir.path("good.png"), {2, 1, PNG_COLOR_TYPE_RGB, 8, hex("010203 040506")});
    succeed("convert good.png good.pic");
    const Bytes png = contents(dir.path("good.png"));
    dir.file("text.txt", hex("6869"));
    dir.file("text.png", hex("6869"));
    dir.file("text.pic", hex("6869"));
    dir.file("cut.png", {png.begin(), png.begin() + 45});
    Bytes wrong = png;
    wrong[45] ^= 0x55;
    dir.file("wrong.png", wrong);
    // Headers that claim a million by a million pixels, and 32767 by 32767, of a few bytes.
    write_png(dir.path("huge.png"), {1000000, 1000000, PNG_COLOR_TYPE_RGBA, 8, {}});
    Bytes wide = contents(dir.path("good.pic"));
    put(wide, 584, hex("7FFF 7FFF 7FFF 7FFF"));
    dir.file("wide.pic", {wide.begin(), wide.begin() + 9000});
    Bytes empty = contents(dir.path("good.pic"));
    put(empty, 584, hex("0000"));
    dir.file("empty.pic", empty);
    mkfifo(dir.path("pipe.pic").c_str(), 0600);
    const std::set<std::string> before = files();

    struct Case {
        const char *arguments, *err;
    };
    for (const Case& c : {
             Case{"info none.pic", "none.pic: Failed to open file in trellis (code 6)"},
             {"convert text.txt x.pic", "text.txt: Unknown or unsupported format in trellis (code 5)"},
             {"convert text.png x.pic", "text.png: Read error in trellis (code 1)"},
             {"convert text.pic x.png", "text.pic: Read error in trellis (code 1)"},
             {"convert cut.png x.pic", "cut.png: Read error in trellis (code 1)"},
             {"convert wrong.png x.pic", "wrong.png: Read error in trellis (code 1)"},
             {"convert huge.png x.pic",
              "huge.png: Allocation error in trellis: the picture is too large for this machine (code 3)"},
             {"convert wide.pic x.png", "wide.pic: Read error in trellis (code 1)"},
             {"convert empty.pic x.png", "empty.pic: Unknown or unsupported format in trellis (code 5)"},
             {"convert good.png x.pic --rect 0,0,2,0",
              "good.png: Window coordinate error in trellis: the picture is 2 x 1 pixels (code 9)"},
             {"catalogue good.pic x.png", "good.pic: Trellis function not supported in current format (code 14)"},
             {"header good.png", "good.png: Trellis function not supported in current format (code 14)"},
             {"preview good.pic --png x.png", "good.pic.mpc: Failed to stat file (code 24)"},
             {"cinfo good.pic", "good.pic.cinfo: Failed to open file in trellis (code 6)"},
             {"convert good.png x.txt",
              "x.txt: Unknown or unsupported format in trellis: no format has this extension (code 5)"},
             {"convert good.png no/x.pic",
              "no/x.pic: Failed to open file in trellis: No such file or directory (code 6)"},
             {"convert good.png good.pic", "good.pic: File is not writeable: it exists; --force replaces it (code 23)"},
             {"convert good.png pipe.pic --force", "pipe.pic: File is not writeable (code 23)"},
             {"chart x.pic --size 32768x1", "x.pic: Window coordinate error in trellis (code 9)"},
             {"chart x.png --size 9999999x9999999",
              "x.png: Allocation error in trellis: the chart is too large for this machine (code 3)"},
         }) {
        const Result result = run(c.arguments);
        EXPECT_EQ(result.status, 1) << c.arguments;
        EXPECT_EQ(result.out, "") << c.arguments;
        EXPECT_EQ(result.err, "trellis: " + std::string(c.err) + "\n") << c.arguments;
        EXPECT_EQ(files(), before) << c.arguments;
    }
    for (const std::string misuse :
         {"", "paint x.pic", "convert good.png", "convert good.png x.pic --kind colour",
          "convert good.png x.pic --compress maybe", "convert good.png x.pic --rect 0,0,1",
          "convert good.png x.pic --rect 1,0,0,0", "chart x.pic --size 0x5", "chart x.pic --size 5x5x5"}) {
        const Result result = run(misuse);
        EXPECT_EQ(result.status, 2) << misuse;
        EXPECT_EQ(result.out, "") << misuse;
        EXPECT_EQ(files(), before) << misuse;
    }
    // Whatever is told may fail to arrive.
    const Result full = run("formats >/dev/full 2>/dev/null #");
    EXPECT_EQ(full.status, 1);
}

TEST_F(Tool, KeepsWholeFilesAndTheirPermissions) {
    succeed("chart old.pic --size 8x8");
    chmod(dir.path("old.pic").c_str(), 0604);
    const Bytes old = contents(dir.path("old.pic"));
    for (const std::string out : {"old.pic", "new.pic", "new.png"}) {
        const Result result = run("chart " + out + " --size 200x200 --force", "ulimit -f 20 &&");
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, "trellis: " + out + ": Write error in trellis (code 2)\n");
    }
    EXPECT_EQ(files(), std::set<std::string>{"old.pic"});
    EXPECT_EQ(contents(dir.path("old.pic")), old);

    std::filesystem::create_symlink("old.pic", dir.path("link.pic"));
    succeed("chart link.pic --size 9x9 --force");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path("link.pic")));
    EXPECT_EQ(info("old.pic")["width"], 9);
    EXPECT_EQ(mode("old.pic"), 0604U);
    EXPECT_EQ(run("chart new.pic --size 9x9", "umask 027 &&").status, 0);
    EXPECT_EQ(mode("new.pic"), 0640U);
}

// On a terminal, a save that takes its time shows a bar; interrupted, it leaves nothing.
TEST_F(Tool, ShowsProgressAndCleansUpWhenInterrupted) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        if (chdir(dir.path("").c_str()) == 0) {
            execl(TRELLIS_TOOL, "trellis", "chart", "big.png", "--size", "9000x3000", nullptr);
        }
        _exit(127);
    }
    std::string shown;
    std::array<char, 256> bytes{};
    ssize_t count = 0;
    while (shown.find("saving big.png") == std::string::npos &&
           (count = read(terminal, bytes.data(), bytes.size())) > 0) {
        shown.append(bytes.data(), std::size_t(count));
    }
    EXPECT_NE(shown.find("%  drawing big.png"), std::string::npos);
    EXPECT_NE(shown.find("\r\033[K"), std::string::npos);
    EXPECT_NE(shown.find("%  saving big.png"), std::string::npos);
    EXPECT_EQ(files().size(), 1U);
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    close(terminal);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
    EXPECT_EQ(files(), std::set<std::string>{});
}

TEST_F(Tool, DescribesFilesAndFormats) {
    succeed("chart a.pic --size 20x10");
    succeed("convert a.pic b.PIC --kind image --compress off");
    EXPECT_EQ(run("info b.PIC").out,
              "b.PIC\n  format       Pixar (PIXAR)\n  kind         image\n  size         20 x 10\n"
              "  channels     3\n  depth        8 bits\n  compression  no\n");

    // A bad file among good ones, and a name that is no text.
    std::filesystem::rename(dir.path("b.PIC"), dir.path("\xFF.pic"));
    const Result result = run("info --json a.pic none.pic '\xFF.pic'");
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "trellis: none.pic: Failed to open file in trellis (code 6)\n");
    const json list = json::parse(result.out);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0], json::parse(R"({"file": "a.pic", "format": "PIXAR", "kind": "cutout",
        "width": 20, "height": 10, "channels": 4, "depth": 8, "compressed": true,
        "side_files": []})"));
    EXPECT_EQ(list[1]["kind"], "image");

    const json formats = json::parse(run("formats --json").out);
    ASSERT_EQ(formats.size(), 6U);
    EXPECT_EQ(formats[0], json::parse(R"({"code": "PIXAR", "name": "Pixar", "extensions": ["pic"],
        "depth": 8, "load": ["image", "cutout"], "save": ["image", "cutout"],
        "catalogue": false})"));
    EXPECT_EQ(formats[1]["extensions"], json({"dpx"}));
}

// The chart looks the same in every format, and a 10-bit code survives a trip through 16-bit PNG.
TEST_F(Tool, CarriesPicturesBetweenDepths) {
    succeed("chart chart.png --size 61x43");
    for (const std::string kind : {"image", "cutout", "mask"}) {
        for (const std::string format : {"pic", "dpx", "cin", "iff"}) {
            if (kind == "mask" && format == "pic") {
                continue;  // saved as grey, whose brightness may be one less
            }
            for (const std::string depth : {"8", "16"}) {
                const std::string file = kind + depth + "." + format;
                succeed("convert chart.png " + file + " --kind " + kind + " --depth " + depth);
                succeed("convert " + file + " back.png --force --depth " + depth);
                for (const std::string& other : {file, std::string("back.png")}) {
                    EXPECT_EQ(run("compare chart.png " + other + " --kind " + kind).status, 0)
                        << file << " as " << other;
                }
            }
        }
    }
    for (const std::string kind : {"image", "cutout", "mask"}) {
        // All 1024 codes, and not those of 8-bit samples alone.
        Bytes file = contents(dir.path(kind + "16.dpx"));
        for (std::size_t i = 2048; i < file.size(); ++i) { file[i] = static_cast<std::uint8_t>(i * 37 + i / 256); }
        // Files are big-endian; the unused low bits of a pixel's last byte are zero.
        const std::size_t pixel_size = kind == "image" ? 4 : 2;
        const auto code_bits = static_cast<std::uint8_t>(kind == "image" ? 0xFC : 0xC0);
        for (std::size_t i = 2047 + pixel_size; kind != "cutout" && i < file.size(); i += pixel_size) {
            file[i] = static_cast<std::uint8_t>(file[i] & code_bits);
        }
        dir.file("codes.dpx", file);
        succeed("convert codes.dpx deep.png --force");
        succeed("convert deep.png again.dpx --force --kind " + kind);
        const Bytes again = contents(dir.path("again.dpx"));
        EXPECT_TRUE(std::equal(file.begin() + 2048, file.end(), again.begin() + 2048, again.end())) << kind;
    }
}

TEST_F(Tool, ShowsHeadersWithTheirUndefinedFields) {
    succeed("chart a.dpx --size 8x4");
    succeed("chart a.cin --size 8x4");
    succeed("chart a.iff --size 8x4");
    succeed("chart a.pic --size 8x4");
    const auto header = [&](const std::string& file) { return json::parse(run("header --json " + file).out); };
    json dpx = header("a.dpx");
    EXPECT_EQ(dpx["byte order"], "big-endian");
    EXPECT_EQ(dpx["sections"]["file information"]["file name"], "a.dpx") << "not a temporary name";
    EXPECT_EQ(dpx["sections"]["image information"]["pixels per line"], 8);
    EXPECT_EQ(dpx["sections"]["image element 1"]["descriptor"], 51);
    EXPECT_EQ(dpx["sections"]["image element 2"]["descriptor"], nullptr);
    EXPECT_EQ(dpx["sections"]["television"]["integration time"], nullptr);
    Bytes little = contents(dir.path("a.dpx"));
    put(little, 0, hex("58504453"));
    put(little, 772, hex("07000000"));
    dir.file("little.dpx", little);
    EXPECT_EQ(header("little.dpx")["sections"]["image information"]["pixels per line"], 7);

    json cineon = header("a.cin")["sections"];
    EXPECT_EQ(cineon["channel 1"]["maximum data value"], 1023.0);
    EXPECT_EQ(cineon["file information"]["creation time"], "20:38:50Z");
    EXPECT_EQ(header("a.pic")["sections"]["header"]["block size"], 8192);
    const json outer = header("a.iff")["chunks"][0];
    EXPECT_EQ(outer["type"], "CIMG");
    EXPECT_EQ(outer["chunks"][1]["fields"]["height"], 4);
    EXPECT_EQ(outer["chunks"][4]["chunks"][0]["tag"], "RGBA");
    // Cut anywhere, a tree ends where the file does.
    const Bytes whole = contents(dir.path("a.iff"));
    for (const std::size_t size : {whole.size() - 1, std::size_t{200}, std::size_t{60}, std::size_t{30}}) {
        dir.file("cut.iff", Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
        EXPECT_EQ(run("header cut.iff").status, 0) << size;
    }
    for (const std::string name : {"a.dpx", "a.cin", "a.pic", "a.iff"}) {
        const std::string extension = name.substr(1);
        dir.file("text" + extension, Bytes(3000, 'x'));
        const Bytes good = contents(dir.path(name));
        dir.file("short" + extension, Bytes(good.begin(), good.begin() + 11));
        EXPECT_NE(run("header text" + extension).err.find("(code 20)"), std::string::npos) << name;
        EXPECT_NE(run("header short" + extension).err.find("(code 1)"), std::string::npos) << name;
    }
    EXPECT_NE(run("header a.dpx").out.find("encryption key                   undefined"), std::string::npos);
}

TEST_F(Tool, MakesAndShowsSideFiles) {
    succeed("chart a.pic --size 400x300");
    succeed("preview a.pic --size2 20x15");
    EXPECT_EQ(contents(dir.path("a.pic.mpc")).size(), 36U + 30000 + 16 + 1200);
    EXPECT_EQ(run("preview a.pic").status, 1) << "there is one";
    succeed("preview a.pic --size1 200x100 --force");
    succeed("preview a.pic --png small.png");
    EXPECT_EQ(info("small.png")["width"], 200);
    EXPECT_EQ(run("preview a.pic --png b.png --size1 9x9").status, 2);

    // An image's preview has no matte: its first byte is only a grey level.
    succeed("convert a.pic image.pic --kind image");
    succeed("preview image.pic");
    succeed("preview image.pic --png small.png --force");
    EXPECT_EQ(info("small.png")["kind"], "image");

    succeed("cinfo a.pic --set int_5=-7 real_3=0.25");
    EXPECT_EQ(contents(dir.path("a.pic.cinfo")).size(), 106U);
    const json cinfo = json::parse(run("cinfo a.pic --json").out);
    EXPECT_EQ(cinfo, json::parse(R"({"info_width": 400, "info_height": 300, "int_3": 0, "int_4": 0,
        "real_1": 199.5, "real_2": 149.5, "real_3": 0.25, "real_4": 0.5, "int_5": -7, "int_6": 1,
        "int_7": 3, "outline_size": 40})"));
    succeed("cinfo a.pic --set int_7=9");
    EXPECT_EQ(json::parse(run("cinfo a.pic --json").out)["int_5"], -7) << "kept";
    Bytes newer = contents(dir.path("a.pic.cinfo"));
    newer[4] = 2;
    dir.file("b.pic.cinfo", newer);
    EXPECT_EQ(json::parse(run("cinfo b.pic --json").out)["int_7"], 9) << "no warning in between";
    for (const char* wrong : {"int_9=1", "int_3", "int_3=x", "int_3=99999999999", "=1"}) {
        EXPECT_EQ(run(std::string("cinfo a.pic --set ") + wrong).status, 2) << wrong;
    }
    EXPECT_EQ(info("a.pic")["side_files"], json({"a.pic.cinfo", "a.pic.mpc"}));

    succeed("chart a.cin --size 96x64");
    succeed("catalogue a.cin small.png --force");
    EXPECT_EQ(info("small.png")["height"], 64);
    Bytes bare = contents(dir.path("a.cin"));
    put(bare, 16, be(0, 4));
    dir.file("bare.cin", bare);
    EXPECT_EQ(run("catalogue bare.cin x.png").err,
              "trellis: bare.cin: No catalogue picture in file in trellis (code 19)\n");
}

TEST_F(Tool, ComparesPictures) {
    write_png(dir.path("a.png"), {2, 1, PNG_COLOR_TYPE_RGBA, 8, hex("01020304 05060708")});
    write_png(dir.path("b.png"), {2, 1, PNG_COLOR_TYPE_RGBA, 8, hex("01020304 05000709")});
    write_png(dir.path("c.png"), {2, 1, PNG_COLOR_TYPE_RGB, 8, hex("010203 050607")});
    write_png(dir.path("d.png"), {1, 2, PNG_COLOR_TYPE_RGB, 8, hex("010203 050607")});
    struct Case {
        const char* arguments;
        int status;
        const char* out;
    };
    for (const Case& c : {
             Case{"a.png a.png", 0, ""},
             {"a.png b.png", 1, "pixels differ: 1 of 2, by at most 6\n"},
             {"--kind mask a.png b.png", 1, "pixels differ: 1 of 2, by at most 1\n"},
             {"a.png c.png", 1, "kinds differ: cutout and image\n"},
             {"--kind image a.png c.png", 0, ""},
             {"c.png d.png", 1, "sizes differ: 2 x 1 and 1 x 2\n"},
         }) {
        const Result result = run("compare " + std::string(c.arguments));
        EXPECT_EQ(result.status, c.status) << c.arguments;
        EXPECT_EQ(result.out, c.out) << c.arguments;
    }
}

TEST_F(Tool, DrawsChartsOfAnySize) {
    for (const std::string size : {"1x1", "1x300", "7x5", "333x641", "12000x3"}) {
        succeed("chart a.png --force --size " + size);
        succeed("chart a.pic --force --size " + size);
        succeed("compare a.png a.pic");
    }
    succeed("chart b.png");
    const Bytes pixels = rgba("b.png");
    std::set<int> mattes;
    for (std::size_t i = 3; i < pixels.size(); i += 4) { mattes.insert(pixels[i]); }
    EXPECT_EQ(*mattes.begin(), 0);
    EXPECT_EQ(*mattes.rbegin(), 255);
    EXPECT_GT(mattes.size(), 200U);
}

}  // namespace
