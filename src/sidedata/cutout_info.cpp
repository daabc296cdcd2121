// The cutout-information file: a start, the picture's name, fields, an outline, one last integer.
// Every number is one little-endian 32-bit word. docs/formats/cinfo.md shows the layout.

#include <bit>
#include <cstdio>
#include <cstring>
#include <span>

#include "trellis/convert.h"
#include "trellis/sidedata.h"

#include "frame/byte_order.h"
#include "frame/error.h"
#include "frame/file.h"
#include "frame/file_name.h"
#include "frame/memory.h"

namespace {

using namespace trellis;

constexpr char suffix[] = ".cinfo";
constexpr int current_version = 1;

struct cinfo_start {
    le32s reserved;
    le32s version;
    le32s name_length;  // with the NUL; the name follows
};

struct cinfo_fields {
    le32s info_width;
    le32s info_height;
    le32s int_3;
    le32s int_4;
    le32 real_1;  // reals are kept as their bits
    le32 real_2;
    le32 real_3;
    le32 real_4;
    le32s int_5;
    le32s int_6;
    le32s outline_size;  // the outline follows, then int_7
};

static_assert(sizeof(cinfo_start) == 12);
static_assert(sizeof(cinfo_fields) == 44);

constexpr std::size_t field_count = sizeof(cinfo_fields) / sizeof(le32);

le32 bits(float real) {
    return std::bit_cast<std::uint32_t>(real);
}

// Brings four bytes of the file into the host's order.
void to_host_order(void* bytes) {
    le32 stored;
    std::memcpy(&stored, bytes, sizeof stored);
    const std::uint32_t word = stored;
    std::memcpy(bytes, &word, sizeof word);
}

// Reads one word, an integer or a real, into the host's variable, which a file that ends here
// leaves alone.
Error load_word(InputFile& file, void* variable) {
    const std::span<const std::uint8_t> ahead = file.window(sizeof(le32));
    if (ahead.size() < sizeof(le32)) {
        return Error::read;
    }
    std::memcpy(variable, ahead.data(), sizeof(le32));
    to_host_order(variable);
    file.consume(sizeof(le32));
    return Error::none;
}

Error pass_name(InputFile& file, int length) {
    // A negative length is more than any file has.
    const auto size = static_cast<std::uint64_t>(length);
    if (size > file.remaining()) {
        return Error::read;
    }
    Block<char> name;
    TRELLIS_TRY(name.allocate(size));
    return file.read(name.data(), name.size());
}

// Reads the file up to the outline size.
Error load_front(InputFile& file, const char* name, std::span<void* const, field_count> fields) {
    Block<char> side_name;
    TRELLIS_TRY(join_name(name, suffix, side_name));
    TRELLIS_TRY(file.open(side_name.data()));
    int reserved = 0;
    TRELLIS_TRY(load_word(file, &reserved));
    int version = 0;
    TRELLIS_TRY(load_word(file, &version));
    if (version != current_version) {
        std::printf("Warning: Newer cutout info version %d\n", version);
    }
    int name_length = 0;
    TRELLIS_TRY(load_word(file, &name_length));
    TRELLIS_TRY(pass_name(file, name_length));
    for (void* field : fields) {
        TRELLIS_TRY(load_word(file, field));
    }
    return Error::none;
}

// An outline is 32-bit words: little-endian in the file, in the host's order in memory.
Error load_outline(InputFile& file, std::uint64_t size, void* outline) {
    if (size > file.remaining()) {
        return Error::read;
    }
    if (outline == nullptr) {
        return file.seek(file.position() + size);
    }
    TRELLIS_TRY(file.read(outline, static_cast<std::size_t>(size)));
    for (auto* at = static_cast<std::uint8_t*>(outline); size >= sizeof(le32);
         at += sizeof(le32), size -= sizeof(le32)) {
        to_host_order(at);
    }
    return Error::none;
}

Error save_outline(OutputFile& file, const void* outline, std::size_t size) {
    const auto* at = static_cast<const std::uint8_t*>(outline);
    for (; size >= sizeof(le32); at += sizeof(le32), size -= sizeof(le32)) {
        std::uint32_t word = 0;
        std::memcpy(&word, at, sizeof word);
        TRELLIS_TRY(file.write_record(le32(word)));
    }
    return file.write(at, size);
}

void use_default_outline(int width, int height, unsigned int* outline_size, void* outline) {
    *outline_size = sizeof(trellis_default_outline);
    if (outline != nullptr) {
        float centre_x = 0;
        float centre_y = 0;
        set_default_cutout_outline(outline, 0, 0, width, height, &centre_x, &centre_y);
    }
}

Error save(const char* name, const cinfo_fields& fields, const void* outline, le32s last) {
    const int outline_size = fields.outline_size;
    if (outline_size < 0 || (outline_size > 0 && outline == nullptr)) {
        return Error::buffer;
    }
    Block<char> side_name;
    TRELLIS_TRY(join_name(name, suffix, side_name));
    OutputFile file;
    TRELLIS_TRY(file.create(side_name.data()));
    const std::size_t name_size = std::strlen(name) + 1;
    const cinfo_start start = {0, current_version, static_cast<int>(name_size)};
    TRELLIS_TRY(file.write_record(start));
    TRELLIS_TRY(file.write(name, name_size));
    TRELLIS_TRY(file.write_record(fields));
    TRELLIS_TRY(save_outline(file, outline, static_cast<std::size_t>(outline_size)));
    TRELLIS_TRY(file.write_record(last));
    return file.flush();
}

}  // namespace

