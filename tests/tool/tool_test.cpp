// The trellis tool as its users meet it: command lines in, files, messages and exit statuses out.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <pty.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <filesystem>
#include <map>
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

std::string text_of(const std::string& path) {
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
        return {WEXITSTATUS(status), text_of(results.path("out")), text_of(results.path("err"))};
    }

    void expect(int status, const std::string& arguments, const std::string& out, const std::string& err,
                const std::string& before = "") {
        const Result result = run(arguments, before);
        EXPECT_EQ(result.status, status) << arguments;
        EXPECT_EQ(result.out, out) << arguments;
        EXPECT_EQ(result.err, err) << arguments;
    }
    void succeed(const std::string& arguments) { expect(0, arguments, "", ""); }

    std::set<std::string> files() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(dir.path(""))) {
            names.insert(entry.path().filename());
        }
        return names;
    }

    Bytes rgba(const std::string& name) const { return rgba_of_png(dir.path(name)); }

    json as_json(const std::string& arguments) {
        const Result result = run(arguments + " --json");
        EXPECT_EQ(result.status, 0) << arguments;
        return json::parse(result.out);
    }
    json info(const std::string& name) { return as_json("info " + name)[0]; }

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
        {{2, 1, rgb, 16, hex("0000 FFFF 8080 12C0 1240 FF7F")}, "image", 3, "00FF80FF 1212FFFF"},
        {{2, 1, rgba_type, 8, hex("01020300 04050680")}, "cutout", 4, "01020300 04050680"},  // straight
        {{1, 2, grey_alpha, 16, hex("4040FFFF C0C08080")}, "cutout", 2, "404040FF C0C0C080"},
        {{3, 2, grey, 1, hex("A0 40")}, "image", 1, "FFFFFFFF 000000FF FFFFFFFF 000000FF FFFFFFFF 000000FF"},
        {{2, 1, grey, 8, hex("11 22"), {}, hex("22")}, "cutout", 2, "111111FF 22222200"},  // a transparent level
        {{4, 1, indexed, 2, hex("1B"), palette}, "image", 3, "0A141EFF C86432FF 010203FF 040506FF"},
        {{4, 1, indexed, 2, hex("1B"), palette, hex("00 80")}, "cutout", 4, "0A141E00 C8643280 010203FF 040506FF"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rgba);
        write_png(dir.path("in.png"), c.png);
        const json in = info("in.png");
        EXPECT_EQ(json({in["kind"], in["channels"], in["depth"]}),
                  json({c.kind, c.channels, c.png.bit_depth == 16 ? 16 : 8}));

        // A dumped cutout holds red, green, blue, matte of every pixel from the top left on.
        succeed("convert in.png a.pic --kind cutout --compress off --force");
        const Bytes expected = hex(c.rgba);
        EXPECT_EQ(piece(contents(dir.path("a.pic")), pixar_data, expected.size()), expected);

        succeed("convert in.png b.pic --force");
        succeed("convert b.pic back.png --force");
        EXPECT_EQ(rgba("back.png"), expected);
        for (const char* name : {"b.pic", "back.png"}) { EXPECT_EQ(info(name)["kind"], c.kind) << name; }
    }
}

TEST_F(Tool, LoadsInterlacedPng) {
    for (const auto& [width, height] : {std::pair{9, 13}, {2, 2}, {3, 1}, {1, 5}, {16, 8}}) {
        Bytes rows;
        for (int i = 0; i < width * height * 3; ++i) { rows.push_back(static_cast<std::uint8_t>(i * 5 + i / 251)); }
        write_png(dir.path("plain.png"), {width, height, PNG_COLOR_TYPE_RGB, 8, rows});
        write_png(dir.path("laced.png"), {width, height, PNG_COLOR_TYPE_RGB, 8, rows, {}, {}, true});
        succeed("compare plain.png laced.png");
    }
}

