#include "photograph.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "trellis/trellis.h"

#include "support.h"

namespace bench {

namespace {

using Bytes = std::vector<std::uint8_t>;

// A random number below 65536 for each point of a layer.
int random_value(int x, int y, std::uint32_t layer) {
    std::uint32_t value = static_cast<std::uint32_t>(x) * 0x9E3779B1U ^
                          static_cast<std::uint32_t>(y) * 0x85EBCA77U ^ layer * 0xC2B2AE3DU;
    value = (value ^ value >> 15) * 0x2C1B3C6DU;
    value = (value ^ value >> 12) * 0x297A2D39U;
    return static_cast<int>((value ^ value >> 15) & 0xFFFF);
}

// Random values at the corners of cells, and smooth between them.
int field(int x, int y, int cell, std::uint32_t layer) {
    const int column = x / cell;
    const int row = y / cell;
    const auto between = [cell](int from, int to, int part) {
        return from + (to - from) * (part % cell) / cell;
    };
    const int below =
        between(random_value(column, row, layer), random_value(column + 1, row, layer), x);
    const int above =
        between(random_value(column, row + 1, layer), random_value(column + 1, row + 1, layer), x);
    return between(below, above, y);
}

constexpr int middle = 32768;

struct Point {
    std::uint16_t light;
    bool in_front;
};

Point make_point(int x, int y) {
    const bool in_front = field(x, y, 256, 4) + field(x, y, 16, 5) / 8 > 36000;
    // More contrast than the range holds: a third of the picture is blown out.
    int light =
        50000 + (field(x, y, 512, 1) - middle) * 25 / 16 + (field(x, y, 128, 2) - middle) * 25 / 48;
    if (in_front) {
        light = light * 5 / 8 + 9000;
    }
    const std::int64_t grain = random_value(x, y, 7) + random_value(x, y, 9) - 2 * middle;
    const int strength = std::max(0, field(x, y, 256, 8) - 10000);
    light += static_cast<int>(grain * strength * 7 / (1 << 24));
    return {static_cast<std::uint16_t>(std::clamp(light, 0, 65535)), in_front};
}

const std::vector<Point>& points() {
    static const std::vector<Point> all = [] {
        std::vector<Point> made;
        made.reserve(pixels);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                made.push_back(make_point(x, y));
            }
        }
        return made;
    }();
    return all;
}

// How many packets there are of each kind, and how many of those are short.
struct Count {
    int runs = 0;
    int short_runs = 0;
    int literals = 0;
    int short_literals = 0;

    void add_run(int length, int shortest) {
        ++runs;
        short_runs += length >= shortest && length <= 5 ? 1 : 0;
    }
    void add_literal(int length) {
        ++literals;
        short_literals += length <= 6 ? 1 : 0;
    }

    bool is_like_photograph(const char* format, int packets, int fewest, int most) const {
        if (packets >= fewest && packets <= most && short_runs * 2 > runs &&
            short_literals * 2 > literals) {
            return true;
        }
        std::fprintf(stderr,
                     "the photograph codes into %d %s packets, not %d to %d, or not mostly short "
                     "ones: %d of %d runs, %d of %d literals are\n",
                     packets, format, fewest, most, short_runs, runs, short_literals, literals);
        return false;
    }
};

Bytes saved(const pic_format& format, const std::string& name) {
    Bytes colour = samples8(Content::photograph, 4);
    if (format.save_pic_fn(path(name).c_str(), colour.data(), width, 0, 0, width - 1, height - 1,
                           1) != 0) {
        return {};
    }
    std::ifstream file(path(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::size_t number(const Bytes& file, std::size_t at, std::size_t size) {
    std::size_t value = 0;
    for (std::size_t i = 0; i < size; ++i) {
        value = value << 8 | file[at + i];
    }
    return value;
}

// Chunks after the two form headers, up to the tile, whose code follows its corners.
bool check_iff() {
    const Bytes file = saved(format<init_maya_pic_>(), "photograph.iff");
    std::size_t at = 12;
    while (at + 8 < file.size() && number(file, at, 4) != 0x52474241) {  // RGBA
        const bool is_form = number(file, at, 4) == 0x464F5234;          // FOR4
        at += is_form ? 12 : 8 + (number(file, at + 4, 4) + 3) / 4 * 4;
    }
    Count count;
    const std::size_t end = at + 8 < file.size() ? at + 8 + number(file, at + 4, 4) : 0;
    for (at += 16; at < end;) {
        const int header = file[at];
        if (header >= 128) {
            count.add_run(header - 127, 3);
            at += 2;
        } else {
            count.add_literal(header + 1);
            at += 2 + static_cast<std::size_t>(header);
        }
    }
    return count.is_like_photograph("IFF", count.runs + count.literals, 800'000, 1'000'000);
}

// The one tile begins at byte 8192; a fill packet covers the rest of its block.
bool check_pixar() {
    constexpr std::size_t block = 8192;
    const Bytes file = saved(format<init_pixar_pic_>(), "photograph.pic");
    Count count;
    int packets = 0;
    const std::size_t end = file.size() > block ? block + number(file, 768, 4) : 0;
    for (std::size_t at = block; at < end;) {
        const int packet_pixels = file[at] + 256 * (file[at + 1] & 15) + 1;
        const int type = file[at + 1] >> 4;
        if (type == 0) {
            at = (at / block + 1) * block;
            continue;
        }
        ++packets;
        at += 2;
        if (type == 1) {
            count.add_literal(packet_pixels);
            at += 3 * static_cast<std::size_t>(packet_pixels);
            continue;
        }
        for (int run = 0; run < packet_pixels; ++run, at += 4) {
            count.add_run(file[at] + 1, 2);
        }
    }
    return count.is_like_photograph("Pixar", packets, 500'000, 650'000);
}

}  // namespace

int photograph_value(int x, int y, std::size_t channel, int highest) {
    const Point& point =
        points()[static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)];
    // What is behind is nearly white, what is in front the colour of skin.
    static constexpr int tints[2][3] = {{256, 248, 232}, {256, 226, 196}};
    const int light = point.light * (highest + 1) >> 16;
    return light * tints[point.in_front][channel] >> 8;
}

bool check_photograph() {
    const bool iff_is_right = check_iff();
    return check_pixar() && iff_is_right;
}

}  // namespace bench
