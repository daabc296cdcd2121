#include "chart.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>

#include "trellis/settings.h"

// The chart is a function from a point to a colour with a matte: each layer below looks at the
// point and paints over what the layers before it left there. Points are in pixels, with y running
// downward, from the middle of the picture.

namespace tool {

namespace {

struct Colour {
    double red;
    double green;
    double blue;
};

constexpr Colour white = {1, 1, 1};
constexpr Colour black = {0, 0, 0};

constexpr Colour grey(double value) {
    return {value, value, value};
}

/// 0xRRGGBB
constexpr Colour hex(unsigned int rgb) {
    return {(rgb >> 16) / 255.0, (rgb >> 8 & 0xFF) / 255.0, (rgb & 0xFF) / 255.0};
}

constexpr Colour mix(Colour a, Colour b, double t) {
    return {a.red + (b.red - a.red) * t, a.green + (b.green - a.green) * t,
            a.blue + (b.blue - a.blue) * t};
}

/// Full saturation at an angle of the colour circle, in turns.
Colour hue(double turns) {
    const auto channel = [turns](double offset) {
        const double t = std::fmod(turns + offset, 1.0) * 6;
        return std::clamp(std::abs(t - 3) - 1, 0.0, 1.0);
    };
    return {channel(0), channel(2.0 / 3), channel(1.0 / 3)};
}

double smooth(double t) {
    t = std::clamp(t, 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

/// How much of a pixel lies inside a shape whose edge is `distance` away, negative inside.
double coverage(double distance) {
    return std::clamp(0.5 - distance, 0.0, 1.0);
}

struct Point {
    double x;
    double y;
};

double length(Point p) {
    return std::hypot(p.x, p.y);
}

/// The colour and matte of one pixel while it is painted.
struct Paint {
    Colour colour = black;
    double matte = 0;

    void add(const Colour& paint, double covered) { add(paint, covered, 1); }
    void add(const Colour& paint, double covered, double new_matte) {
        colour = mix(colour, paint, covered);
        matte += (new_matte - matte) * covered;
    }
};

// Letters of 5 x 7 dots, a row in five bits.
struct Glyph {
    char letter;
    std::array<unsigned char, 7> rows;
};

constexpr std::array glyphs = std::to_array<Glyph>({
    {'0', {14, 17, 19, 21, 25, 17, 14}},
    {'1', {4, 12, 4, 4, 4, 4, 14}},
    {'2', {14, 17, 1, 2, 4, 8, 31}},
    {'3', {31, 2, 4, 2, 1, 17, 14}},
    {'4', {2, 6, 10, 18, 31, 2, 2}},
    {'5', {31, 16, 30, 1, 1, 17, 14}},
    {'6', {6, 8, 16, 30, 17, 17, 14}},
    {'7', {31, 1, 2, 4, 8, 8, 8}},
    {'8', {14, 17, 17, 14, 17, 17, 14}},
    {'9', {14, 17, 17, 15, 1, 2, 12}},
    {'x', {0, 0, 17, 10, 4, 10, 17}},
    {'T', {31, 4, 4, 4, 4, 4, 4}},
    {'R', {30, 17, 17, 30, 20, 18, 17}},
    {'E', {31, 16, 16, 30, 16, 16, 31}},
    {'L', {16, 16, 16, 16, 16, 16, 31}},
    {'I', {14, 4, 4, 4, 4, 4, 14}},
    {'S', {15, 16, 16, 14, 1, 1, 30}},
});

/// Whether `p`, in dots from the middle of the text, meets a dot of it.
bool text_covers(std::string_view text, Point p) {
    const int dot_x = static_cast<int>(std::floor(p.x + (6.0 * double(text.size()) - 1) / 2));
    const int dot_y = static_cast<int>(std::floor(p.y + 3.5));
    if (dot_x < 0 || dot_y < 0 || dot_y >= 7 || dot_x >= 6 * static_cast<int>(text.size())) {
        return false;
    }
    const char letter = text[std::size_t(dot_x / 6)];
    const auto* glyph = std::find_if(glyphs.begin(), glyphs.end(),
                                     [letter](const Glyph& g) { return g.letter == letter; });
    const int column = dot_x % 6;
    return glyph != glyphs.end() && column < 5 &&
           (glyph->rows[std::size_t(dot_y)] >> (4 - column) & 1) != 0;
}

class Chart {
  public:
    Chart(int width, int height)
        : half_width_(width / 2.0),
          half_height_(height / 2.0),
          unit_(std::min(width, height)),
          size_text_(std::to_string(width) + "x" + std::to_string(height)) {}

    Paint at(int x, int y) const {
        const Point p = {x + 0.5 - half_width_, y + 0.5 - half_height_};
        Paint paint;
        lattice(p, paint);
        matte_ramps(p, paint);
        primary_ramps(p, paint);
        corners(p, x, y, paint);
        disc(p, x, paint);
        frame(x, y, paint);
        return paint;
    }

  private:
    // Two families of slats, woven: each passes over and under the other in turn. One sees through
    // between them, and the disc casts a soft light on what is behind.
    void lattice(Point p, Paint& paint) const {
        const double glow = 1 - smooth((length(p) - disc_radius()) / (0.22 * unit_));
        paint.add(mix(hex(0x0B1A2B), hex(0x14506A), (p.y + half_height_) / (2 * half_height_)), 1,
                  0);
        paint.add(hex(0x58A6B8), 0.55 * glow, 1);

        const double period = unit_ / 9;
        const double slat = 0.17 * period;  // half its width
        const double u = (p.x + p.y) / std::numbers::sqrt2 / period;
        const double v = (p.x - p.y) / std::numbers::sqrt2 / period;
        const double across_u = (u - std::round(u)) * period;
        const double across_v = (v - std::round(v)) * period;
        const bool u_above = (static_cast<long>(std::round(u) + std::round(v)) & 1) == 0;
        const auto lay = [&](double across, double other) {
            const double shade = 1 - 0.55 * (across / slat) * (across / slat);
            // Near a crossing the lower slat lies in the shadow of the upper one.
            const double shadow = 0.35 * (1 - smooth((std::abs(other) - slat) / slat));
            paint.add(mix(hex(0x1E3A4C), hex(0xB9A47A), shade * (1 - shadow)),
                      coverage(std::abs(across) - slat));
        };
        lay(u_above ? across_v : across_u, u_above ? across_u : across_v);
        lay(u_above ? across_u : across_v, 2 * period);
    }

    double disc_radius() const { return 0.375 * unit_; }

    // The big disc: bars, ramps, steps and gratings in bands.
    void disc(Point p, int x, Paint& paint) const {
        const double radius = disc_radius();
        const double ring = std::max(1.0, 0.008 * unit_);
        paint.add(white, coverage(length(p) - radius));
        const double inside = coverage(length(p) - radius + ring);
        if (inside == 0) {
            return;
        }
        const double t = std::clamp((p.x + radius) / (2 * radius), 0.0, 1.0);  // left to right
        const double band = p.y / radius;                                      // -1 to 1
        paint.add(band_colour(band, t, p, x), inside);
    }

    Colour band_colour(double band, double t, Point p, int x) const {
        static constexpr std::array bars = {hex(0xFFFFFF), hex(0xFFFF00), hex(0x00FFFF),
                                            hex(0x00FF00), hex(0xFF00FF), hex(0xFF0000),
                                            hex(0x0000FF), hex(0x000000)};
        const double radius = disc_radius();
        if (band < -0.58) {
            return caption("TRELLIS", {p.x, p.y + 0.745 * radius}, hex(0x10222F), hex(0xF2E8CF));
        }
        if (band < -0.12) {
            return bars[std::min<std::size_t>(std::size_t(t * bars.size()), bars.size() - 1)];
        }
        if (band < 0.06) {
            return hue(0.97 * t);
        }
        if (band < 0.2) {
            return grey(t);
        }
        if (band < 0.36) {
            constexpr int steps = 11;
            return grey(std::min<double>(std::floor(t * steps), steps - 1) / (steps - 1));
        }
        if (band < 0.58) {
            return grating(t, x);
        }
        return caption(size_text_, {p.x, p.y - 0.745 * radius}, hex(0xF2E8CF), hex(0x10222F));
    }

    // Vertical lines, 1 to 6 pixels wide.
    static Colour grating(double t, int x) {
        const int lines = 1 + std::min(static_cast<int>(t * 6), 5);
        return (x / lines & 1) == 0 ? white : black;
    }

    Colour caption(std::string_view text, Point p, Colour ground, Colour ink) const {
        // As large as the disc allows there, in whole pixels.
        const double dots = 6.0 * double(text.size()) - 1;
        const double dot = std::max(1.0, std::floor(0.97 * disc_radius() / dots));
        return text_covers(text, {p.x / dot, p.y / dot}) ? ink : ground;
    }

    // At the sides of a wide chart, above and below the disc of a high one.
    Point along_long_side(Point p) const {
        return half_width_ >= half_height_ ? p : Point{p.y, p.x};
    }

    double strip_place() const { return std::max(half_width_, half_height_) - 0.135 * unit_; }

    // A matte that rises smoothly and one that rises in steps, side by side.
    void matte_ramps(Point p, Paint& paint) const {
        const Point q = along_long_side(p);
        const double half = 0.075 * unit_;
        const double across = q.x - strip_place();
        const double t = q.y / (0.44 * unit_) + 0.5;
        if (std::abs(across) > half || t < 0 || t >= 1) {
            return;
        }
        constexpr int steps = 6;
        const double matte = across < 0 ? 1 - t : 1 - std::floor(t * steps) / (steps - 1);
        paint.add(mix(hex(0xF28C28), hex(0xE63462), t), 1, matte);
    }

    void primary_ramps(Point p, Paint& paint) const {
        const Point q = along_long_side(p);
        const double half = 0.075 * unit_;
        const double across = (q.x + strip_place() + half) / (2 * half) * 3;
        const double t = 0.5 - q.y / (0.44 * unit_);
        if (across < 0 || across >= 3 || t <= 0 || t > 1) {
            return;
        }
        paint.add({across < 1 ? t : 0, across >= 1 && across < 2 ? t : 0, across >= 2 ? t : 0}, 1);
    }

    // Four discs of fine detail, all different, so that a flipped picture shows.
    void corners(Point p, int x, int y, Paint& paint) const {
        const double radius = 0.115 * unit_;
        const double inset = 0.155 * unit_;
        const Point q = {std::abs(p.x) - half_width_ + inset, std::abs(p.y) - half_height_ + inset};
        const double distance = length(q);
        if (distance > radius + 1) {
            return;
        }
        paint.add(white, coverage(distance - radius));
        const double inside = coverage(distance - radius + std::max(1.0, 0.006 * unit_));
        paint.add(p.y < 0 ? (p.x < 0 ? zone_plate(distance, radius) : star(q))
                          : (p.x < 0 ? checks(q, x, y) : noise(x, y)),
                  inside);
    }

    // Rings that are closest at the rim, at two pixels a ring.
    static Colour zone_plate(double distance, double radius) {
        return grey(0.5 + 0.5 * std::cos(std::numbers::pi / 2 * distance * distance / radius));
    }

    static Colour star(Point q) {
        constexpr int rays = 24;
        return std::sin(rays * std::atan2(q.y, q.x)) < 0 ? black : white;
    }

    // Checks of 1 and 2 pixels, and lines either way.
    static Colour checks(Point q, int x, int y) {
        if (q.x < 0) {
            return ((q.y < 0 ? x + y : x / 2 + y / 2) & 1) == 0 ? white : black;
        }
        return ((q.y < 0 ? x : y) & 1) == 0 ? white : black;
    }

    // Pixels without any order, the same in every chart: what no run-length code can shorten.
    static Colour noise(int x, int y) {
        unsigned int bits = unsigned(x) * 0x9E3779B1U ^ unsigned(y) * 0x85EBCA77U;
        bits = (bits ^ bits >> 15) * 0x2C1B3C6DU;
        bits = (bits ^ bits >> 12) * 0x297A2D39U;
        return hex((bits ^ bits >> 15) & 0xFFFFFF);
    }

    // Blocks along the edges, whose ends show a picture that was cut.
    void frame(int x, int y, Paint& paint) const {
        const double px = std::min(x + 0.5, 2 * half_width_ - x - 0.5);  // from the nearer edge
        const double py = std::min(y + 0.5, 2 * half_height_ - y - 0.5);
        if (std::min(px, py) > std::max(1.0, 0.016 * unit_)) {
            return;
        }
        const double block = std::max(2.0, unit_ / 24);
        const double along = px < py ? half_height_ - py : half_width_ - px;
        paint.add((std::lround(along / block) & 1) == 0 ? white : black, 1);
    }

    double half_width_;
    double half_height_;
    double unit_;  // the shorter side
    std::string size_text_;
};

std::uint8_t sample(double value) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}

}  // namespace

void draw_chart(host::Picture& cutout) {
    const Chart chart(cutout.width(), cutout.height());
    for (int y = 0; y < cutout.height(); ++y) {
        occaisional_update_progress_trellis_(static_cast<float>(y + 1) /
                                             static_cast<float>(cutout.height()));
        const int row = cutout.height() - 1 - y;
        for (int x = 0; x < cutout.width(); ++x) {
            const Paint paint = chart.at(x, y);
            std::uint8_t* pixel = cutout.colour_at(x, row);
            pixel[host::Picture::red] = sample(paint.colour.red);
            pixel[host::Picture::green] = sample(paint.colour.green);
            pixel[host::Picture::blue] = sample(paint.colour.blue);
            *cutout.matte_at(x, row) = sample(paint.matte);
        }
    }
}

}  // namespace tool