TEST_F(Tool, TakesARectangleCountedFromTheLowerLeft) {
    constexpr long width = 37, height = 23;
    succeed("chart all.png --size 37x23");
    succeed("convert all.png all.pic");
    const Bytes all = rgba("all.png");
    constexpr long rectangles[][4] = {{5, 3, 20, 11}, {0, 0, 0, 0}, {0, 0, 36, 22}, {36, 22, 36, 22}, {0, 21, 36, 21}};
    for (const auto& [x0, y0, x1, y1] : rectangles) {
        Bytes expected;
        for (long y = y1; y >= y0; --y) {
            expected =
                expected + piece(all, std::size_t((height - 1 - y) * width + x0) * 4, std::size_t(x1 - x0 + 1) * 4);
        }
        std::ostringstream rectangle;
        rectangle << " part.png --force --rect " << x0 << ',' << y0 << ',' << x1 << ',' << y1;
        for (const std::string in : {"all.png", "all.pic"}) {
            succeed("convert " + in + rectangle.str());
            EXPECT_EQ(rgba("part.png"), expected) << in << rectangle.str();
        }
    }
}

TEST_F(Tool, ChangesKindsIntoOneAnother) {
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

TEST_F(Tool, SaysWhatFailedAndLeavesNothingBehind) {
    write_png(dir.path("good.png"), {2, 1, PNG_COLOR_TYPE_RGB, 8, hex("010203 040506")});
    succeed("convert good.png good.pic");
    const Bytes png = contents(dir.path("good.png"));
    for (const char* name : {"text.txt", "text.png", "text.pic"}) { dir.file(name, text("hi")); }
    dir.file("cut.png", piece(png, 0, 45));
    Bytes wrong = png;
    wrong[45] ^= 0x55;
    dir.file("wrong.png", wrong);
    Bytes empty = contents(dir.path("good.pic"));
    put(empty, 584, hex("0000"));
    dir.file("empty.pic", empty);
    mkfifo(dir.path("pipe.pic").c_str(), 0600);
    const std::set<std::string> before = files();

    const std::map<int, std::string> messages = {{1, "Read error in trellis"},
                                                 {3, "Allocation error in trellis"},
                                                 {5, "Unknown or unsupported format in trellis"},
                                                 {6, "Failed to open file in trellis"},
                                                 {9, "Window coordinate error in trellis"},
                                                 {14, "Trellis function not supported in current format"},
                                                 {23, "File is not writeable"},
                                                 {24, "Failed to stat file"}};
    const char* const none = "No such file or directory";
    struct Case {
        const char *arguments, *file;
        int code;
        const char* reason = nullptr;
    };
    for (const Case& c : {
             Case{"info none.pic", "none.pic", 6, none},
             {"info 'a\n\x1B.pic'", "a\\n\\x1B.pic", 6, none},
             {"header .", ".", 1, "Is a directory"},
             {"info - <text.txt", "standard input", 5},
             {"convert text.txt x.pic", "text.txt", 5},
             {"convert text.png x.pic", "text.png", 1},
             {"convert text.pic x.png", "text.pic", 1},
             {"convert cut.png x.pic", "cut.png", 1},
             {"convert wrong.png x.pic", "wrong.png", 1},
             {"convert empty.pic x.png", "empty.pic", 5, "the header gives no picture size"},
             {"convert good.png x.pic --rect 0,0,2,0", "good.png", 9, "the picture is 2 x 1 pixels"},
             {"catalogue good.pic x.png", "good.pic", 14},
             {"catalogue none.cin x.png", "none.cin", 6, none},
             {"header good.png", "good.png", 14},
             {"preview good.pic --png x.png", "good.pic.mpc", 24, none},
             {"cinfo good.pic", "good.pic.cinfo", 6, none},
             {"convert good.png x.txt", "x.txt", 5, "no format has this extension"},
             {"convert good.png no/x.pic", "no/x.pic", 6, none},
             {"convert good.png good.pic", "good.pic", 23, "it exists; force replaces it"},
             {"convert good.png pipe.pic --force", "pipe.pic", 23, "it is not a regular file"},
             {"chart x.pic --size 32768x1", "x.pic", 9},
             {"chart x.png --size 9999999x9999999", "x.png", 3, "the chart is too large for this machine"},
         }) {
        const std::string reason = c.reason == nullptr ? "" : std::string(": ") + c.reason;
        expect(1, c.arguments, "",
               std::string("trellis: ") + c.file + ": " + messages.at(c.code) + reason + " (code " +
                   std::to_string(c.code) + ")\n");
        EXPECT_EQ(files(), before) << c.arguments;
    }
    for (const std::string misuse :
         {"", "paint x.pic", "convert good.png", "convert good.png x.pic --kind colour",
          "convert good.png x.pic --compress maybe", "convert good.png x.png --png-level 10",
          "convert good.png x.pic --rect 0,0,1", "convert good.png x.pic --rect 1,0,0,0", "convert good.png -",
          "convert good.png x.pic --premultiply --unpremultiply", "compare good.png good.png --tolerance -1",
          "chart x.pic --size 0x5", "chart x.pic --size 5x5x5"}) {
        const Result result = run(misuse);
        EXPECT_EQ(result.status, 2) << misuse;
        EXPECT_EQ(result.out, "") << misuse;
        EXPECT_TRUE(result.err.starts_with("trellis: ") && result.err.find('\n') == result.err.size() - 1)
            << result.err;
        EXPECT_EQ(files(), before) << misuse;
    }
    for (const std::string command : {"formats", "formats --json", "info good.png", "info --json good.png",
                                      "header --json good.pic", "convert good.png - --to png"}) {
        expect(1, command + " >/dev/full 2>" + results.path("err") + " #", "",
               "trellis: standard output: Write error in trellis: No space left on device (code 2)\n");
    }
    // A name that leaves no room for those of side files stops neither command.
    const std::string long_name = std::string(250, 'x') + ".pic";
    succeed("chart " + long_name + " --size 1x1");
    EXPECT_EQ(run("info " + long_name + " good.pic").out.find("good.pic\n"), run("info " + long_name).out.size());
    EXPECT_NE(run("cinfo " + long_name).err.find("File name too long (code 6)"), std::string::npos);
}

// Headers that claim far more than the file holds cost no more than others.
TEST_F(Tool, TakesNoMemoryForPixelsThatAreNotThere) {
    write_png(dir.path("a.png"), {65535, 65535, PNG_COLOR_TYPE_RGBA, 8, {}});
    const struct {
        std::string name;
        std::vector<std::size_t> at;  // where it has its sizes
        const char* sizes;
        std::size_t file_size = 2048;
    } bombs[] = {{"a.dpx", {772}, "00002710 00002710"},
                 {"b.dpx", {772}, "0000FFFF 0000FFFF", 21000},
                 {"a.cin", {200, 228, 256}, "00002710 00002710"},
                 {"a.iff", {32}, "0000FFFF 0000FFFF"},
                 {"a.pic", {584}, "7FFF 7FFF 7FFF 7FFF", 9000},
                 {"b.pic", {584}, "7FFF 7FFF 0040 0040", 21000},
                 {"a.png", {}, ""}};
    for (const auto& bomb : bombs) {
        if (!exists(dir.path(bomb.name))) { succeed("chart " + bomb.name + " --size 99x99"); }
        Bytes bytes = piece(contents(dir.path(bomb.name)), 0, bomb.file_size);
        for (const std::size_t at : bomb.at) { put(bytes, at, hex(bomb.sizes)); }
        dir.file(bomb.name, bytes);
        const std::set<std::string> before = files();
        for (const std::string command : {"convert", "compare", "preview", "info"}) {
            const std::string second = command == "convert" ? " x.png" : command == "compare" ? " " + bomb.name : "";
            const Result result = run(command + " " + bomb.name + second, TRELLIS_LITTLE_MEMORY);
            EXPECT_EQ(result.status, command == "info" ? 0 : 1) << command << " " << bomb.name;
            const std::string said = command == "info" ? result.out : result.err;
            EXPECT_TRUE(said.find("missing") != said.npos || said.find("not loaded") != said.npos ||
                        said.find("the file holds") != said.npos || said.find("cut short") != said.npos)
                << command << " " << bomb.name << ": " << said;
            EXPECT_EQ(files(), before) << command << " " << bomb.name;
        }
    }
}

TEST_F(Tool, KeepsWholeFilesAndTheirPermissions) {
    succeed("chart old.pic --size 8x8");
    chmod(dir.path("old.pic").c_str(), 0604);
    const Bytes old = contents(dir.path("old.pic"));
    // A file that is too large in the middle of a save, and one whose few bytes are written at its end.
    for (const std::string out : {"old.pic", "new.pic", "new.png"}) {
        expect(1, "chart " + out + " --size 200x200 --force", "",
               "trellis: " + out + ": Write error in trellis: File too large (code 2)\n", "ulimit -f 20 &&");
    }
    expect(1, "chart new.png --size 30x30", "", "trellis: new.png: Failed to close file: File too large (code 15)\n",
           "ulimit -f 1 &&");
    EXPECT_EQ(files(), std::set<std::string>{"old.pic"});
    EXPECT_EQ(contents(dir.path("old.pic")), old);

    std::filesystem::create_symlink("old.pic", dir.path("link.pic"));
    succeed("chart link.pic --size 9x9 --force");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path("link.pic")));
    EXPECT_EQ(info("old.pic")["width"], 9);
    EXPECT_EQ(mode("old.pic"), 0604U);
    EXPECT_EQ(run("chart new.pic --size 9x9", "umask 027 &&").status, 0);
    EXPECT_EQ(mode("new.pic"), 0640U);

    // A link to nothing is followed too; the other name of a file keeps its picture.
    std::filesystem::create_symlink("made.pic", dir.path("dangling.pic"));
    succeed("chart dangling.pic --size 5x5");
    EXPECT_TRUE(std::filesystem::is_symlink(dir.path("dangling.pic")));
    EXPECT_EQ(info("made.pic")["width"], 5);
    std::filesystem::create_hard_link(dir.path("made.pic"), dir.path("other.pic"));
    succeed("chart made.pic --size 6x6 --force");
    EXPECT_EQ(info("made.pic")["width"], 6);
    EXPECT_EQ(info("other.pic")["width"], 5);

    // A directory that is no longer there is no place to come back to.
    const std::string gone = "mkdir gone && cd gone && rmdir ../gone &&";
    EXPECT_EQ(run("chart " + dir.path("far.dpx") + " --size 7x7", gone).err, "");
    EXPECT_EQ(info("far.dpx")["width"], 7);
}

