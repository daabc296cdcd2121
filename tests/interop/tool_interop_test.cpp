// Pictures that other programs have written, in every variant that they offer, given to the tool:
// it shows the picture, or says in one line why it cannot. It never shows another one.

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>

#include "support/support.h"
#include "tool/png.h"

namespace {

using namespace support;

constexpr int width = 61;  // no multiple of what lines are padded to
constexpr int height = 37;

struct Variant {
    std::string program, name, command;  // reads the source and writes `name`
    std::string source;                  // the PNG file that it is to look like
};

// `arguments` between the source and the file.
Variant variant(const std::string& program, const std::string& name, const std::string& before,
                const std::string& arguments, const std::string& source) {
    return {program, name, program + " " + before + source + " " + arguments + " " + name, source};
}

const std::string grey = "grey.png";
const std::string colour = "colour.png";
const std::string matte = "matte.png";

std::vector<Variant> variants() {
    std::vector<Variant> all;
    const auto ffmpeg = [&](const std::string& format, const std::string& source = colour) {
        all.push_back(variant("ffmpeg", format + ".dpx", "-v error -y -i ", "-pix_fmt " + format, source));
    };
    for (const char* format : {"gray", "gray10le", "gray10be", "gray12le", "gray12be", "gray16le", "gray16be"}) {
        ffmpeg(format, grey);
    }
    for (const char* format : {"rgb24", "rgb48le", "rgb48be", "gbrp10le", "gbrp10be", "gbrp12le", "gbrp12be"}) {
        ffmpeg(format);
    }
    for (const char* format : {"rgba", "abgr", "rgba64le", "rgba64be"}) { ffmpeg(format, matte); }

    const auto oiiotool = [&](const std::string& name, const std::string& arguments,
                              const std::string& source = colour) {
        all.push_back(
            variant("oiiotool", "o-" + name, "--iconfig oiio:UnassociatedAlpha 1 ", arguments + " -o", source));
    };
    for (const std::string bits : {"8", "10", "12", "16"}) {
        for (const std::string order : {"little", "big"}) {
            const std::string common = "-d uint" + bits + " --attrib oiio:Endian " + order;
            const std::string name = bits + order;
            oiiotool(name + "packed.dpx", common + " --attrib:type=string dpx:Packing Packed");
            oiiotool(name + "a.dpx", common + " --attrib:type=string dpx:Packing 'Filled, method A'");
            oiiotool(name + "b.dpx", common + " --attrib:type=string dpx:Packing 'Filled, method B'");
        }
        oiiotool(bits + "matte.dpx", "-d uint" + bits, matte);
        oiiotool(bits + "grey.dpx", "-d uint" + bits, grey);
    }
    for (const std::string bits : {"8", "16"}) {
        for (const std::string compression : {"none", "rle"}) {
            const std::string arguments = "-d uint" + bits + " --compression " + compression;
            oiiotool(bits + compression + ".iff", arguments);
            oiiotool(bits + compression + "matte.iff", arguments, matte);
        }
    }

    const auto gm = [&](const std::string& name, const std::string& arguments, const std::string& source = colour) {
        all.push_back(variant("gm", "g-" + name, "convert ", arguments, source));
    };
    for (const std::string bits : {"8", "10", "12", "16"}) {
        for (const std::string order : {"LSB", "MSB"}) {
            for (const std::string packing : {"packed", "a", "b"}) {
                gm(bits + order + packing + ".dpx",
                   "-depth " + bits + " -endian " + order + " -define dpx:packing-method=" + packing);
            }
        }
        // It writes how transparent a pixel is, so a third program says what the file holds.
        const std::string name = "g-" + bits + "matte.dpx";
        all.push_back({"gm ffmpeg", name,
                       "gm convert matte.png -depth " + bits + " " + name + " && ffmpeg -v error -y -i " + name +
                           " -vf setparams=color_trc=unknown -pix_fmt rgba matte" + bits + ".png",
                       "matte" + bits + ".png"});
        gm(bits + "grey.dpx", "-depth " + bits, grey);
    }
    gm("swapped.dpx", "-depth 8 -define dpx:swap-samples=true");
    // It converts what it writes as Cineon, so a third program says what that looks like.
    all.push_back({"gm oiiotool", "g.cin",
                   "gm convert colour.png -depth 10 g.cin && oiiotool g.cin -d uint8 -o cin.png", "cin.png"});
    return all;
}

void write_source(const std::string& path, int colour_type, std::ptrdiff_t samples) {
    Noise noise(7);
    Png png = {width, height, colour_type, 8, {}};
    for (int i = 0; i < width * height; ++i) {
        const Bytes pixel = {noise.byte(), static_cast<std::uint8_t>(i % width * 4),
                             static_cast<std::uint8_t>(i / width * 7), noise.byte()};
        png.rows.insert(png.rows.end(), pixel.begin(), pixel.begin() + samples);
    }
    write_png(path, png);
}

// "shown", "refused", or what is wrong.
std::string outcome(const TempDir& dir, const Variant& variant) {
    const std::string in_directory = "cd " + dir.path("") + " && ";
    if (!shell(in_directory + variant.command + " >/dev/null 2>&1") || contents(dir.path(variant.name)).empty()) {
        return "not written";
    }
    const std::string png = variant.name + ".png";
    if (!shell(in_directory + TRELLIS_TOOL " convert --depth 8 " + variant.name + " " + png + " 2>error")) {
        const Bytes error = contents(dir.path("error"));
        const bool one_line = std::ranges::count(error, '\n') == 1 && error.back() == '\n';
        return !one_line ? "refused without one line" : exists(dir.path(png)) ? "refused, with a file" : "refused";
    }
    const Bytes source = rgba_of_png(dir.path(variant.source));
    const Bytes seen = rgba_of_png(dir.path(png));
    if (seen.size() != source.size()) { return "of another size"; }
    int furthest = 0;
    for (std::size_t i = 0; i < seen.size(); ++i) { furthest = std::max(furthest, std::abs(seen[i] - source[i])); }
    return furthest <= 1 ? "shown" : "wrong by " + std::to_string(furthest);
}

TEST(ToolInterop, ShowsWhatOthersWriteOrSaysWhyNot) {
    const TempDir dir;
    write_source(dir.path(grey), PNG_COLOR_TYPE_GRAY, 1);
    write_source(dir.path(colour), PNG_COLOR_TYPE_RGB, 3);
    write_source(dir.path(matte), PNG_COLOR_TYPE_RGBA, 4);
    int shown = 0;
    int tried = 0;
    std::string refused;
    for (const Variant& variant : variants()) {
        if (missing(variant.program)) { continue; }
        const std::string result = outcome(dir, variant);
        EXPECT_TRUE(result == "shown" || result == "refused") << variant.command << ": " << result;
        ++tried;
        shown += result == "shown" ? 1 : 0;
        refused += result == "refused" ? " " + variant.name : "";
    }
    if (tried == 0) { GTEST_SKIP() << "ffmpeg, oiiotool and gm are not installed"; }
    std::cout << shown << " of " << tried << " variants are shown; refused:" << refused << '\n';
}

}  // namespace
