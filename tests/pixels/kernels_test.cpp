// Every table of kernels against the plain one, operation by operation. That the plain loops are
// right is seen where formats and conversions are tested, by way of the best table.

#include "pixels/kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <deque>

#include "pixels/fill.h"
#include "support/support.h"

namespace {

using namespace trellis::pixels;
using support::Bytes;
using u8 = std::uint8_t;
using u16 = std::uint16_t;

/// The rows of one call. Each is a block of its own that ends where the row does, so that the
/// address sanitizer sees the byte behind, and starts `offset` samples into it. All are compared.
class Rows {
  public:
    Rows(const Kernels& kernels, std::size_t count, std::size_t offset) : k(kernels), n(count), offset_(offset) {}

    /// Noise of the lowest bits of `range`.
    template <class Sample = u8>
    Sample* row(std::size_t samples, unsigned int range = 0xFFFF) {
        Bytes& block = blocks_.emplace_back((offset_ + samples) * sizeof(Sample));
        block.reserve(1);  // so that a row of none has a place, too
        auto* start = reinterpret_cast<Sample*>(block.data()) + offset_;
        for (std::size_t i = 0; i < samples; ++i) { start[i] = static_cast<Sample>(noise_.next() >> 8 & range); }
        return start;
    }
    void result(std::size_t value) { results_.push_back(value); }
    bool operator==(const Rows& other) const { return blocks_ == other.blocks_ && results_ == other.results_; }

    const Kernels& k;
    const std::size_t n;

