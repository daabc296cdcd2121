#include "trellis/view.hpp"

#include <algorithm>
#include <cmath>
#include <vector>

namespace trellis::host {

namespace {

// What a screen shows of a film code, from 0 to 1.
double seen(double code) {
    constexpr double white = 685;
    constexpr double black = 95;
    constexpr double densities_a_code = 0.002;
    constexpr double contrast = 0.6;
    constexpr double screen = 2.2;
    const auto light = [](double of_code) {
        return std::pow(10, (of_code - white) * densities_a_code / contrast);
    };
    const double above_black = (light(code) - light(black)) / (1 - light(black));
    return std::pow(std::clamp(above_black, 0.0, 1.0), 1 / screen);
}

template <class Sample>
void view_log_samples(Picture& picture) {
    constexpr int greatest_code = 1023;
    const int most = picture.greatest_sample();
    std::vector<Sample> table(std::size_t(most) + 1);
    for (std::size_t i = 0; i < table.size(); ++i) {
        table[i] = static_cast<Sample>(std::lround(seen(double(i) * greatest_code / most) * most));
    }
    const auto size = static_cast<std::size_t>(picture.colour_samples());
    auto* samples = reinterpret_cast<Sample*>(picture.colour());
    for (std::uint64_t i = 0; i < picture.pixels(); ++i) {
        for (std::size_t c = size - 3; c < size; ++c) {
            Sample& sample = samples[i * size + c];
            sample = table[std::min<std::size_t>(sample, table.size() - 1)];
        }
    }
}

/// A sample of a picture in the range that a program knows, to the nearest; 14 bits become 16 as in
/// all of our files, by their first two once more at the end.
template <class To>
To shown(unsigned int sample, unsigned int most) {
    constexpr unsigned int to_most = static_cast<To>(-1);
    if constexpr (to_most == 65535) {
        if (most == 16383) {
            return static_cast<To>(sample << 2 | sample >> 12);
        }
    }
    return static_cast<To>((sample * to_most + most / 2) / most);
}

template <class From>
From stored(From sample) {
    return sizeof sample == 1 ? sample : static_cast<From>(sample >> 2);
}

std::size_t first_of_row(const Picture& picture, int row) {
    return std::size_t(picture.height() - 1 - row) * std::size_t(picture.width());
}

template <class Sample, class To>
void get_samples(const Picture& picture, int row, To* to) {
    const auto most = static_cast<unsigned int>(picture.greatest_sample());
    const auto size = static_cast<std::size_t>(picture.colour_samples());
    const auto* colour = reinterpret_cast<const Sample*>(picture.colour());
    const auto* matte = reinterpret_cast<const Sample*>(picture.matte());
    const std::size_t first = first_of_row(picture, row);
    for (std::size_t i = first; i < first + std::size_t(picture.width()); ++i) {
        for (std::size_t c = 1; colour != nullptr && c <= 3; ++c) {
            *to++ = shown<To>(colour[i * size + size - c], most);
        }
        if (matte != nullptr) {
            *to++ = shown<To>(matte[i], most);
        }
    }
}

template <class Sample>
void set_samples(Picture& picture, int row, const Sample* from) {
    const auto size = static_cast<std::size_t>(picture.colour_samples());
    auto* colour = reinterpret_cast<Sample*>(picture.colour());
    auto* matte = reinterpret_cast<Sample*>(picture.matte());
    const std::size_t first = first_of_row(picture, row);
    for (std::size_t i = first; i < first + std::size_t(picture.width()); ++i) {
        for (std::size_t c = 1; colour != nullptr && c <= 3; ++c) {
            colour[i * size + size - c] = stored(*from++);
        }
        if (matte != nullptr) {
            matte[i] = stored(*from++);
        }
    }
}

template <class To>
void get_any_samples(const Picture& picture, int row, To* to) {
    if (picture.has_words()) {
        get_samples<std::uint16_t>(picture, row, to);
    } else {
        get_samples<std::uint8_t>(picture, row, to);
    }
}

}  // namespace

void view_log(Picture& picture) {
    if (picture.colour() == nullptr) {
        return;
    }
    if (picture.has_words()) {
        view_log_samples<std::uint16_t>(picture);
    } else {
        view_log_samples<std::uint8_t>(picture);
    }
}

int samples_of_row(const Picture& picture) {
    return (picture.colour() != nullptr ? 3 : 0) + (picture.matte() != nullptr ? 1 : 0);
}

void get_row(const Picture& picture, int row, std::uint8_t* to) {
    get_any_samples(picture, row, to);
}

void get_row(const Picture& picture, int row, std::uint16_t* to) {
    get_any_samples(picture, row, to);
}

void set_row(Picture& picture, int row, const std::uint8_t* from) {
    set_samples(picture, row, from);
}

void set_row(Picture& picture, int row, const std::uint16_t* from) {
    set_samples(picture, row, from);
}

}  // namespace trellis::host
