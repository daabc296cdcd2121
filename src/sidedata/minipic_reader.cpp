// Reading the first preview of a minipic file.

#include <sys/stat.h>

#include <algorithm>
#include <cstdint>

#include "trellis/sidedata.h"

#include "frame/file.h"
#include "frame/file_name.h"
#include "sidedata/minipic_file.h"

namespace {

using namespace trellis;
using namespace trellis::sidedata;

Error find_side_file(const char* name, Block<char>& side_name) {
    if (Error error = join_name(name, minipic_suffix, side_name); error == Error::allocation) {
        return error;
    }
    struct stat status {};
    return name != nullptr && stat(side_name.data(), &status) == 0 ? Error::none : Error::stat;
}

// A record is trusted when its sizes agree and no number in it is negative.
bool is_sound(const mpc_record& record) {
    constexpr int pixel_size = sizeof(MinipicPixel);
    return record.header_size >= 0 && record.width >= 0 && record.height >= 0 &&
           record.byte_count % pixel_size == 0 &&
           std::int64_t{record.width} * record.height == record.byte_count / pixel_size;
}

Error load_first_preview(const char* side_name, mpc_header& header, Preview& preview) {
    InputFile file;
    TRELLIS_TRY(file.open(side_name));
    TRELLIS_TRY(file.read_record(header));
    // A negative number is a position beyond every file.
    const auto record_position = static_cast<std::uint64_t>(int{header.header_size});
    TRELLIS_TRY(file.seek(record_position));
    mpc_record& record = preview.record;
    TRELLIS_TRY(file.read_record(record));
    if (!is_sound(record)) {
        return Error::read;
    }
    const auto header_size = static_cast<std::uint64_t>(int{record.header_size});
    TRELLIS_TRY(file.seek(record_position + header_size));
    const auto size = static_cast<std::uint64_t>(int{record.byte_count});
    if (size > file.remaining()) {
        return Error::read;
    }
    TRELLIS_TRY(preview.pixels.allocate(size / sizeof(MinipicPixel)));
    return file.read(preview.pixels.data(), static_cast<std::size_t>(size));
}

void report_type(int source, int* type) {
    switch (source) {
        case TRELLIS_MINIPIC_IMAGE:
        case TRELLIS_MINIPIC_CUTOUT:
            *type = 1;
            break;
        case TRELLIS_MINIPIC_MASK:
            *type = 2;
            break;
        case TRELLIS_MINIPIC_COMBINED:
            *type = 3;
            break;
        case 4:
            *type = 0;
            break;
        default:
            break;
    }
}

}  // namespace

int read_minipic_trellis(const char* name, void* destination, int capacity, int* width, int* height,
                         int* type) {
    Block<char> side_name;
    TRELLIS_TRY_CODE(find_side_file(name, side_name));
    mpc_header header{};
    Preview preview;
    if (Error error = load_first_preview(side_name.data(), header, preview); failed(error)) {
        return code(error == Error::allocation ? error : Error::read);
    }
    *width = preview.record.width;
    *height = preview.record.height;
    report_type(header.source, type);

    auto* pixels = static_cast<MinipicPixel*>(destination);
    const auto room = static_cast<std::size_t>(std::max(capacity, 0));
    const std::size_t count = preview.pixels.size();
    std::fill_n(pixels, room, MinipicPixel{});
    if (room < count) {
        return code(Error::minipic_too_big);
    }
    std::copy_n(preview.pixels.data(), count, pixels);
    return code(Error::none);
}
