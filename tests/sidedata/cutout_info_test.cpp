// The cutout-information file.

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <climits>
#include <filesystem>

#include "trellis/trellis.h"

#include "support/support.h"

namespace {

using support::Bytes;
using support::le;
using support::operator+;

// The numbers of a file in its order: eleven fields, reals as bits, and the one after the outline.
using Words = std::array<unsigned int, 12>;
const Words words = {100,        50,         0xFFFFFFFD, 0x04010203, 0x3F800000, 0xC0200000,
                     0x7FC00001, 0x80000000, 0x05010203, 0x06010203, 5,          0x80000007};
const Bytes outline = support::hex("F1 F2 F3 F4 F5");

Bytes file(const std::string& name, const Bytes& outline_bytes) {
    Bytes bytes = le(0, 4) + le(1, 4) + le(name.size() + 1, 4) + Bytes(name.begin(), name.end());
    bytes.push_back(0);
    for (std::size_t i = 0; i < 10; ++i) { bytes = bytes + le(words[i], 4); }
    return bytes + le(outline_bytes.size(), 4) + outline_bytes + le(words[11], 4);
}

// The host's variables and its room for an outline.
struct Host {
    Words words = {16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 0, 27};
    Bytes outline = Bytes(48, 0xA5);
};

enum Call { load, size };

int run(Call call, const std::string& name, Host& host) {
    unsigned int* w = host.words.data();
    auto* r = reinterpret_cast<float*>(w + 4);
    const trellis_size_cut_fn size_fn = size_cutout_info_trellis;
    return call == size
               ? size_fn(name.c_str(), w, w + 1, w + 2, w + 3, r, r + 1, r + 2, r + 3, w + 9, w + 10, nullptr, w + 11)
               : load_cutout_info_trellis(name.c_str(), w, w + 1, w + 2, w + 3, r, r + 1, r + 2, r + 3, w + 8, w + 9,
                                          w + 10, host.outline.data(), nullptr, w + 11);
}

TEST(CutoutInfo, SavedByteForByte) {
    const support::TempDir dir;
    const std::string name = dir.path("a.pic");
    const auto save = [](const char* to, std::size_t outline_size, const void* bytes) {
        return save_cutout_info_trellis(to, 100, 50, -3, 0x04010203, 1.0F, -2.5F, std::bit_cast<float>(0x7FC00001),
                                        -0.0F, 0x05010203, 0x06010203, static_cast<int>(outline_size), bytes, nullptr,
                                        INT_MIN + 7);
    };
    for (const Bytes& bytes : {outline, Bytes(100000, 0x33), Bytes()}) {
        EXPECT_EQ(save(name.c_str(), bytes.size(), bytes.data()), 0);
        EXPECT_EQ(support::contents(name + ".cinfo"), file(name, bytes));
    }
    EXPECT_EQ(save(nullptr, 0, nullptr), 6);
    EXPECT_EQ(save(dir.path("none/a").c_str(), 0, nullptr), 6);
    EXPECT_EQ(save(dir.path("new").c_str(), static_cast<std::size_t>(-1), outline.data()), 8);
    EXPECT_EQ(save(dir.path("new").c_str(), 1, nullptr), 8);
    EXPECT_FALSE(support::exists(dir.path("new.cinfo")));
    std::filesystem::create_symlink("/dev/full", dir.path("full.cinfo"));
    EXPECT_EQ(save(dir.path("full").c_str(), 0, nullptr), 2);
    EXPECT_EQ(support::codes_without_memory([&] { return save(name.c_str(), 0, nullptr); }),
              (std::vector<int>{3, 3, 0}));
    Host host;
    EXPECT_EQ(support::codes_without_memory([&] { return run(load, name, host); }), (std::vector<int>{3, 3, 3, 0}));
    for (const int type : {-1, 0, 1, 2}) { EXPECT_EQ(format_cutout_info_trellis(type), type == 1); }
}

TEST(CutoutInfo, LoadedAsFarAsTheFileGoes) {
    const support::TempDir dir;
    const Bytes whole = file("ab", outline);
    unsigned char unused[40];
    float centre[1];
    const std::string capture = support::start_capture();
    for (int length = -1; length <= static_cast<int>(whole.size()); ++length) {  // −1: no file
        if (length >= 0) { dir.file("ab.cinfo", {whole.begin(), whole.begin() + length}); }
        for (unsigned int i = 0; i < 6; ++i) {
            const Call call = i % 2 == 0 ? load : size;
            Host host;
            host.words[10] = std::array{0U, 12U, 0x80000000U}[i / 2];
            Host expected = host;
            int end = 15;
            for (std::size_t k = 0; k < 12; ++k) {
                end += k == 11 ? 4 + 5 : 4;
                if (length >= end && (k != 8 || call != size)) { expected.words[k] = words[k]; }
            }
            if (static_cast<int>(expected.words[10]) < 1) {
                expected.words[10] = 40;
                set_default_cutout_outline(call == load ? expected.outline.data() : unused, 0, 0,
                                           static_cast<int>(expected.words[0]), static_cast<int>(expected.words[1]),
                                           centre, centre);
            } else if (length >= 15 + 44 + 5 && call == load) {
                support::put(expected.outline, 0, outline);
            }
            const int code = length < 0 ? 6 : length < static_cast<int>(whole.size()) ? 1 : 0;
            EXPECT_EQ(run(call, dir.path("ab"), host), code);
            EXPECT_EQ(host.words, expected.words) << length << ' ' << call;
            EXPECT_EQ(host.outline, expected.outline) << length << ' ' << call;
        }
    }
    EXPECT_EQ(support::end_capture(capture), "") << "no version, no warning";
}

TEST(CutoutInfo, LengthsAndVersions) {
    const support::TempDir dir;
    const std::string warning = "Warning: Newer cutout info version ";
    const struct {
        std::size_t at;  // where the file is changed to each of the values
        std::vector<unsigned int> values;
        int code;
        unsigned int outline_size, last;  // as the host gets them
        std::string printed = "";
    } cases[] = {
        {0, {1, 0xFFFFFFFF}, 0, 5, words[11]},
        {4, {2}, 0, 5, words[11], warning + "2\n"},
        {4, {0x80000000}, 0, 5, words[11], warning + "-2147483648\n"},
        {8, {57, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF}, 1, 40, 27},
        // Without an outline its bytes are taken for the last number.
        {55, {0, 0x80000000, 0xFFFFFFFF}, 0, 40, 0xF4F3F2F1},
        {55, {9}, 1, 9, 27},
        {55, {0x7FFFFFFF}, 1, 0x7FFFFFFF, 27},
    };
    for (const auto& c : cases) {
        for (const unsigned int value : c.values) {
            Bytes changed = file("ab", outline);
            support::put(changed, c.at, le(value, 4));
            dir.file("ab.cinfo", changed);
            Host host;
            int code = -1;
            const auto load_it = [&] { code = run(load, dir.path("ab"), host); };
            EXPECT_EQ(support::printed([&] { EXPECT_LT(support::memory_of(load_it), 100000U); }), c.printed);
            EXPECT_EQ(code, c.code) << c.at << ": " << value;
            EXPECT_EQ(host.words[10], c.outline_size) << c.at << ": " << value;
            EXPECT_EQ(host.words[11], c.last) << c.at << ": " << value;
        }
    }
}

}  // namespace