int format_cutout_info_trellis(int buffer_type) {
    return buffer_type == 1 ? 1 : 0;
}

int save_cutout_info_trellis(const char* name, int info_width, int info_height, int int_3,
                             int int_4, float real_1, float real_2, float real_3, float real_4,
                             int int_5, int int_6, int outline_size, const void* outline,
                             void* /*reserved*/, int int_7) {
    const cinfo_fields fields = {
        .info_width = info_width,
        .info_height = info_height,
        .int_3 = int_3,
        .int_4 = int_4,
        .real_1 = bits(real_1),
        .real_2 = bits(real_2),
        .real_3 = bits(real_3),
        .real_4 = bits(real_4),
        .int_5 = int_5,
        .int_6 = int_6,
        .outline_size = outline_size,
    };
    return code(save(name, fields, outline, int_7));
}

int load_cutout_info_trellis(const char* name, unsigned int* info_width, unsigned int* info_height,
                             unsigned int* int_3, unsigned int* int_4, float* real_1, float* real_2,
                             float* real_3, float* real_4, unsigned int* int_5, unsigned int* int_6,
                             unsigned int* outline_size, void* outline, void* /*reserved*/,
                             unsigned int* int_7) {
    // As cinfo_fields has them.
    void* const fields[field_count] = {info_width, info_height, int_3, int_4, real_1,      real_2,
                                       real_3,     real_4,      int_5, int_6, outline_size};
    InputFile file;
    Error error = load_front(file, name, fields);

    // Whatever came of it, a host without an outline gets the default one.
    if (static_cast<int>(*outline_size) < 1) {
        use_default_outline(static_cast<int>(*info_width), static_cast<int>(*info_height),
                            outline_size, outline);
    } else if (!failed(error)) {
        error = load_outline(file, *outline_size, outline);
    }
    if (!failed(error)) {
        error = load_word(file, int_7);
    }
    return code(error);
}

int size_cutout_info_trellis(const char* name, unsigned int* info_width, unsigned int* info_height,
                             unsigned int* int_3, unsigned int* int_4, float* real_1, float* real_2,
                             float* real_3, float* real_4, unsigned int* int_6,
                             unsigned int* outline_size, unsigned int* reserved,
                             unsigned int* int_7) {
    unsigned int int_5 = 0;
    return load_cutout_info_trellis(name, info_width, info_height, int_3, int_4, real_1, real_2,
                                    real_3, real_4, &int_5, int_6, outline_size, nullptr, reserved,
                                    int_7);
}
