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

template <class Sample>
Difference difference(const host::Picture& a, const host::Picture& b) {
    const auto sample = [](const std::uint8_t* buffer, std::uint64_t i) {
        return int{reinterpret_cast<const Sample*>(buffer)[i]};
    };
    const auto size = static_cast<std::uint64_t>(a.colour_samples());
    const auto first = static_cast<std::uint64_t>(a.first_colour());
    Difference result;
    for (std::uint64_t i = 0; i < a.pixels(); ++i) {
        int greatest = 0;
        for (std::uint64_t c = first; a.colour() != nullptr && c < size; ++c) {
            const std::uint64_t at = i * size + c;
            greatest =
                std::max(greatest, std::abs(sample(a.colour(), at) - sample(b.colour(), at)));
        }
        if (a.matte() != nullptr) {
            greatest = std::max(greatest, std::abs(sample(a.matte(), i) - sample(b.matte(), i)));
        }
        result.add(greatest);
    }
    return result;
}

// Pictures of two depths are compared at the smaller one.
int common_depth(const std::string& a, const std::string& b) {
    return std::min(host::describe(a).format->depth, host::describe(b).format->depth);
}

}  // namespace

bool compare(const std::string& file_a, const std::string& file_b,
             const host::LoadOptions& load_options) {
    host::LoadOptions options = load_options;
    options.depth = common_depth(file_a, file_b);
    const host::Picture a = load_picture(file_a, options);
    const host::Picture b = load_picture(file_b, options);
    if (a.width() != b.width() || a.height() != b.height()) {
        std::printf("sizes differ: %d x %d and %d x %d\n", a.width(), a.height(), b.width(),
                    b.height());
        return false;
    }
    if (a.kind() != b.kind()) {
        std::printf("kinds differ: %s and %s\n", host::kind_name(a.kind()),
                    host::kind_name(b.kind()));
        return false;
    }
    const Difference found =
        a.depth() == 16 ? difference<std::uint16_t>(a, b) : difference<std::uint8_t>(a, b);
    if (found.pixels == 0) {
        return true;
    }
    std::printf("pixels differ: %llu of %llu, by at most %d\n",
                static_cast<unsigned long long>(found.pixels),
                static_cast<unsigned long long>(a.pixels()), found.greatest);
    return false;
}

}  // namespace tool
