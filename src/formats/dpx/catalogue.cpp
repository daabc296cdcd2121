#include "formats/dpx/catalogue.h"

#include <algorithm>

#include "formats/dpx/cineon_header.h"

namespace trellis::dpx {

namespace {

constexpr std::size_t row_size = catalogue_width * 4;

// 14-bit samples show their upper eight bits; 10-bit codes come out dark, as they always have.
std::uint8_t preview(std::uint16_t sample) {
    return static_cast<std::uint8_t>(sample >> 6);
}

// Four bytes: nothing, then the three samples.
void put_pixel(const Source& source, std::int64_t x, std::int64_t y, std::uint8_t* bytes) {
    const bool mask = source.mode == Mode::mask;
    const std::uint16_t* samples = mask ? source.matte.pixel(x, y) : source.colour.pixel(x, y);
    bytes[0] = 0;
    for (int i = 0; i < 3; ++i) {
        bytes[i + 1] = samples == nullptr ? std::uint8_t{0} : preview(samples[mask ? 0 : i]);
    }
}

// Rows go from the top of the file to the top of the buffer, the highest row there.
std::uint8_t* buffer_row(std::uint8_t* buffer, int file_row) {
    return buffer + static_cast<std::size_t>(catalogue_height - 1 - file_row) * row_size;
}

// Files from elsewhere have three bytes a pixel, in the opposite order.
Error read_three_byte_rows(InputFile& file, std::uint8_t* buffer) {
    for (int row = 0; row < catalogue_height; ++row) {
        std::uint8_t bytes[catalogue_width * 3];
        TRELLIS_TRY(file.read_record(bytes));
        std::uint8_t* pixel = buffer_row(buffer, row);
        for (int x = 0; x < catalogue_width; ++x, pixel += 4) {
            std::reverse_copy(bytes + 3 * x, bytes + 3 * x + 3, pixel + 1);
        }
    }
    return Error::none;
}

Error read_four_byte_rows(InputFile& file, std::uint8_t* buffer) {
    TRELLIS_TRY(file.read(buffer, catalogue_size));
    for (int row = 0; row < catalogue_height / 2; ++row) {
        std::uint8_t* upper = buffer + static_cast<std::size_t>(row) * row_size;
        std::swap_ranges(upper, upper + row_size, buffer_row(buffer, row));
    }
    return Error::none;
}

}  // namespace

Error write_catalogue(OutputFile& file, const Source& source) {
    const Rectangle& rectangle = source.rectangle;
    if (rectangle.empty()) {
        return file.write_zeros(catalogue_size);
    }
    std::uint8_t* bytes = file.room(catalogue_size);
    if (bytes == nullptr) {
        return Error::write;
    }
    const std::int64_t step_x = rectangle.width() / catalogue_width;
    const std::int64_t step_y = rectangle.height() / catalogue_height;
    for (int row = 0; row < catalogue_height; ++row) {
        for (int column = 0; column < catalogue_width; ++column, bytes += 4) {
            put_pixel(source, rectangle.x0 + column * step_x, rectangle.y1 - row * step_y, bytes);
        }
    }
    file.append(catalogue_size);
    return Error::none;
}

int load_smpte_catalogue(const char* name, void* buffer, int capacity, unsigned int* width,
                         unsigned int* height, unsigned int* present, FilmWords& words) {
    InputFile file;
    TRELLIS_TRY_CODE(file.open(name));
    words = cineon_words;
    cineon_buffer header{};
    TRELLIS_TRY_CODE(read_smpte_header(file, header));
    const std::uint32_t length = header.header.file.user_length;
    if (length == 0) {
        return code(file.close());
    }
    const bool three_bytes = length < catalogue_size;
    const std::int64_t needed = std::max(length / (three_bytes ? 3 : 4), catalogue_pixels);
    if (needed > capacity) {
        return code(Error::buffer);
    }
    *present = 1;
    *width = catalogue_width;
    *height = catalogue_height;
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    Error error =
        three_bytes ? read_three_byte_rows(file, bytes) : read_four_byte_rows(file, bytes);
    return code(failed(error) ? error : file.close());
}

}  // namespace trellis::dpx
