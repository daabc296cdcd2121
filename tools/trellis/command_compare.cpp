#include <algorithm>
#include <cstdlib>

#include "commands.h"
#include "output.h"

namespace tool {

namespace {

struct Difference {
    std::uint64_t pixels = 0;
    int greatest = 0;  // of all samples

    /// Takes note of a pixel whose samples differ by at most `greatest_of_pixel`.
    void add(int greatest_of_pixel, int tolerance) {
        pixels += greatest_of_pixel > tolerance ? 1 : 0;
        greatest = std::max(greatest, greatest_of_pixel);
    }
};

template <class Sample>
Difference difference(const host::Picture& a, const host::Picture& b, int tolerance) {
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
        result.add(greatest, tolerance);
    }
    return result;
}

// Pictures of two depths are compared at the smaller one.
int common_depth(const std::string& a, const std::string& b) {
    return std::min(host::describe(a).format->depth, host::describe(b).format->depth);
}

bool compare_files(const std::string& file_a, const std::string& file_b, host::LoadOptions options,
                   int tolerance) {
    options.depth = common_depth(file_a, file_b);
    const host::Picture a = load_picture({file_a}, options);
    const host::Picture b = load_picture({file_b}, options);
    if (a.width() != b.width() || a.height() != b.height()) {
        print("sizes differ: %d x %d and %d x %d\n", a.width(), a.height(), b.width(), b.height());
        return false;
    }
    if (a.kind() != b.kind()) {
        print("kinds differ: %s and %s\n", host::kind_name(a.kind()), host::kind_name(b.kind()));
        return false;
    }
    const Difference found = a.depth() == 16 ? difference<std::uint16_t>(a, b, tolerance)
                                             : difference<std::uint8_t>(a, b, tolerance);
    if (found.pixels == 0) {
        return true;
    }
    print("pixels differ: %llu of %llu, by at most %d\n",
          static_cast<unsigned long long>(found.pixels),
          static_cast<unsigned long long>(a.pixels()), found.greatest);
    return false;
}

}  // namespace

bool compare(const Name& a, const Name& b, const host::LoadOptions& options, int tolerance) {
    return read_from(a, [&](const std::string& file_a) {
        return read_from(b, [&](const std::string& file_b) {
            return compare_files(file_a, file_b, options, tolerance);
        });
    });
}

}  // namespace tool
