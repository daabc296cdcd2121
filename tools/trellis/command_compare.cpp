#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "commands.h"

namespace tool {

namespace {

struct Difference {
    std::uint64_t pixels = 0;
    int greatest = 0;  // of all samples

    /// Takes note of a pixel whose samples differ by at most `greatest_of_pixel`.
    void add(int greatest_of_pixel) {
        pixels += greatest_of_pixel != 0 ? 1 : 0;
        greatest = std::max(greatest, greatest_of_pixel);
    }
};

Difference difference(const Picture& a, const Picture& b) {
    Difference result;
    for (std::uint64_t i = 0; i < a.pixels(); ++i) {
        int greatest = 0;
        if (a.colour() != nullptr) {
            const std::uint8_t* colour_a = a.colour() + i * Picture::colour_size;
            const std::uint8_t* colour_b = b.colour() + i * Picture::colour_size;
            for (const auto channel : {Picture::blue, Picture::green, Picture::red}) {
                greatest = std::max(greatest, std::abs(colour_a[channel] - colour_b[channel]));
            }
        }
        if (a.matte() != nullptr) {
            greatest = std::max(greatest, std::abs(a.matte()[i] - b.matte()[i]));
        }
        result.add(greatest);
    }
    return result;
}

}  // namespace

bool compare(const std::string& file_a, const std::string& file_b, const LoadOptions& load) {
    const Picture a = load_picture(file_a, load);
    const Picture b = load_picture(file_b, load);
    if (a.width() != b.width() || a.height() != b.height()) {
        std::printf("sizes differ: %d x %d and %d x %d\n", a.width(), a.height(), b.width(),
                    b.height());
        return false;
    }
    if (a.kind() != b.kind()) {
        std::printf("kinds differ: %s and %s\n", kind_name(a.kind()), kind_name(b.kind()));
        return false;
    }
    const Difference found = difference(a, b);
    if (found.pixels == 0) {
        return true;
    }
    std::printf("pixels differ: %llu of %llu, by at most %d\n",
                static_cast<unsigned long long>(found.pixels),
                static_cast<unsigned long long>(a.pixels()), found.greatest);
    return false;
}

}  // namespace tool