/// Runs the tool until it has read the beginning of a picture, sends it a signal and returns that
/// by which it died. Temporary files go to `directory`.
int signal_while_reading(const std::string& directory, int signal) {
    int ends[2];
    if (pipe(ends) != 0) { return -1; }
    const pid_t child = fork();
    if (child == 0) {
        ::signal(signal, SIG_DFL);  // whatever the program that runs the tests ignores
        dup2(ends[0], STDIN_FILENO);
        close(ends[1]);
        setenv("TMPDIR", directory.c_str(), 1);
        alarm(60);
        execl(TRELLIS_TOOL, "trellis", "info", "-", nullptr);
        _exit(127);
    }
    close(ends[0]);
    const Bytes more_than_a_pipe_holds(1 << 20);
    EXPECT_EQ(write(ends[1], more_than_a_pipe_holds.data(), more_than_a_pipe_holds.size()), 1 << 20);
    if (child <= 0) { return -1; }  // a signal to -1 would go to everybody
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    close(ends[1]);
    return WIFSIGNALED(status) ? WTERMSIG(status) : 0;
}

TEST_F(Tool, LeavesNothingWhenASignalEndsIt) {
    for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM}) {
        EXPECT_EQ(signal_while_reading(dir.path(""), signal), signal);
        EXPECT_EQ(files(), std::set<std::string>{}) << signal;
    }
    // What a killed process left goes when the next one writes there, but nothing that is in use or
    // another machine's.
    EXPECT_EQ(signal_while_reading(dir.path(""), SIGKILL), SIGKILL);
    ASSERT_EQ(files().size(), 1U);
    const std::string left = *files().begin();
    const std::string machine = left.substr(0, left.rfind('-', left.rfind('-') - 1) + 1);
    const std::string used = machine + "1-0", foreign = ".trellis-x-" + left.substr(9);
    dir.file(foreign, {1});
    const int lock = open(dir.file(used, {1}).c_str(), O_RDWR);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    succeed("chart a.pic --size 8x8");
    EXPECT_EQ(files(), (std::set<std::string>{"a.pic", used, foreign}));
    close(lock);
}

