#include <algorithm>
#include <array>
#include <vector>

#include "trellis/errors.h"
#include "trellis/view.hpp"

namespace trellis::host {

namespace {

// Colours and matte of a pixel, or of an area, each times the area that it stands for. Colours of a
// cutout are also times their matte.
using Sums = std::array<double, 4>;
constexpr std::size_t matte_sum = 3;

/// A pixel of one row and how much of a pixel of another row it covers. The picture is as wide as
/// both pixel numbers multiplied, so that both have edges at whole numbers.
template <class Cover>
void for_each_overlap(int index, int count, int other_count, Cover cover) {
    const std::int64_t begin = std::int64_t{index} * other_count;
    const std::int64_t end = begin + other_count;
    for (std::int64_t other = begin / count; other * count < end; ++other) {
        const std::int64_t from = std::max(begin, other * count);
        const std::int64_t to = std::min(end, (other + 1) * count);
        cover(static_cast<std::size_t>(other), static_cast<double>(to - from));
    }
}

/// Makes a picture smaller, or larger, from its rows.
class Scaler {
  public:
    Scaler(Extent from, const Picture& like, Extent to)
        : from_(from),
          line_(static_cast<std::size_t>(to.width)),
          sums_(line_.size()),
          result_(like.kind(), to.width, to.height, like.depth()) {
        for (int x = 0; x < from.width; ++x) {
            for_each_overlap(x, from.width, to.width, [&](std::size_t column, double share) {
                shares_.push_back({x, column, share});
            });
        }
    }

    /// The next rows, upward.
    void add(const Picture& band) {
        for (int row = 0; row < band.height(); ++row) {
            if (band.has_words()) {
                add_row<std::uint16_t>(band, row);
            } else {
                add_row<std::uint8_t>(band, row);
            }
        }
    }

    Picture take() { return std::move(result_); }

  private:
    template <class Sample>
    void add_row(const Picture& band, int row) {
        std::fill(line_.begin(), line_.end(), Sums{});
        for (const Share& share : shares_) {
            const Sums pixel = pixel_of<Sample>(band, share.from, row);
            Sums& sums = line_[share.to];
            for (std::size_t c = 0; c < pixel.size(); ++c) {
                sums[c] += share.size * pixel[c];
            }
        }
        for_each_overlap(rows_, from_.height, result_.height(), [&](std::size_t to, double share) {
            for (std::size_t x = 0; x < line_.size(); ++x) {
                for (std::size_t c = 0; c < line_[x].size(); ++c) {
                    sums_[x][c] += share * line_[x][c];
                }
            }
            const auto end_of_row = (std::int64_t(to) + 1) * from_.height;
            if (end_of_row <= (std::int64_t{rows_} + 1) * result_.height()) {
                store<Sample>(to);
                std::fill(sums_.begin(), sums_.end(), Sums{});
            }
        });
        ++rows_;
    }

    template <class Sample>
    static Sums pixel_of(const Picture& picture, int x, int y) {
        const auto index =
            std::size_t(y) * std::size_t(picture.width()) + static_cast<std::size_t>(x);
        Sums sums = {0, 0, 0, 1};
        if (picture.matte() != nullptr) {
            sums[matte_sum] = reinterpret_cast<const Sample*>(picture.matte())[index];
        }
        if (picture.colour() != nullptr) {
            const Sample* colour = reinterpret_cast<const Sample*>(picture.colour()) +
                                   index * std::size_t(picture.colour_samples()) +
                                   picture.first_colour();
            for (std::size_t c = 0; c < matte_sum; ++c) {
                sums[c] = colour[c] * sums[matte_sum];
            }
        }
        return sums;
    }

    template <class Sample>
    void store(std::size_t row) {
        const auto rounded = [](double value) { return static_cast<Sample>(value + 0.5); };
        const double area = double(from_.width) * double(from_.height);
        for (std::size_t x = 0; x < sums_.size(); ++x) {
            const std::size_t index = row * sums_.size() + x;
            const double opacity = sums_[x][matte_sum];
            if (result_.matte() != nullptr) {
                reinterpret_cast<Sample*>(result_.matte())[index] = rounded(opacity / area);
            }
            if (result_.colour() != nullptr && opacity > 0) {
                Sample* colour = reinterpret_cast<Sample*>(result_.colour()) +
                                 index * std::size_t(result_.colour_samples()) +
                                 result_.first_colour();
                for (std::size_t c = 0; c < matte_sum; ++c) {
                    colour[c] = rounded(sums_[x][c] / opacity);
                }
            }
        }
    }

    // How much of a column of the picture goes to one of the result.
    struct Share {
        int from;
        std::size_t to;
        double size;
    };

    Extent from_;
    std::vector<Share> shares_;
    int rows_ = 0;            // of the picture, so far
    std::vector<Sums> line_;  // of one row of the picture, as wide as the result
    std::vector<Sums> sums_;  // of the rows of the picture that one row of the result covers
    Picture result_;
};

Region region_of(const std::string& path, const LoadOptions& options) {
    if (options.region) {
        return *options.region;
    }
    const Description info = describe(path);
    return {0, 0, info.width - 1, info.height - 1};
}

Extent extent_of(const Region& region) {
    return {region.x1 - region.x0 + 1, region.y1 - region.y0 + 1};
}

}  // namespace

Extent fitted(Extent picture, Extent box) {
    if (picture.width <= box.width && picture.height <= box.height) {
        return picture;
    }
    const auto part = [](int size, int numerator, int denominator) {
        const auto exact = std::int64_t{size} * numerator;
        return static_cast<int>(std::max<std::int64_t>(1, (exact + denominator / 2) / denominator));
    };
    const bool wide =
        std::int64_t{picture.width} * box.height >= std::int64_t{picture.height} * box.width;
    return wide ? Extent{box.width, part(picture.height, box.width, picture.width)}
                : Extent{part(picture.width, box.height, picture.height), box.height};
}

Picture scaled(const Picture& picture, Extent extent) {
    const Extent from = {picture.width(), picture.height()};
    Scaler scaler(from, picture, extent);
    scaler.add(picture);
    return scaler.take();
}

Picture load_scaled(const std::string& path, Extent extent, const LoadOptions& options) try {
    // Enough for a frame of film at once: each band opens the file again.
    constexpr std::int64_t band_pixels = 16'000'000;
    const Region all = region_of(path, options);
    const Extent from = extent_of(all);
    if (from == extent) {
        return load(path, options);
    }
    const auto rows = static_cast<int>(
        std::clamp<std::int64_t>(band_pixels / std::max(from.width, 1), 1, 1 << 24));
    std::optional<Scaler> scaler;
    std::vector<std::string> warnings;
    LoadOptions band_options = options;
    int y = all.y0;
    do {
        band_options.region = {all.x0, y, all.x1, std::min(all.y1, y + rows - 1)};
        const Picture band = load(path, band_options);
        if (!scaler) {
            scaler.emplace(from, band, extent);
        }
        scaler->add(band);
        warnings = band.warnings();
        y += rows;
    } while (y <= all.y1);
    Picture picture = scaler->take();
    for (std::string& warning : warnings) {
        picture.add_warning(std::move(warning));
    }
    return picture;
} catch (const std::bad_alloc&) {
    throw Error(path, TRELLIS_ALLOCATION_ERROR);
}

Picture load_fitted(const std::string& path, Extent box, const LoadOptions& options) {
    return load_scaled(path, fitted(extent_of(region_of(path, options)), box), options);
}

}  // namespace trellis::host
