// Writing the minipic file of a picture.

#include <cstdio>

#include "trellis/settings.h"
#include "trellis/sidedata.h"

#include "frame/file.h"
#include "frame/file_name.h"
#include "frame/raster.h"
#include "sidedata/minipic_file.h"
#include "sidedata/preview.h"

namespace {

using namespace trellis;
using namespace trellis::sidedata;

struct Size {
    std::int64_t width;
    std::int64_t height;
};

Size first_size() {
    int width = 0;
    int height = 0;
    inq_size_1_minipic_trellis(&width, &height);
    return {width, height};
}

// A width of −1 stands for the one that the picture's proportions give, in single precision. Where
// they give none, it stays negative.
Size second_size(const Rectangle& picture) {
    int width = 0;
    int height = 0;
    inq_size_2_minipic_trellis(&width, &height);
    if (width != -1) {
        return {width, height};
    }
    const float fitting = static_cast<float>(height) / static_cast<float>(picture.height()) *
                          static_cast<float>(picture.width());
    const bool is_size = fitting > -1.0F && fitting < static_cast<float>(INT32_MAX);
    return {is_size ? static_cast<std::int64_t>(fitting) : -1, height};
}

// Makes an all-zero preview. Its bytes must be countable in the record.
Error start_preview(const Size& size, Preview& preview) {
    const std::int64_t count = size.width * size.height;
    constexpr std::int64_t largest_count = INT32_MAX / sizeof(MinipicPixel);
    if (size.width < 0 || size.height < 0 || count > largest_count) {
        return Error::write;
    }
    TRELLIS_TRY(preview.pixels.allocate_zeroed(static_cast<std::uint64_t>(count)));
    preview.record = {
        .header_size = sizeof(mpc_record),
        .width = static_cast<int>(size.width),
        .height = static_cast<int>(size.height),
        .byte_count = static_cast<int>(count * std::int64_t{sizeof(MinipicPixel)}),
    };
    return Error::none;
}

void draw_previews(const PictureBuffers& buffers, const Rectangle& picture, int depth,
                   Preview& first, Preview& second) {
    switch (depth) {
        case 0:
            draw_preview_8(buffers, picture, 0, first);
            draw_preview_8(buffers, picture, 1, second);
            break;
        case 1:
            draw_preview_16(buffers, picture, 0, first);
            break;
        case 2:
            std::puts("Error: BITS_12_CLUT not supported in create_minipics");
            break;
        default:
            break;
    }
}

Error write_preview(OutputFile& file, Preview& preview) {
    TRELLIS_TRY(file.write_record(preview.record));
    const std::size_t size = preview.pixels.size() * sizeof(MinipicPixel);
    TRELLIS_TRY(file.write(preview.pixels.data(), size));
    // A preview without pixels ends the file, as a failed write does.
    Error error = file.flush();
    return size == 0 ? Error::write : error;
}

Error write_minipic(const char* name, const PictureBuffers& buffers, const Rectangle& picture,
                    int depth) {
    Block<char> side_name;
    TRELLIS_TRY(join_name(name, minipic_suffix, side_name));
    Preview first;
    Preview second;
    TRELLIS_TRY(start_preview(first_size(), first));
    TRELLIS_TRY(start_preview(second_size(picture), second));
    draw_previews(buffers, picture, depth, first, second);

    const mpc_header header = {
        .word_1 = 0,
        .word_2 = 1,
        .header_size = sizeof(mpc_header),
        .picture_count = 2,
        .source = buffers.source,
    };
    OutputFile file;
    TRELLIS_TRY(file.create(side_name.data()));
    TRELLIS_TRY(file.write_record(header));
    TRELLIS_TRY(write_preview(file, first));
    TRELLIS_TRY(write_preview(file, second));
    return file.close();
}

}  // namespace

int write_minipic_trellis(const char* name, const void* rgb, const void* alpha, const void* cut,
                          int pitch, int x0, int y0, int x1, int y1, int depth, int source) {
    // Hosts know one failure of this function, whatever its cause.
    const Error error =
        write_minipic(name, {rgb, alpha, cut, pitch, source}, {x0, y0, x1, y1}, depth);
    return code(failed(error) ? Error::write : Error::none);
}