// On a terminal, a save that takes its time shows a bar; interrupted, it leaves nothing.
TEST_F(Tool, ShowsProgressAndCleansUpWhenInterrupted) {
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        alarm(60);  // a tool that hangs is a failure
        if (chdir(dir.path("").c_str()) == 0) {
            execl(TRELLIS_TOOL, "trellis", "chart", "big.png", "--size", "9000x3000", nullptr);
        }
        _exit(127);
    }
    ASSERT_GT(child, 0);  // a signal to -1 would go to everybody
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
    EXPECT_EQ(result.err, "trellis: none.pic: Failed to open file in trellis: No such file or directory (code 6)\n");
    const json list = json::parse(result.out);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0], json::parse(R"({"file": "a.pic", "format": "PIXAR", "kind": "cutout",
        "width": 20, "height": 10, "channels": 4, "depth": 8, "compressed": true,
        "side_files": []})"));
    EXPECT_EQ(list[1]["kind"], "image");

    EXPECT_EQ(run("formats").out,
              "code   name          extension  depth  image      cutout     mask       catalogue\n"
              "PIXAR  Pixar         pic        8      load save  load save  -          -\n"
              "DPX    DPX(10bit)    dpx        16     load save  load save  load save  -\n"
              "SMPTE  Kodak(10bit)  cin        16     load save  load save  load save  load\n"
              "MAYA   MAYA(Bitmap)  iff        8      load save  load save  load save  -\n"
              "PNG    PNG           png        8      load save  load save  save       -\n"
              "PNG16  PNG(16bit)    png        16     load save  load save  save       -\n");
    const json formats = as_json("formats");
    ASSERT_EQ(formats.size(), 6U);
    EXPECT_EQ(formats[0], json::parse(R"({"code": "PIXAR", "name": "Pixar", "extensions": ["pic"],
        "depth": 8, "load": ["image", "cutout"], "save": ["image", "cutout"],
        "catalogue": false})"));
    EXPECT_EQ(formats[1]["extensions"], json({"dpx"}));
}

