#include "formats/pixar/packets.h"

#include <algorithm>
#include <cstring>

#include "pixels/fill.h"

namespace trellis::pixar {

namespace {

// Deep samples have 12 bits, low byte first. 2047 is white; the values just above it are whiter
// than white, the highest ones mean negative light.
std::uint8_t deep_sample(const std::uint8_t* bytes) {
    const unsigned int value = (bytes[0] + 256U * bytes[1]) & 0xFFFU;
    if (value < 2048) {
        return static_cast<std::uint8_t>(value >> 3);
    }
    return value < 3072 ? 255 : 0;
}

}  // namespace

PixelLayout::PixelLayout(std::uint16_t format, bool deep) : format_(format), deep_(deep) {
    add(red_bit, &Pixel::red);
    add(green_bit, &Pixel::green);
    add(blue_bit, &Pixel::blue);
    add(matte_bit, &Pixel::matte);
    if (format == red_bit || format == green_bit || format == blue_bit || format == matte_bit) {
        single_channel_ = slots_[0];
    }
}

void PixelLayout::add(std::uint16_t bit, std::uint8_t Pixel::*slot) {
    if ((format_ & bit) != 0) {
        slots_[channels_++] = slot;
        pixel_size_ += sample_size();
    }
}

PixelLayout PixelLayout::without_matte() const {
    return PixelLayout(format_ & image_format, deep_);
}

std::uint8_t PixelLayout::sample(const std::uint8_t* bytes) const {
    return deep_ ? deep_sample(bytes) : bytes[0];
}

void PixelLayout::decode(const std::uint8_t* bytes, std::size_t count, Pixel* pixels) const {
    if (is_plain()) {
        std::memcpy(pixels, bytes, count * sizeof(Pixel));
    } else if (!deep_ && (format_ & cutout_format) == image_format) {
        expand_rgb(bytes, count, pixels);
    } else {
        for (std::size_t i = 0; i < count; ++i) {
            Pixel pixel;
            for (std::size_t channel = 0; channel < channels_; ++channel) {
                pixel.*slots_[channel] = sample(bytes);
                bytes += sample_size();
            }
            pixels[i] = pixel;
        }
    }
}

void PixelLayout::apply_single_channel(Pixel* pixels, std::size_t count) const {
    if (single_channel_ == nullptr) {
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint8_t value = pixels[i].*single_channel_;
        pixels[i] = {value, value, value, 0};
    }
}

RowDecoder::RowDecoder(InputFile& file, const pixar_header& header)
    : file_(file),
      storage_(header.storage),
      block_size_(header.block_size),
      layout_(header.format, is_deep(header.storage)),
      colour_layout_(layout_.without_matte()),
      fills_left_(file.size() / PacketHeader::size) {}

Error RowDecoder::decode(std::span<Pixel> space, const Pixel*& row) {
    row = space.data();
    Error error = Error::unsupported;
    if (is_packed(storage_)) {
        error = decode_packets(space);
    } else if (is_dumped(storage_)) {
        error = layout_.is_plain() && space.size_bytes() <= input_buffer_size
                    ? find_pixels(space.size(), row)
                    : decode_pixels(layout_, space);
    }
    if (!failed(error)) {
        layout_.apply_single_channel(space.data(), space.size());
    }
    return error;
}

Error RowDecoder::skip(std::span<Pixel> space) {
    if (!is_dumped(storage_)) {
        const Pixel* unused = nullptr;
        return decode(space, unused);
    }
    const std::uint64_t size = space.size() * layout_.pixel_size();
    return size <= file_.remaining() ? file_.seek(file_.position() + size) : Error::read;
}

// Dumped bytes with all four channels are pixels already: no need to copy them.
Error RowDecoder::find_pixels(std::size_t count, const Pixel*& pixels) {
    const std::uint8_t* bytes = nullptr;
    Error error = take(count * sizeof(Pixel), bytes);
    pixels = reinterpret_cast<const Pixel*>(bytes);
    return error;
}

Error RowDecoder::decode_packets(std::span<Pixel> row) {
    if (block_size_ <= 0) {
        return Error::unsupported;
    }
    while (!row.empty()) {
        const std::uint8_t* bytes = nullptr;
        TRELLIS_TRY(take(PacketHeader::size, bytes));
        const PacketHeader packet = PacketHeader::from_bytes(bytes[0], bytes[1]);
        if (packet.type > PacketType::matte_run) {
            return Error::unsupported;
        }
        if (packet.type == PacketType::fill) {
            TRELLIS_TRY(fill());
            continue;
        }
        const bool one_matte =
            packet.type == PacketType::matte_dump || packet.type == PacketType::matte_run;
        const PixelLayout& layout = one_matte ? colour_layout_ : layout_;
        std::uint8_t matte = 0;
        if (one_matte) {
            TRELLIS_TRY(take(layout.sample_size(), bytes));
            matte = layout.sample(bytes);
        }
        std::size_t covered = 0;
        Error error = Error::unsupported;
        if (packet.type == PacketType::run || packet.type == PacketType::matte_run) {
            error = decode_runs(layout, packet.count, row, covered);
        } else if (packet.count <= row.size()) {
            covered = packet.count;
            error = decode_pixels(layout, row.first(covered));
        }
        if (failed(error)) {
            return error;
        }
        if (one_matte) {
            for (Pixel& pixel : row.first(covered)) {
                pixel.matte = matte;
            }
        }
        row = row.subspan(covered);
        if (error = end_packet(); failed(error)) {
            return error;
        }
    }
    return Error::none;
}

Error RowDecoder::decode_pixels(const PixelLayout& layout, std::span<Pixel> pixels) {
    const std::size_t pixel_size = layout.pixel_size();
    if (pixel_size == 0) {
        pixels::fill(pixels.data(), pixels.size(), Pixel{});
        return Error::none;
    }
    while (!pixels.empty()) {
        const std::span<const std::uint8_t> bytes = file_.window(pixel_size);
        const std::size_t count = std::min(pixels.size(), bytes.size() / pixel_size);
        if (count == 0) {
            return Error::read;
        }
        layout.decode(bytes.data(), count, pixels.data());
        file_.consume(count * pixel_size);
        block_used_ += static_cast<std::int64_t>(count * pixel_size);
        pixels = pixels.subspan(count);
    }
    return Error::none;
}

Error RowDecoder::decode_runs(const PixelLayout& layout, std::size_t runs, std::span<Pixel> row,
                              std::size_t& covered) {
    // A run length is one byte before 8-bit samples and two bytes, high byte first, before deep
    // ones.
    const std::size_t length_size = layout.sample_size();
    const std::size_t run_size = length_size + layout.pixel_size();
    while (runs > 0) {
        const std::span<const std::uint8_t> window = file_.window(run_size);
        const std::size_t in_window = std::min(runs, window.size() / run_size);
        if (in_window == 0) {
            return Error::read;
        }
        const std::uint8_t* bytes = window.data();
        for (std::size_t i = 0; i < in_window; ++i, bytes += run_size) {
            const std::size_t length =
                (length_size == 2 ? bytes[0] * 256U + bytes[1] : bytes[0]) + 1U;
            if (length > row.size() - covered) {
                return Error::unsupported;
            }
            Pixel pixel;
            layout.decode(bytes + length_size, 1, &pixel);
            pixels::fill(row.data() + covered, length, pixel);
            covered += length;
        }
        file_.consume(in_window * run_size);
        block_used_ += static_cast<std::int64_t>(in_window * run_size);
        runs -= in_window;
    }
    return Error::none;
}

// A fill packet pads its block: what follows starts at the next one.
Error RowDecoder::fill() {
    // A block of nothing but fill brings no pixel nearer. Each takes at least a header, so there
    // are no more of them than the file has room for, and a file that points many tiles at one
    // stretch of them must not cost more than that.
    if (block_used_ == std::int64_t{PacketHeader::size} && fills_left_-- == 0) {
        return Error::unsupported;
    }
    const std::int64_t rest = std::max<std::int64_t>(0, block_size_ - block_used_);
    block_used_ = 0;
    return failed(file_.seek(file_.position() + static_cast<std::uint64_t>(rest))) ? Error::read
                                                                                   : Error::none;
}

// A single byte left over at the end of a block is padding.
Error RowDecoder::end_packet() {
    if (block_used_ == block_size_ - 1) {
        const std::uint8_t* padding = nullptr;
        TRELLIS_TRY(take(1, padding));
    }
    if (block_used_ >= block_size_ - 1) {
        block_used_ = 0;
    }
    return Error::none;
}

Error RowDecoder::take(std::size_t size, const std::uint8_t*& bytes) {
    const std::span<const std::uint8_t> window = file_.window(size);
    if (window.size() < size) {
        return Error::read;
    }
    bytes = window.data();
    file_.consume(size);
    block_used_ += static_cast<std::int64_t>(size);
    return Error::none;
}

Error RowEncoder::encode(std::span<const Pixel> row) {
    while (!row.empty()) {
        const Packet packet = form_packet(row);
        TRELLIS_TRY(write(packet));
        row = row.subspan(packet.pixels);
    }
    return Error::none;
}

// Appends the present channels of pixels to a packet body.
std::size_t RowEncoder::put(const Pixel* pixels, std::size_t count, std::uint8_t* bytes) const {
    if (channels_ == 4) {
        std::memcpy(bytes, pixels, 4 * count);
        return 4 * count;
    }
    pack_rgb(pixels, count, bytes);
    return 3 * count;
}

// Forms the next packet of a row: runs when it starts with two equal pixels, else a dump that
// ends before the next two equal pixels.
RowEncoder::Packet RowEncoder::form_packet(std::span<const Pixel> span) {
    constexpr std::size_t longest_run = 256;
    constexpr std::size_t longest_span = 4096;
    const std::size_t n = std::min(span.size(), longest_span);
    const auto pixel_size = static_cast<std::size_t>(channels_);
    const std::size_t body_room = block_size - PacketHeader::size;

    // Packets end early enough to fit an empty block.
    const std::size_t most_runs = body_room / (1 + pixel_size);
    const std::size_t most_pixels = body_room / pixel_size;

    std::size_t size = 0;
    std::size_t i = 0;
    unsigned int runs = 0;
    while (runs < most_runs && i + 1 < n && same(span[i], span[i + 1])) {
        const std::size_t limit = std::min(n, i + longest_run);
        std::size_t end = i + 2;
        while (end < limit && same(span[i], span[end])) {
            ++end;
        }
        body_[size++] = static_cast<std::uint8_t>(end - i - 1);
        size += put(&span[i], 1, &body_[size]);
        ++runs;
        i = end;
    }
    if (runs > 0) {
        return {{runs, PacketType::run}, PacketHeader::size + size, i};
    }

    const std::size_t limit = std::min(n, most_pixels);
    std::size_t count = 1;
    while (count < limit && !(count + 1 < n && same(span[count], span[count + 1]))) {
        ++count;
    }
    size = put(span.data(), count, body_.data());
    return {{static_cast<unsigned int>(count), PacketType::dump}, PacketHeader::size + size, count};
}

Error RowEncoder::write(const Packet& packet) {
    // A packet must leave its block full or with room for a fill packet's header.
    const std::size_t end = block_used_ + packet.size;
    if (end > block_size - PacketHeader::size && end != block_size) {
        // The fill packet's count field repeats that of the packet which it keeps waiting.
        const PacketHeader filler = {packet.header.count, PacketType::fill};
        TRELLIS_TRY(file_.write_record(filler.bytes()));
        const std::size_t rest = block_size - block_used_ - PacketHeader::size;
        TRELLIS_TRY(file_.write_zeros(rest));
        block_used_ = 0;
    }
    TRELLIS_TRY(file_.write_record(packet.header.bytes()));
    block_used_ = (block_used_ + packet.size) % block_size;
    return file_.write(body_.data(), packet.size - PacketHeader::size);
}

}  // namespace trellis::pixar
