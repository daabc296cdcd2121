// Error messages, settings, byte-order helpers, files, file helpers and the last-header buffer.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <tuple>

#include "trellis/trellis.h"

#include "frame/file.h"
#include "support/support.h"

namespace {

using support::Bytes;

TEST(Errors, MessagesByCode) {
    for (const auto& [code, message] : {std::pair{0, "No error trellis"},
                                        {1, "Read error in trellis"},
                                        {20, "Bad Magic: Incorrect file format in trellis"},
                                        {39, "SMPTE: format not ACADEMY, CINEMASCOPE, SUPER35 or VISTAVISION"},
                                        {49, "Header buffer not long enough"},
                                        {64, "Internal QUIRE error: see console"},
                                        {65, "Unknown error number in trellis"},
                                        {-1, "Unknown error number in trellis"}}) {
        EXPECT_STREQ(err_msg_string_pic(static_cast<unsigned int>(code)), message) << code;
    }
}

using Get = int (*)();

template <int (*set)(const int*)>
int by_reference(int value) {
    return set(&value);
}
template <void (*set)(const int*)>
int by_reference(int value) {
    set(&value);
    return 0;
}
template <void (*set)(int)>
int by_value(int value) {
    set(value);
    return 0;
}

// Words that store what they are given: every setter of one is seen by every query of it.
TEST(Settings, PlainWords) {
    const struct {
        const char* name;
        int initial;
        std::vector<int (*)(int)> setters;
        std::vector<Get> queries;
        int result = 0;  // of the setters
    } words[] = {
        {"buffer type", 0, {by_value<set_buffer_type_trellis>}, {inq_buffer_type_trellis}},
        {"progress interval",
         30,
         {by_reference<set_progress_interval_trellis_>, by_reference<set_progress_interval_gauge_>},
         {inq_progress_interval_trellis_, inq_progress_interval_gauge_},
         1},
        {"JPEG quality", 90, {by_value<set_jpeg_quality_trellis_>}, {inq_jpeg_quality_trellis_}},
        {"escape test", 1, {by_value<set_test_esc_during_load_trellis_>}, {inq_test_esc_during_load_trellis_}},
        {"save minipics",
         1,
         {by_value<set_save_minipics_trellis>, by_reference<set_save_minipics_trellis_>},
         {inq_save_minipics_trellis, inq_save_minipics_trellis_}},
        {"auto-detect", 0, {by_value<set_auto_detect_minis_trellis_>}, {inq_auto_detect_minis_trellis_}},
        {"no extension check",
         0,
         {by_value<set_noextchk_trellis>, by_reference<set_noextchk_trellis_>},
         {inq_noextchk_trellis, inq_noextchk_trellis_}},
        {"match no information",
         0,
         {by_value<set_match_noinfo_trellis>, by_reference<set_match_noinfo_trellis_>},
         {inq_match_noinfo_trellis, inq_match_noinfo_trellis_}},
        {"last error", 0, {by_value<set_last_error_trellis>}, {inq_last_error_trellis}},
    };
    for (const auto& word : words) {
        for (const Get query : word.queries) { EXPECT_EQ(query(), word.initial) << word.name; }
        int value = -4;
        for (const auto set : word.setters) {
            EXPECT_EQ(set(value), word.result);
            for (const Get query : word.queries) { EXPECT_EQ(query(), value) << word.name; }
            value += 1007;
        }
        word.setters[0](word.initial);
    }
    clear_last_error_trellis();
    const float gamma = 1.5F;
    EXPECT_FLOAT_EQ(rinq_default_gamma_trellis_(), 2.2F);
    set_default_gamma_trellis_(&gamma);
    EXPECT_EQ(rinq_default_gamma_trellis_(), 1.5F);
    EXPECT_EQ(inq_apply_user_lut_trellis_(), 0);
    EXPECT_EQ(inq_compressed_trellis(), 2);
}

// Words of 0 and 1: setters store whether they are given at least 1 and return it, toggles return
// the new value. None touches the other word.
TEST(Settings, Flags) {
    const struct {
        const char* name;
        std::vector<int (*)(int)> setters;
        std::vector<Get> toggles, queries;
        Get other;
    } flags[] = {
        {"cutouts",
         {set_cut_lantern_trellis, by_reference<set_cut_lantern_trellis_>, set_lantern_cutouts_trellis,
          set_cut_mask_lantern_trellis, by_reference<set_cut_mask_lantern_trellis_>},
         {toggle_cut_lantern_trellis, toggle_cut_lantern_trellis_},
         {inq_cut_lantern_trellis, inq_cut_lantern_trellis_, inq_lantern_cutouts_trellis, inq_cut_mask_lantern_trellis,
          inq_cut_mask_lantern_trellis_},
         inq_mask_lantern_trellis},
        {"masks",
         {set_mask_lantern_trellis, by_reference<set_mask_lantern_trellis_>},
         {toggle_mask_lantern_trellis, toggle_mask_lantern_trellis_},
         {inq_mask_lantern_trellis, inq_mask_lantern_trellis_, inq_lantern_masks_trellis},
         inq_cut_lantern_trellis},
        {"error window", {set_error_win_trellis_}, {}, {inq_error_win_trellis_}, inq_cut_lantern_trellis},
        {"save minipics",
         {},
         {toggle_save_minipics_trellis, toggle_save_minipics_trellis_},
         {inq_save_minipics_trellis},
         inq_mask_lantern_trellis},
    };
    const auto expect = [&](const auto& flag, int value) {
        for (const Get query : flag.queries) { EXPECT_EQ(query(), value) << flag.name; }
        EXPECT_EQ(flag.other(), 1) << flag.name;
    };
    EXPECT_EQ(inq_error_win_trellis_(), 0);
    set_error_win_trellis_(1);
    for (const auto& flag : flags) {
        expect(flag, 1);
        for (const auto set : flag.setters) {
            for (const auto& [given, stored] : {std::pair{-2, 0}, {7, 1}, {0, 0}, {1, 1}}) {
                EXPECT_EQ(set(given), stored);
                expect(flag, stored);
            }
        }
        for (const Get toggle : flag.toggles) {
            EXPECT_EQ(toggle(), 0);
            expect(flag, 0);
            EXPECT_EQ(toggle(), 1);
            expect(flag, 1);
        }
    }
    // The toggle of both goes by the cutouts and returns what they were.
    for (const Get toggle : {toggle_cut_mask_lantern_trellis, toggle_cut_mask_lantern_trellis_}) {
        set_mask_lantern_trellis(0);
        EXPECT_EQ(toggle(), 1);
        EXPECT_EQ(inq_lantern_masks_trellis(), 0);
        EXPECT_EQ(inq_lantern_cutouts_trellis(), 0);
        EXPECT_EQ(toggle(), 0);
        EXPECT_EQ(inq_lantern_masks_trellis(), 1);
        EXPECT_EQ(inq_lantern_cutouts_trellis(), 1);
    }
}

TEST(Settings, Minipics) {
    for (const auto set : {set_minipic_type_trellis, by_reference<set_minipic_type_trellis_>}) {
        for (const auto& [given, stored] : {std::pair{4, 4}, {5, 0}, {1, 1}, {0, 0}, {-1, 0}}) {
            set_last_error_trellis(999);
            EXPECT_EQ(set(given), stored);
            EXPECT_EQ(inq_minipic_type_trellis(), stored);
            EXPECT_EQ(inq_minipic_type_trellis_(), stored);
            EXPECT_EQ(inq_last_error_trellis(), 0);
        }
    }
    using Size = std::pair<int, int>;
    const auto asked = [](void (*query)(int*, int*)) {
        Size size;
        query(&size.first, &size.second);
        return size;
    };
    EXPECT_EQ(asked(inq_size_1_minipic_trellis), (Size{100, 75}));
    EXPECT_EQ(asked(inq_size_2_minipic_trellis), (Size{200, 150}));
    set_size_1_minipic_trellis(1, 2);
    set_size_2_minipic_trellis(3, 4);
    EXPECT_EQ(asked(inq_size_1_minipic_trellis), (Size{1, 2}));
    EXPECT_EQ(asked(inq_size_2_minipic_trellis), (Size{3, 4}));
    set_size_2_y_minipic_trellis_(120);
    EXPECT_EQ(asked(inq_size_2_minipic_trellis), (Size{-1, 120}));
    set_size_1_minipic_trellis(100, 75);
    set_size_2_minipic_trellis_(200, 150);
    EXPECT_EQ(asked(inq_size_2_minipic_trellis), (Size{200, 150}));
}

float reported = -1;

TEST(Settings, ProgressIsClampedForTheCallback) {
    set_progress_fn_trellis_(nullptr);
    update_progress_trellis_(0.5F);
    EXPECT_EQ(reported, -1);
    set_progress_fn_trellis_([](float* fraction) { reported = *fraction; });
    for (const auto& [given, expected] : {std::pair{1.5F, 1.0F}, {-0.2F, 0.0F}, {0.25F, 0.25F}}) {
        update_progress_trellis_(given);
        EXPECT_EQ(reported, expected);
    }
    set_progress_fn_trellis_(nullptr);
}

TEST(LastHeader, GrowsShrinksAndIsHandedOver) {
    void* block = nullptr;
    int size = -1;
    int type = -1;
    EXPECT_EQ(free_last_header_trellis(), 0);
    ASSERT_EQ(realloc_last_header_trellis(4), 0);
    set_last_header_type_trellis(33);
    inq_last_header_trellis(&block, &size);
    std::memcpy(block, "ABCD", 4);
    ASSERT_EQ(realloc_last_header_trellis(8), 0);
    inq_last_header_trellis(&block, &size);
    EXPECT_EQ(size, 8);
    EXPECT_EQ(std::memcmp(block, "ABCD\0\0\0\0", 8), 0);
    inq_last_header_type_trellis(&type);
    EXPECT_EQ(type, 33);

    clear_last_header_trellis();
    std::free(block);  // the host took it over
    inq_last_header_trellis(&block, &size);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(size, 0);

    ASSERT_EQ(realloc_last_header_trellis(8), 0);
    EXPECT_EQ(realloc_last_header_trellis(-1), 3);
    inq_last_header_trellis(&block, &size);
    EXPECT_EQ(block, nullptr);
    EXPECT_EQ(free_last_header_trellis(), 0);
    EXPECT_EQ(free_last_header_trellis(), 0);
}

TEST(Bytes, LittleEndianSequences) {
    const unsigned char ones[] = {0xFF, 0xFF, 0xFF, 0xFF};
    const unsigned char counted[] = {1, 2, 3, 0x84};
    EXPECT_EQ(chars_to_short_pic(ones), -1);
    EXPECT_EQ(chars_to_short_pic(counted), 0x0201);
    EXPECT_EQ(chars_to_long_pic(ones), static_cast<long>(0xFFFFFFFFLL));
    EXPECT_EQ(chars_to_long_pic(counted), static_cast<long>(0x84030201LL));
    unsigned char out[4] = {};
    for (const auto& [value, low, high] : {std::tuple{-2, 0xFE, 0xFF}, {0x0201, 1, 2}, {-0x7F00, 0, 0x81}}) {
        short_to_chars_pic(out, static_cast<short>(value));
        EXPECT_EQ((std::pair{int{out[0]}, int{out[1]}}), (std::pair{low, high}));
    }
    long_to_chars_pic(out, static_cast<long>(0x1284030201LL));
    EXPECT_EQ(std::memcmp(out, counted, 4), 0);
}

TEST(Bytes, Reversal) {
    Bytes bytes = support::hex("01 02 03 04 05 06 07 08");
    swapends_long_pic(bytes.data());
    EXPECT_EQ(bytes, support::hex("04 03 02 01 05 06 07 08"));
    swap_shorts_long_pic(bytes.data());
    EXPECT_EQ(bytes, support::hex("02 01 04 03 05 06 07 08"));
    swapends_short_pic(bytes.data());
    EXPECT_EQ(bytes, support::hex("01 02 04 03 05 06 07 08"));

    EXPECT_EQ(SwapBytesInWord(0, 0x1234), 0x3412U);
    EXPECT_EQ(SwapBytesInWord(1, 0x11234), 0x1234U);
    EXPECT_EQ(SwapWordsInDword(0, 0x12345678), 0x56781234U);
    EXPECT_EQ(SwapWordsInDword(2, 0x12345678), 0x12345678U);
    EXPECT_EQ(SwapBytesInDword(0, 0x12345678), 0x78563412U);
    EXPECT_EQ(SwapBytesInDword(-1, 0x12345678), 0x12345678U);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(OR_ImageSwapFloat(2.046F)), 0xAAF10240U);
}