// The chart looks the same in every format, and a 10-bit code survives a trip through 16-bit PNG.
TEST_F(Tool, CarriesPicturesBetweenDepths) {
    succeed("chart chart.png --size 43x61");
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
    const std::vector<std::string> names = {"a.dpx", "a.cin", "a.pic", "a.iff"};
    for (const std::string& name : names) { succeed("chart " + name + " --size 8x4"); }
    Bytes little = contents(dir.path("a.dpx"));
    put(little, 0, hex("58504453"));
    put(little, 772, hex("07000000"));
    dir.file("little.dpx", little);
    const struct {
        const char *file, *field;
        json value;
    } fields[] = {
        {"a.dpx", "/byte order", "big-endian"},
        {"a.dpx", "/sections/file information/file name", "a.dpx"},  // and not a temporary name
        {"a.dpx", "/sections/image information/pixels per line", 8},
        {"a.dpx", "/sections/image element 1/descriptor", 50},
        {"a.dpx", "/sections/image element 2/descriptor", nullptr},
        {"a.dpx", "/sections/television/integration time", nullptr},
        {"little.dpx", "/sections/image information/pixels per line", 7},
        {"a.cin", "/sections/channel 1/maximum data value", 1023.0},
        {"a.cin", "/sections/file information/creation time", "20:38:50Z"},
        {"a.pic", "/sections/header/block size", 8192},
        {"a.iff", "/chunks/0/type", "CIMG"},
        {"a.iff", "/chunks/0/chunks/1/fields/height", 4},
        {"a.iff", "/chunks/0/chunks/4/chunks/0/tag", "RGBA"},
    };
    for (const auto& [file, field, value] : fields) {
        EXPECT_EQ(as_json(std::string("header ") + file).at(json::json_pointer(field)), value) << file << field;
    }
    EXPECT_NE(run("header a.dpx").out.find("encryption key                   undefined"), std::string::npos);
    // Cut anywhere, a tree ends where the file does.
    const Bytes whole = contents(dir.path("a.iff"));
    for (const std::size_t size : {whole.size() - 1, std::size_t{200}, std::size_t{60}, std::size_t{30}}) {
        dir.file("cut.iff", piece(whole, 0, size));
        EXPECT_EQ(run("header cut.iff").status, 0) << size;
    }
    for (const std::string& name : names) {
        dir.file("text" + name, Bytes(3000, 'x'));
        dir.file("short" + name, piece(contents(dir.path(name)), 0, 11));
        EXPECT_NE(run("header text" + name).err.find("(code 20)"), std::string::npos) << name;
        EXPECT_NE(run("header short" + name).err.find("(code 1)"), std::string::npos) << name;
    }
}

