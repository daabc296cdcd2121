#include "formats/dpx/film_info.h"

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <string_view>

#include "trellis/pic_format.h"

#include "formats/dpx/cineon_header.h"
#include "formats/dpx/dpx_header.h"
#include "frame/film_words.h"

namespace trellis::dpx {

namespace {

constexpr char no_reason[] = "";

const char* when(bool condition, const char* reason) {
    return condition ? reason : no_reason;
}

const char* first_of(std::initializer_list<const char*> reasons) {
    for (const char* reason : reasons) {
        if (*reason != '\0') {
            return reason;
        }
    }
    return no_reason;
}

struct ChannelOrder {
    int descriptor;
    const char* names;
};

// The descriptors whose samples are colours, matte or luma.
constexpr ChannelOrder channel_orders[] = {
    {1, "R"}, {2, "G"},    {3, "B"},     {alpha_descriptor, "A"},
    {6, "Y"}, {50, "RGB"}, {51, "RGBA"}, {52, "ABGR"},
};

// The part of a Cineon header that describes the picture.
constexpr std::size_t least_cineon_size = offsetof(cineon_header, origin);

std::uint64_t least_offset(const trellis_film_info& info) {
    return info.format == TRELLIS_TYPE_CINEON ? least_cineon_size : sizeof(raw_dpx_header);
}

enum Packing { packed_tight = 0, filled_top = 1, filled_bottom = 2 };

constexpr std::uint64_t words(std::uint64_t bits) {
    return (bits + 31) / 32 * 4;
}

// A header may leave a padding undefined.
std::uint64_t defined(std::uint32_t padding) {
    return padding == undefined_32 ? 0 : padding;
}

// The size of a file whose lines are of the given size, and whether something says that the file
// has it: its header or the file itself.
struct SizeWitness {
    std::uint64_t header_size;  // 0 when undefined
    std::uint64_t file_size;
    std::uint64_t image_offset;
    std::uint64_t lines;
    std::uint64_t image_padding;

    bool fits(std::uint64_t line_size) const {
        return fits(header_size, line_size) || fits(file_size, line_size);
    }