TEST(FileHelpers, Extensions) {
    const std::tuple<const char*, const char*, int> cases[] = {
        {"image.pic", "pic", 1}, {"epic", "pic", 1}, {"pic", "xpic", 0}, {"image.PIC", "pic", 0},
        {"image.pic", "", 1},    {"", "", 1},        {"pic", "pic", 1},  {"image.pic ", "pic", 0}};
    for (const auto& [name, extension, match] : cases) {
        EXPECT_EQ(check_ext_trellis(name, extension), match) << name << " " << extension;
    }
    pic_format format{};
    unsigned int match = 7;
    init_dpx_pic_(&format);
    EXPECT_EQ(inq_this_type_pic_trellis(&format, "anything", &match), 0);
    EXPECT_EQ(match, 1U) << "the empty third extension matches every name";
    std::strcpy(format.ext3_copy, "third");
    EXPECT_EQ(inq_this_type_pic_trellis(&format, "anything", &match), 0);
    EXPECT_EQ(match, 0U);
}

TEST(FileHelpers, DeleteIfWriteable) {
    const support::TempDir dir;
    const std::string path = dir.file("left.pic", {1, 2, 3});
    const auto message = [&] { return support::printed([&] { delete_if_writeable_trellis(path.c_str()); }); };
    // Only the owner's and the group's bits count, whoever runs this.
    chmod(path.c_str(), 0002);
    EXPECT_EQ(message(), "Save failed file " + path + " not writable by user\n");
    EXPECT_TRUE(support::exists(path));
    chmod(path.c_str(), 0020);
    EXPECT_EQ(message(), "Save failed deleted " + path + "\n");
    EXPECT_EQ(message(), "Stat on file " + path + " failed\n");
}