/// All that a field of these bytes may be shown as.
std::vector<json> readings(const Bytes& field) {
    std::string text(field.begin(), field.end()), digits;
    std::uint32_t big = 0, little = 0;
    for (std::size_t i = 0; i < field.size(); ++i) {
        big = big << 8 | field[i];
        little = little << 8 | field[field.size() - 1 - i];
        digits += "0123456789ABCDEF"[field[i] / 16];
        digits += "0123456789ABCDEF"[field[i] % 16];
    }
    return {text, digits, big, std::bit_cast<float>(big), std::bit_cast<float>(little)};
}

// No two fields of a header are alike: each must come from its own place.
TEST_F(Tool, ReadsEveryHeaderFieldFromItsPlace) {
    struct Section {
        std::string name;
        std::size_t start;
        const char* fields;  // the offset and the size of each
    };
    std::vector<Section> dpx = {
        {"file information", 0, "0 4 4 4 8 8 16 4 20 4 24 4 28 4 32 4 36 100 136 24 160 100 260 200 460 200 660 4"},
        {"image information", 768, "0 2 2 2 4 4 8 4"}};
    std::vector<Section> cineon = {{"file information", 0, "0 4 4 4 8 4 12 4 16 4 20 4 24 8 32 100 132 12 144 12"},
                                   {"image information", 192, "0 1 1 1"}};
    for (std::size_t i = 0; i < 8; ++i) {
        const std::string number = std::to_string(i + 1);
        dpx.push_back({"image element " + number, 780 + 72 * i,
                       "0 4 4 4 8 4 12 4 16 4 20 1 21 1 22 1 23 1 24 2 26 2 28 4 32 4 36 4 40 32"});
        cineon.push_back({"channel " + number, 196 + 28 * i, "0 1 1 1 2 1 4 4 8 4 12 4 16 4 20 4 24 4"});
    }
    dpx.push_back({"orientation", 1408,
                   "0 4 4 4 8 4 12 4 16 4 20 4 24 100 124 24 148 32 180 32 212 2 214 2 216 2 218 2 220 4 224 4"});
    dpx.push_back({"film", 1664, "0 2 2 2 4 2 6 6 12 4 16 32 48 4 52 4 56 4 60 4 64 4 68 32 100 100"});
    dpx.push_back({"television", 1920, "0 4 4 4 8 1 9 1 10 1 12 4 16 4 20 4 24 4 28 4 32 4 36 4 40 4 44 4 48 4"});
    cineon.push_back({"colour", 420, "0 4 4 4 8 4 12 4 16 4 20 4 24 4 28 4 32 200"});
    cineon.push_back({"data format", 680, "0 1 1 1 2 1 3 1 4 4 8 4"});
    cineon.push_back({"image origination", 712, "0 4 4 4 8 100 108 12 120 12 132 64 196 32 228 32 260 4 264 4 268 4"});
    std::vector<Section> far = cineon;
    const char* film = "0 1 1 1 2 1 4 4 8 4 12 32 44 4 48 4 52 32 84 200";
    cineon.push_back({"film", 1024, film});
    far.push_back({"film", 1300, film});
    const std::vector<Section> pixar = {
        {"header", 0, "0 8 8 2 10 246 256 4 584 2 586 2 588 2 590 2 592 2 594 2 596 2"}};
    struct Case {
        const char* name;
        const char* fixed;  // the first bytes
        const std::vector<Section>& sections;
    };
    for (const auto& [name, fixed, sections] : {Case{"a.dpx", "53445058", dpx},
                                                {"a.cin", "802A5FD7 21212121 00000400", cineon},
                                                {"far.cin", "802A5FD7 21212121 00000514", far},
                                                {"a.pic", "0000E88000000000", pixar}}) {
        Bytes bytes;
        for (std::size_t i = 0; i < 3000; ++i) {
            bytes.push_back(static_cast<std::uint8_t>(0x21 + (i * 7 + i / 93) % 93));
        }
        put(bytes, 0, hex(fixed));
        dir.file(name, bytes);
        const auto shown = nlohmann::ordered_json::parse(run(std::string("header --json ") + name).out)["sections"];
        EXPECT_EQ(shown.size(), sections.size());
        for (const Section& section : sections) {
            std::istringstream fields(section.fields);
            for (const auto& [key, shown_value] : shown[section.name].items()) {
                json value = shown_value;
                if (value.is_number_float()) { value = value.get<float>(); }
                std::size_t offset = 0, size = 0;
                fields >> offset >> size;
                const std::vector<json> expected = readings(piece(bytes, section.start + offset, size));
                EXPECT_NE(std::find(expected.begin(), expected.end(), value), expected.end())
                    << name << ", " << section.name << ": " << key << " is " << value;
            }
            EXPECT_TRUE((fields >> std::ws).eof()) << name << " has more " << section.name;
        }
    }
    // What a file is too short for is not there, and said to be so.
    const Bytes whole = contents(dir.path("a.cin"));
    dir.file("short.cin", piece(whole, 0, 1024 + 46));
    const Result text = run("header short.cin");
    EXPECT_NE(text.out.find("format                           \""), std::string::npos);
    EXPECT_NE(text.out.find("frame position                   absent"), std::string::npos);
    EXPECT_EQ(as_json("header short.cin")["sections"]["film"].size(), 6U);
}