  private:
    bool fits(std::uint64_t size, std::uint64_t line_size) const {
        const std::uint64_t expected = image_offset + lines * line_size;
        return size == expected || size == expected + image_padding;
    }
};

// Lines as the format has them: whole words of 32 bits.
std::uint64_t standard_line_size(const trellis_film_info& info, std::uint64_t samples) {
    switch (info.bit_size) {
        case 8:
            return words(samples * 8);
        case 10:
            return info.packing == packed_tight ? words(samples * 10) : (samples + 2) / 3 * 4;
        case 12:
            return info.packing == packed_tight ? words(samples * 12) : words(samples * 16);
        case 16:
            return words(samples * 16);
        default:
            return 0;
    }
}

// Many programs end lines of whole bytes where the last sample ends.
std::uint64_t unpadded_line_size(const trellis_film_info& info, std::uint64_t samples) {
    const bool whole_bytes = info.bit_size == 8 || info.bit_size == 16 ||
                             (info.bit_size == 12 && info.packing != packed_tight);
    if (!whole_bytes) {
        return standard_line_size(info, samples);
    }
    return info.bit_size == 8 ? samples : 2 * samples;
}

std::uint64_t private_line_size(const trellis_film_info& info, std::uint64_t pixels) {
    return pixels * (info.channels == 1 ? 2 : 5);
}

// This library writes cutouts and masks of 10 bits in layouts of its own, under a header that says
// nothing else than that of another program would. Its creator's name is the witness, unless the
// size says that another program has written the picture anew below our header.
bool may_be_private(const trellis_film_info& info) {
    const bool has_private_kind = info.channels == 4 || std::strcmp(info.channel_order, "A") == 0;
    return has_private_kind && info.bit_size == 10 && info.big_endian == 1;
}

constexpr char another_layout[] = "the file's size is that of another layout than the header names";

// Sets what follows from the header's words: the size of lines and how much of them there is.
// Answers with a reason when they contradict each other.
const char* measure(trellis_film_info& info, bool ours, std::uint32_t pixels_per_line,
                    std::uint32_t lines, std::uint64_t header_size) {
    const bool upright = info.orientation < 4;
    info.width = upright ? pixels_per_line : lines;
    info.height = upright ? lines : pixels_per_line;
    info.present_size = info.file_size > info.image_offset ? info.file_size - info.image_offset : 0;
    const std::uint64_t samples =
        std::uint64_t{pixels_per_line} * static_cast<std::uint64_t>(info.channels);
    const std::uint64_t standard = standard_line_size(info, samples);
    if (standard == 0 || info.encoding == 1) {
        return no_reason;
    }
    const std::uint64_t padding = defined(info.line_padding);
    const std::uint64_t unpadded = unpadded_line_size(info, samples);
    const SizeWitness witness{header_size, info.file_size, info.image_offset, lines,
                              defined(info.image_padding)};
    const bool fits_standard = witness.fits(standard + padding);
    info.line_size = standard + padding;
    if (witness.fits(unpadded + padding) || (padding > 0 && !fits_standard)) {
        info.line_size = unpadded + padding;
    }
    bool contradictory = false;
    if (may_be_private(info)) {
        const std::uint64_t size = private_line_size(info, pixels_per_line);
        const bool fits = witness.fits(size);
        info.private_layout = ours && (fits || !fits_standard) ? 1 : 0;
        contradictory = !ours && fits && !fits_standard;
        info.line_size = info.private_layout != 0 ? size : info.line_size;
    }
    info.promised_size = info.line_size * lines;
    info.present_size = std::min(info.present_size, info.promised_size);
    return contradictory ? another_layout : no_reason;
}

// Why no function can give the picture that is in the file.
const char* samples_reason(const trellis_film_info& info) {
    const int bits = info.bit_size;
    const bool in_words = bits == 10 || bits == 12;
    return first_of({
        when(info.image_offset < least_offset(info),
             "the header lets the image start inside itself"),
        when(info.width == 0 || info.height == 0, "the header gives the picture no size"),
        when(info.width > INT_MAX || info.height > INT_MAX,
             "the header gives the picture an impossible size"),
        when(info.orientation > 7, "unknown orientation"),
        when(info.channels == 0, "unsupported channels (descriptor)"),
        when(info.data_sign != 0 && info.data_sign != undefined_32, "signed samples"),
        when(bits == 32 || bits == 64, "real samples (32 or 64 bits)"),
        when(!in_words && bits != 8 && bits != 16, "unsupported bit size"),
        when(info.encoding > 1 && info.encoding != undefined_16, "unknown encoding"),
    });
}

// Why the slots, which know few layouts, do not.
const char* slots_reason(const trellis_film_info& info) {
    const bool deep = info.bit_size == 10;
    const bool is_private = info.private_layout != 0;
    const std::uint64_t pixels = info.orientation == 0 ? info.width : info.height;
    const auto channels = static_cast<std::uint64_t>(info.channels);
    const std::uint64_t slot_line = is_private ? private_line_size(info, pixels)
                                    : deep     ? 4 * pixels
                                               : channels * pixels;
    return first_of({
        when(info.orientation != 0 && info.orientation != 5,
             "orientation other than upright and 5"),
        when(!deep && info.bit_size != 8, "bit size other than 8 and 10"),
        when(info.channels == 1 && *info.channel_order != 'A', "a single colour or luma channel"),
        when(std::strcmp(info.channel_order, "ABGR") == 0, "channels stored matte first"),
        when(deep && info.format == TRELLIS_TYPE_DPX && info.packing != filled_top,
             "packing other than filled from the top"),
        when(info.encoding == 1, "run-length encoding"),
        when(deep && info.channels != 3 && !is_private,
             "10-bit samples of cutouts or masks in words of three"),
        when(info.line_size != slot_line, "padding at the ends of lines"),
    });
}

void set_channels(trellis_film_info& info, std::string_view names) {
    names.copy(info.channel_order, sizeof info.channel_order - 1);
    info.channels = static_cast<int>(names.size());
}

template <std::endian order>
void describe_dpx(const dpx_generic_header<order>& header, trellis_film_info& info) {
    const dpx_image_section<order>& image = header.image;
    const dpx_image_element<order>& element = image.elements[0];
    info.format = TRELLIS_TYPE_DPX;
    info.big_endian = order == std::endian::big ? 1 : 0;
    info.descriptor = element.descriptor;
    for (const ChannelOrder& known : channel_orders) {
        if (known.descriptor == info.descriptor) {
            set_channels(info, known.names);
        }
    }
    info.bit_size = element.bit_size;
    info.packing = element.packing;
    info.encoding = element.encoding;
    info.transfer = element.transfer;
    info.colorimetric = element.colorimetric;
    info.data_sign = element.data_sign;
    info.orientation = image.orientation;
    info.line_padding = element.line_padding;
    info.image_padding = element.image_padding;
    info.elements = image.element_count;
    info.image_offset = header.file.image_offset;

    const bool ours = std::strncmp(header.file.creator, dpx_creator, sizeof dpx_creator) == 0;
    const char* contradiction =
        measure(info, ours, image.pixels_per_line, image.lines, defined(header.file.file_size));

    const bool in_words = info.bit_size == 10 || info.bit_size == 12;
    const std::uint32_t place = element.data_offset;
    info.samples_reason = first_of({
        when(info.elements > 1, "more than one image element"),
        when(info.elements != 1, "the header names no image element"),
        when(place != 0 && place != undefined_32 && place != info.image_offset,
             "the header names two places where the image starts"),
        when(in_words && info.packing > filled_bottom, "unknown packing"),
        contradiction,
        samples_reason(info),
    });
    info.slots_reason = first_of({info.samples_reason, slots_reason(info)});
}

// Cineon files have one layout; the fields that could say another must not.
const char* cineon_reason(const cineon_header& header) {
    const cineon_format_section& format = header.format;
    const cineon_channel& first = header.image.channels[0];
    bool same_depth = first.bits_per_pixel == 10;
    bool same_size = true;
    for (int i = 1; i < std::min<int>(header.image.channel_count, 8); ++i) {
        const cineon_channel& other = header.image.channels[i];
        if (other.bits_per_pixel != 0) {  // not left empty
            same_depth &= other.bits_per_pixel == first.bits_per_pixel;
            same_size &= other.pixels_per_line == first.pixels_per_line;
            same_size &= other.lines == first.lines;
        }
    }
    const std::int32_t length = header.file.generic_length;
    return first_of({
        when(length >= 192 && length < static_cast<int>(least_cineon_size),
             "the header is too short"),
        when(!same_depth, "bit size other than 10"),
        when(!same_size, "channels of different sizes"),
        when(format.interleave != 0, "channels stored apart from each other"),
        when(format.packing != 5, "packing other than three samples in each word"),
        when(format.image_sense != 0, "a negative image"),
    });
}

// Where the slots look for the image: behind the user data.
std::uint64_t end_of_user_data(const cineon_file_section& file) {
    const std::int32_t declared = file.generic_length;
    const std::uint64_t generic = declared < 192 ? 1024 : static_cast<std::uint64_t>(declared);
    return generic + sizeof(cineon_industry_section) + file.user_length;
}

void describe_cineon(const cineon_header& header, trellis_film_info& info) {
    const cineon_image_section& image = header.image;
    const cineon_channel& channel = image.channels[0];
    const bool ours = std::strncmp(header.file.creation_time, cineon_creation_time,
                                   sizeof header.file.creation_time) == 0;
    info.format = TRELLIS_TYPE_CINEON;
    info.big_endian = 1;
    const char* order = image.channel_count == cutout_channels    ? "RGBA"
                        : image.channel_count == picture_channels ? "RGB"
                        : image.channel_count != mask_channels    ? ""
                        : ours                                    ? "A"
                                                                  : "Y";
    set_channels(info, order);
    info.bit_size = channel.bits_per_pixel;
    info.packing = header.format.packing;
    info.transfer = cineon_transfer;
    info.data_sign = header.format.data_signed;
    info.orientation = image.orientation;
    info.line_padding = header.format.line_padding;
    info.image_padding = header.format.channel_padding;
    info.elements = 1;
    const std::uint64_t behind = end_of_user_data(header.file);
    const std::uint32_t named = header.file.image_offset;
    info.image_offset = named == undefined_32 || named == 0 ? behind : named;
    const char* contradiction =
        measure(info, ours, channel.pixels_per_line, channel.lines, defined(header.file.file_size));
    info.samples_reason =
        first_of({cineon_reason(header), contradiction, samples_reason(info),
                  when(info.channels == 1 && !ours, "a single channel in words of three")});
    info.slots_reason = first_of({
        info.samples_reason,
        when(info.image_offset != behind, "the image does not follow the user data"),
        slots_reason(info),
    });
}

template <class Record>
Record record_at(const std::uint8_t* bytes, std::size_t size) {
    Record record{};
    std::memcpy(static_cast<void*>(&record), bytes, std::min(size, sizeof record));
    return record;
}

bool is_cineon_magic(const std::uint8_t* bytes) {
    return record_at<be32>(bytes, sizeof(be32)) == cineon_magic;
}

}  // namespace

Error describe_film(InputFile& file, trellis_film_info& info) {
    const auto bytes = file.window(sizeof(raw_dpx_header), sizeof(raw_dpx_header));
    if (bytes.size() < sizeof(be32)) {
        return Error::read;
    }
    const bool cineon = is_cineon_magic(bytes.data());
    if (!cineon && !is_dpx_magic(bytes.data())) {
        return Error::magic;
    }
    if (bytes.size() < (cineon ? least_cineon_size : sizeof(raw_dpx_header))) {
        return Error::read;
    }
    info = {};
    info.file_size = file.size();
    if (cineon) {
        describe_cineon(record_at<cineon_header>(bytes.data(), bytes.size()), info);
    } else if (bytes[0] == 'X') {
        using header = dpx_generic_header<std::endian::little>;
        describe_dpx(record_at<header>(bytes.data(), bytes.size()), info);
    } else {
        describe_dpx(record_at<raw_dpx_header>(bytes.data(), bytes.size()), info);
    }
    return Error::none;
}

}  // namespace trellis::dpx

using namespace trellis;

int info_film_trellis(const char* name, trellis_film_info* info) {
    if (info == nullptr || info->size <= sizeof info->size) {
        return code(Error::buffer);
    }
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    trellis_film_info found{};
    TRELLIS_TRY_CODE(dpx::describe_film(file, found));
    found.size = info->size;
    std::memcpy(info, &found, std::min(info->size, sizeof found));
    return code(Error::none);
}
