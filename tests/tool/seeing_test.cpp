// What the tool draws: pictures in terminals of all sorts.

#include <gtest/gtest.h>

#include "support/support.h"
#include "tool/png.h"

namespace {

using namespace support;

class Seeing : public testing::Test {
  protected:
    struct Result {
        int status;
        std::string out, err;
    };

    Result shell(const std::string& command) {
        const std::string whole = "cd " + dir.path("") + " && PATH=" + tool_directory() + ":$PATH && { " + command +
                                  "; } >" + results.path("out") + " 2>" + results.path("err") + " </dev/null";
        const int status = std::system(whole.c_str());
        return {WEXITSTATUS(status), text_of(results.path("out")), text_of(results.path("err"))};
    }

    /// Runs the tool on a terminal of its own, described by `environment`.
    Result on_terminal(const std::string& environment, const std::string& arguments, const std::string& size = "") {
        const std::string setup = size.empty() ? "" : "stty " + size + "; ";
        return shell("script -qec '" + setup + "env -u COLORTERM LC_ALL=C.UTF-8 " + environment + " trellis " +
                     arguments + "' /dev/null");
    }

    static std::string tool_directory() {
        const std::string tool = TRELLIS_TOOL;
        return tool.substr(0, tool.rfind('/'));
    }

    static std::string text_of(const std::string& path) {
        const Bytes bytes = contents(path);
        return {bytes.begin(), bytes.end()};
    }

    TempDir dir;
    TempDir results;
};

// White and black beside each other, opaque and transparent, and a film scan of one code.
class Showing : public Seeing {
  protected:
    void SetUp() override {
        write_png(dir.path("two.png"), {2, 1, PNG_COLOR_TYPE_RGBA, 8, hex("FFFFFFFF 000000FF")});
        write_png(dir.path("matte.png"), {2, 1, PNG_COLOR_TYPE_RGBA, 8, hex("FFFFFF00 FFFFFFFF")});
        ASSERT_EQ(shell("trellis convert two.png code.dpx").status, 0);
        Bytes dpx = contents(dir.path("code.dpx"));
        put(dpx, 2048, be(445U << 22 | 445 << 12 | 445 << 2, 4) + be(445U << 22 | 445 << 12 | 445 << 2, 4));
        dir.file("code.dpx", dpx);
        dir.file("broken.dpx", piece(dpx, 0, 2050));
    }
};

TEST_F(Showing, PlainTextWhereNothingElseIsKnownToWork) {
    const std::string picture = "██  ";
    EXPECT_EQ(shell("LC_ALL=C.UTF-8 trellis show two.png --size 4x4").out, picture + "\n");
    EXPECT_EQ(shell("LC_ALL=C trellis show two.png --size 4x4").out.find_first_of("\x1b\x80\xE2"), std::string::npos);
    for (const char* terminal : {"TERM=dumb", "TERM=", "TERM=xterm NO_COLOR=1"}) {
        EXPECT_EQ(on_terminal(terminal, "show two.png --size 4x4").out, picture + "\r\n") << terminal;
    }
    EXPECT_EQ(shell("LC_ALL=C.UTF-8 trellis show matte.png --kind mask --size 4x4").out, "  ██\n");
    EXPECT_EQ(shell("LC_ALL=C.UTF-8 trellis show two.png --rect 1,0,1,0 --size 2x2").out, "  \n");
    EXPECT_EQ(shell("cat two.png | LC_ALL=C.UTF-8 trellis show - --rect 0,0,0,0 --size 2x2").out, "██\n");
    EXPECT_EQ(shell("export LC_ALL=C.UTF-8; trellis show two.png | wc -L").out, "80\n");
}

TEST_F(Showing, TakesWhatTheTerminalIsKnownToTake) {
    const struct {
        const char *environment, *arguments, *output;
    } cases[] = {
        {"TERM=xterm COLORTERM=truecolor", "", "38;2;255;255;255"},
        {"TERM=tmux-256color", "", "38;5;"},
        {"TERM=xterm-kitty", "", "\x1b_G"},
        {"TERM=xterm", "--as kitty", "\x1b_G"},
        {"TERM=xterm", "--as sixel", "\x1bP"},
        {"TERM=dumb", "--as iterm", "\x1b]1337;"},
    };
    for (const auto& c : cases) {
        const Result result = on_terminal(c.environment, std::string("show two.png --size 4x4 ") + c.arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.out.find(c.output), std::string::npos) << c.environment << c.arguments << result.out;
    }
    EXPECT_EQ(on_terminal("TERM=dumb", "show two.png", "cols 1 rows 1").out.find('\n'),
              4U);  // three bytes, and a return
}

TEST_F(Showing, FilmCodesAsAPrintHasThem) {
    const std::string terminal = "TERM=xterm COLORTERM=truecolor";
    EXPECT_NE(on_terminal(terminal, "show code.dpx --size 2x2").out.find(";111;111;111"), std::string::npos);
    EXPECT_NE(on_terminal(terminal, "show code.dpx --size 2x2 --view log").out.find(";107;107;107"), std::string::npos);
}

TEST_F(Showing, NothingOfAFileThatIsNotWhole) {
    const Result broken = shell("trellis show broken.dpx");
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.out, "");
    EXPECT_EQ(shell("trellis show --lenient broken.dpx").status, 0);
    EXPECT_EQ(shell("trellis show two.png --rect 1,0,0,0").status, 2);
}

}  // namespace