TEST_F(Tool, MakesAndShowsSideFiles) {
    succeed("chart a.pic --size 400x300");
    // An image's preview has no matte: its first byte is only a grey level.
    succeed("convert a.pic image.pic --kind image");
    succeed("preview image.pic");
    succeed("preview image.pic --png small.png");
    EXPECT_EQ(info("small.png")["kind"], "image");

    succeed("preview a.pic --size2 20x15");
    EXPECT_EQ(contents(dir.path("a.pic.mpc")).size(), 36U + 30000 + 16 + 1200);
    EXPECT_EQ(run("preview a.pic").status, 1) << "there is one";
    succeed("preview a.pic --size1 200x100 --force");
    succeed("preview a.pic --png small.png --force");
    EXPECT_EQ(info("small.png")["width"], 200);
    EXPECT_EQ(run("preview a.pic --png b.png --size1 9x9").status, 2);
    succeed("chart half.dpx --size 10x10");
    dir.file("half.dpx", piece(contents(dir.path("half.dpx")), 0, 2048 + 200));
    expect(1, "preview half.dpx", "",
           "trellis: half.dpx: Read error in trellis: 200 of 400 bytes of the picture are missing (code 1)\n");
    expect(0, "preview half.dpx --lenient", "",
           "trellis: half.dpx: 200 of 400 bytes of the picture missing, black in its place\n");

    succeed("thumbnail -s 300 a.pic small");  // a PNG file, whatever its name
    EXPECT_EQ(info("small")["width"], 300);
    dir.file("broken.pic", piece(contents(dir.path("a.pic")), 0, 20000));
    EXPECT_EQ(run("thumbnail broken.pic none").status, 1);
    EXPECT_FALSE(exists(dir.path("none")));

    succeed("cinfo a.pic --set int_5=-7 real_3=0.25");
    EXPECT_EQ(contents(dir.path("a.pic.cinfo")).size(), 106U);
    EXPECT_EQ(as_json("cinfo a.pic"), json::parse(R"({"info_width": 400, "info_height": 300, "int_3": 0, "int_4": 0,
        "real_1": 199.5, "real_2": 149.5, "real_3": 0.25, "real_4": 0.5, "int_5": -7, "int_6": 1,
        "int_7": 3, "outline_size": 40})"));
    succeed("cinfo a.pic --set int_7=9");
    EXPECT_EQ(as_json("cinfo a.pic")["int_5"], -7) << "kept";
    Bytes newer = contents(dir.path("a.pic.cinfo"));
    newer[4] = 2;
    dir.file("b.pic.cinfo", newer);
    EXPECT_EQ(as_json("cinfo b.pic")["int_7"], 9) << "no warning in between";
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
             {"a.png b.png --tolerance 5", 1, "pixels differ: 1 of 2, by at most 6\n"},
             {"a.png b.png --tolerance 6", 0, ""},
             {"a.png - <b.png", 1, "pixels differ: 1 of 2, by at most 6\n"},
             {"- b.png --from png <a.png", 1, "pixels differ: 1 of 2, by at most 6\n"},
         }) {
        const Result result = run("compare " + std::string(c.arguments));
        EXPECT_EQ(result.status, c.status) << c.arguments;
        EXPECT_EQ(result.out, c.out) << c.arguments;
    }
}