  private:
    std::size_t offset_;
    support::Noise noise_{7};
    std::deque<Bytes> blocks_;
    std::vector<std::size_t> results_;
};

template <class Sample>
void join(Rows& r) {
    const auto& shapes = r.k.shapes<Sample>();
    shapes.join(r.row<Sample>(4 * r.n), r.row<Sample>(r.n), r.row<Sample>(4 * r.n), r.n);
    shapes.join(r.row<Sample>(4 * r.n), nullptr, r.row<Sample>(4 * r.n), r.n);
    auto* in_place = r.row<Sample>(4 * r.n);
    shapes.join(in_place, r.row<Sample>(r.n), in_place, r.n);
}

template <class Sample>
void extract_colours(Rows& r) {
    const auto& shapes = r.k.shapes<Sample>();
    shapes.extract_colours(r.row<Sample>(4 * r.n), r.row<Sample>((sizeof(Sample) == 1 ? 4 : 3) * r.n), r.n);
    auto* in_place = r.row<Sample>(4 * r.n);
    shapes.extract_colours(in_place, in_place, r.n);
}

/// Colours by chance, neutral ones with few others among them and none, and whole greys.
void colour_to_mask(Rows& r) {
    for (const int coloured : {256, 128, 8, 0, -1}) {
        u8* colour = r.row(4 * r.n);
        for (std::size_t i = 0; i < 4 * r.n; ++i) {
            if (coloured < 0) {
                colour[i] = static_cast<u8>(colour[i] % 3 * 100);
            } else if (colour[i / 4 * 4] >= coloured) {
                colour[i] = colour[i / 4 * 4];
            }
        }
        r.k.bytes.colour_to_mask(colour, r.row(r.n), r.n);
    }
}

/// Calls `body` with each choice of two buffers, of which either may be missing.
template <class Sample, class Body>
void each_pair(Rows& r, std::size_t colour, Body body) {
    for (int given = 0; given < 4; ++given) {
        body((given & 1) != 0 ? r.row<Sample>(colour * r.n) : nullptr, (given & 2) != 0 ? r.row<Sample>(r.n) : nullptr);
    }
}

void unpack_film(Rows& r) {
    for (std::size_t i = 1; i < film_layout_count; ++i) {
        const auto layout = static_cast<FilmLayout>(i);
        for (const FilmCodes codes : {FilmCodes::kept, FilmCodes::scaled}) {
            each_pair<u16>(r, 3, [&](u16* colour, u16* matte) {
                r.k.unpack_film(layout, codes, r.row(pixel_size(layout) * r.n), r.n, colour, matte);
            });
        }
    }
}

void pack_film(Rows& r) {
    for (const FilmLayout layout : {FilmLayout::mask10, FilmLayout::colour10, FilmLayout::cutout10}) {
        each_pair<u16>(r, 3, [&](const u16* colour, const u16* matte) {
            r.k.pack_film(layout, colour, matte, r.n, r.row(pixel_size(layout) * r.n));
        });
    }
}

void store_planes(Rows& r) {
    const std::size_t rows = 3;
    const std::size_t pitch = r.n + 2;
    const auto plane = [&] { return r.row((rows - 1) * pitch + r.n); };
    for (int given = 0; given < 4; ++given) {
        const auto buffer = [&](std::size_t size, bool wanted) {
            return ByteRows{wanted ? r.row(size * ((rows - 1) * pitch + r.n)) : nullptr,
                            static_cast<std::ptrdiff_t>(size * pitch)};
        };
        r.k.store_planes({plane(), plane(), plane(), plane(), pitch}, r.n, rows, buffer(4, (given & 1) != 0),
                         buffer(1, (given & 2) != 0));
    }
}

void transpose(Rows& r) {
    for (const std::size_t columns : {1U, 4U, 18U}) {
        for (std::size_t size = 1; size <= 8; ++size) {
            const auto pitch = static_cast<std::ptrdiff_t>(size * r.n);
            u8* to = r.row(size * r.n * columns);
            u8* last = to + pitch * static_cast<std::ptrdiff_t>(columns - 1);
            r.k.transpose(size, r.row(size * r.n * columns), static_cast<std::ptrdiff_t>(size * columns), last, -pitch,
                          r.n, columns);
        }
    }
}

/// Among few values and among many.
template <std::size_t (*Kernels::*find)(const u8*, std::size_t, Run*), std::size_t size>
void find_runs(Rows& r) {
    for (const unsigned int range : {0U, 1U, 3U, 255U}) {
        Bytes row(size * r.n);
        const u8* values = r.row(r.n, range);
        for (std::size_t i = 0; i < row.size(); ++i) { row[i] = i % size == r.n % size ? values[i / size] : u8{7}; }
        std::vector<Run> runs(room_for_runs(r.n));
        const std::size_t found = (r.k.*find)(row.data(), r.n, runs.data());
        r.result(found);
        for (std::size_t i = 0; i < found; ++i) { r.result(runs[i].begin), r.result(runs[i].end); }
    }
}

void find_run_end(Rows& r) {
    for (const unsigned int range : {0U, 1U, 3U}) {
        const u8* bytes = r.row(r.n, range);
        for (std::size_t from = 0; from < r.n; ++from) { r.result(r.k.find_run_end(bytes, from, r.n, bytes[from])); }
    }
}

/// Short packets and long ones, in too little room and in enough.
void decode_packets(Rows& r) {
    for (const unsigned int range : {0x83U, 0xA7U, 0xFFU}) {
        for (const std::size_t room : {r.n / 2, r.n, 3 * r.n}) {
            u8* bytes = r.row(room);
            const Decoded done = r.k.decode_packets(r.row(r.n, range), r.n, bytes, room);
            r.result(done.read), r.result(done.written);
            std::fill(bytes + done.written, bytes + room, u8{0});
        }
    }
}

const struct {
    const char* name;
    void (*run)(Rows& r);
} operations[] = {
    {"join", join<u8>},
    {"join, 16 bits", join<u16>},
    {"extract_colours", extract_colours<u8>},
    {"extract_colours, 16 bits", extract_colours<u16>},
    {"extract_matte", [](Rows& r) { r.k.bytes.extract_matte(r.row(4 * r.n), r.row(r.n), r.n); }},
    {"extract_matte, 16 bits", [](Rows& r) { r.k.words.extract_matte(r.row<u16>(4 * r.n), r.row<u16>(r.n), r.n); }},
    {"insert_matte", [](Rows& r) { r.k.bytes.insert_matte(r.row(r.n), r.row(4 * r.n), r.n); }},
    {"insert_matte, 16 bits", [](Rows& r) { r.k.words.insert_matte(r.row<u16>(r.n), r.row<u16>(4 * r.n), r.n); }},
    {"colour_to_mask", colour_to_mask},
    {"colour_to_mask, 16 bits", [](Rows& r) { r.k.words.colour_to_mask(r.row<u16>(3 * r.n), r.row<u16>(r.n), r.n); }},
    {"mask_to_colour", [](Rows& r) { r.k.bytes.mask_to_colour(r.row(r.n), r.row(4 * r.n), r.n); }},
    {"mask_to_colour, 16 bits", [](Rows& r) { r.k.words.mask_to_colour(r.row<u16>(r.n), r.row<u16>(3 * r.n), r.n); }},
    {"widen", [](Rows& r) { r.k.widen(r.row(r.n), r.row<u16>(r.n), r.n); }},
    {"narrow", [](Rows& r) { r.k.narrow(r.row<u16>(r.n), r.row(r.n), r.n); }},
    {"widen_colours", [](Rows& r) { r.k.widen_colours(r.row(4 * r.n), r.row<u16>(3 * r.n), r.n); }},
    {"narrow_colours", [](Rows& r) { r.k.narrow_colours(r.row<u16>(3 * r.n), r.row(4 * r.n), r.n); }},
    {"widen_mattes", [](Rows& r) { r.k.widen_mattes(r.row(4 * r.n), r.row<u16>(r.n), r.n); }},
    {"unpremultiply", [](Rows& r) { r.k.unpremultiply(r.row(4 * r.n), r.n); }},
    {"premultiply", [](Rows& r) { r.k.premultiply(r.row(4 * r.n), r.n); }},
    {"expand",
     [](Rows& r) {
         for (const std::size_t first : {0U, 1U}) { r.k.expand(r.row(3 * r.n), first, r.row(4 * r.n), r.n); }
     }},
    {"pack",
     [](Rows& r) {
         for (const std::size_t first : {0U, 1U}) { r.k.pack(r.row(4 * r.n), first, r.row(3 * r.n), r.n); }
     }},
    {"store_reversed",
     [](Rows& r) {
         each_pair<u8>(r, 4, [&](u8* colour, u8* matte) {
             r.k.store_reversed(r.row(4 * r.n), colour, matte, r.row(4 * r.n), r.n);
         });
     }},
    {"gather_reversed",
     [](Rows& r) {
         each_pair<u8>(r, 4, [&](const u8* colour, const u8* matte) {
             r.k.gather_reversed(colour, matte, r.row(4 * r.n), r.row(4 * r.n), r.n);
         });
     }},
    {"extract_plane",
     [](Rows& r) {
         for (std::size_t byte = 0; byte < 4; ++byte) { r.k.extract_plane(r.row(4 * r.n), byte, r.row(r.n), r.n); }
     }},
    {"join_planes",
     [](Rows& r) {
         each_pair<u8>(r, 1, [&](const u8* alpha, const u8* blue) {
             r.k.join_planes({alpha, blue, r.row(r.n), r.row(r.n), r.n}, r.row(4 * r.n), r.n);
         });
     }},
    {"store_planes", store_planes},
    {"unpack_film", unpack_film},
    {"pack_film", pack_film},
    {"transpose", transpose},
    {"find_byte_runs", find_runs<&Kernels::find_byte_runs, 1>},
    {"find_pixel_runs", find_runs<&Kernels::find_pixel_runs, 4>},
    {"find_run_end", find_run_end},
    {"decode_packets", decode_packets},
};

static_assert(std::size(operations) + 1 == sizeof(Kernels) / sizeof(void*), "each operation of the table has its case");

TEST(Kernels, EveryTableDoesWhatThePlainOneDoes) {
    std::string compared;
    const Kernels& plain = *back_ends().front();
    for (const Kernels* kernels : back_ends()) {
        compared += std::string(" ") + kernels->name;
        for (const auto& operation : operations) {
            for (std::size_t i = 0; i <= 69 * 3; ++i) {
                // More than two of the pieces that long rows are handled in, too.
                const std::size_t count = i / 3 <= 67 ? i / 3 : i / 3 * 31 + 5;
                Rows expected(plain, count, i % 3);
                Rows got(*kernels, count, i % 3);
                operation.run(expected);
                operation.run(got);
                ASSERT_TRUE(expected == got) << kernels->name << ": " << operation.name << " of " << count;
            }
        }
    }
    std::printf("compared:%s\n", compared.c_str());
#if defined(__x86_64__) || defined(__i386__)
    EXPECT_EQ(compared, __builtin_cpu_supports("avx2") ? " plain avx2" : " plain");
#elif defined(__aarch64__)
    EXPECT_EQ(compared, " plain neon");
#else
    EXPECT_EQ(compared, " plain");
#endif
    EXPECT_EQ(&kernels(), back_ends().back()) << "the best is in use";
}

TEST(Kernels, FillKeepsToItsCount) {
    for (std::size_t count = 0; count < 12; ++count) {
        std::uint32_t filled[13] = {};
        fill(filled, count, 0x01020304U);
        for (std::size_t x = 0; x < 13; ++x) { EXPECT_EQ(filled[x], x < count ? 0x01020304U : 0) << count; }
    }
}

}  // namespace