TEST(OutputFile, RemembersAFailedWrite) {
    using trellis::Error;
    trellis::OutputFile file;
    ASSERT_EQ(file.create("/dev/full"), Error::none);
    EXPECT_EQ(file.write_zeros(1 << 20), Error::write);
    EXPECT_EQ(file.flush(), Error::write);
}

TEST(Descriptor, FilledFieldByField) {
    const struct {
        void (*init)(pic_format*);
        std::uint32_t type;
        const char *ext, *ext2, *long_name, *code;
    } cases[] = {
        {init_pixar_pic_, 7, "pic", "", "Pixar", "PIXAR"},
        {init_dpx_pic_, 33, "dpx", "dpx", "DPX(10bit)", "DPX"},
        {init_smpte_pic_, 14, "cin", "cin", "Kodak(10bit)", "SMPTE"},
        {init_maya_pic_, 32, "iff", "iff", "MAYA(Bitmap)", "MAYA"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        pic_format format;
        std::memset(&format, 0xEE, sizeof format);
        const auto load_cutout = format.load_cutout_fn;
        const auto save_cutout = format.save_cutout_fn;
        c.init(&format);
        EXPECT_EQ(format.type, c.type);
        EXPECT_EQ((std::array{format.flag_1, format.flag_2, format.spare_word}), (std::array{1, 1, 0}));
        const std::array<const char*, 8> given = {format.ext,       format.ext2,       format.ext3,
                                                  format.ext_copy,  format.ext2_copy,  format.ext3_copy,
                                                  format.long_name, format.code_string};
        const std::array<const char*, 8> expected = {c.ext, c.ext2, "", c.ext, c.ext2, "", c.long_name, c.code};
        for (std::size_t i = 0; i < expected.size(); ++i) { EXPECT_STREQ(given[i], expected[i]) << i; }
        EXPECT_EQ(format.load_cutout_fn, load_cutout);
        EXPECT_EQ(format.save_cutout_fn, save_cutout);
        EXPECT_TRUE(!format.size_cut_fn && !format.spare_fn[0] && !format.spare_fn[2] && !format.spare_fn_2[1]);
    }
}

}  // namespace