TEST_F(Tool, MultipliesMattesIntoColours) {
    write_png(dir.path("a.png"), {3, 1, PNG_COLOR_TYPE_RGBA, 8, hex("C8640380 0A141EFF FFFFFF00")});
    write_png(dir.path("deep.png"), {1, 1, PNG_COLOR_TYPE_RGBA, 16, hex("FFFC80000004 8000")});
    succeed("convert a.png out.png --premultiply");
    EXPECT_EQ(rgba("out.png"), hex("64320280 0A141EFF 00000000"));
    succeed("convert out.png out.png --unpremultiply --force");
    EXPECT_EQ(rgba("out.png"), hex("C7640480 0A141EFF 00000000"));
    succeed("convert deep.png deep2.png --premultiply");
    succeed("convert deep2.png out.png --depth 8 --force");
    EXPECT_EQ(rgba("out.png"), hex("80400080"));
}

TEST_F(Tool, ReadsAndWritesStandardStreams) {
    succeed("chart a.dpx --size 21x13");
    for (const std::string format : {"pic", "dpx", "cin", "iff", "png"}) {
        EXPECT_EQ(run("convert - - --to " + format + " <a.dpx >b." + format + " #").status, 0) << format;
        succeed("compare --kind image --tolerance 64 a.dpx b." + format);
    }
    EXPECT_EQ(run("info - <b.iff").out.substr(0, 30), "-\n  format       MAYA(Bitmap) ");
    const json header = as_json("header b.dpx")["sections"];
    EXPECT_EQ(header["file information"]["file name"], "standard output");
    EXPECT_EQ(header["orientation"]["source file name"], "a.dpx");
}

TEST_F(Tool, TakesSideFilesAlong) {
    succeed("chart a.pic --size 20x10");
    succeed("cinfo a.pic --set int_3=7");
    succeed("preview a.pic");
    succeed("convert a.pic b.iff");
    Bytes cinfo = contents(dir.path("a.pic.cinfo"));
    put(cinfo, 12, hex("622E696666"));  // the name that it has inside
    EXPECT_EQ(contents(dir.path("b.iff.cinfo")), cinfo);
    EXPECT_EQ(contents(dir.path("b.iff.mpc")), contents(dir.path("a.pic.mpc")));
    EXPECT_EQ(run("convert a.pic c.pic --kind image").err,
              "trellis: a.pic.cinfo: left behind, it does not describe c.pic\n"
              "trellis: a.pic.mpc: left behind, it does not describe c.pic\n");
    dir.file("d.pic.cinfo", {1});
    const Result kept = run("convert a.pic d.pic");
    EXPECT_EQ(kept.status, 0);
    EXPECT_EQ(kept.err, "trellis: a.pic.cinfo: left behind, d.pic.cinfo exists; --force replaces it\n");
    EXPECT_EQ(contents(dir.path("d.pic.cinfo")).size(), 1U);
    EXPECT_EQ(exists(dir.path("d.pic.mpc")) && !exists(dir.path("c.pic.mpc")), true);
    succeed("convert a.pic d.pic --force");
    EXPECT_EQ(contents(dir.path("d.pic.cinfo")).size(), cinfo.size());
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
