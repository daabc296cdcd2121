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
    } else if (is_rgb()) {
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
    while (true) {
        row = row.subspan(decode_usual_packets(row));
        if (row.empty()) {
            return Error::none;
        }
        std::size_t covered = 0;
        TRELLIS_TRY(decode_packet(row, covered));
        row = row.subspan(covered);
    }
}

// Any packet, one that covers nothing included.
Error RowDecoder::decode_packet(std::span<Pixel> row, std::size_t& covered) {
    const std::uint8_t* bytes = nullptr;
    TRELLIS_TRY(take(PacketHeader::size, bytes));
    const PacketHeader packet = PacketHeader::at(bytes);
    if (packet.type > PacketType::matte_run) {
        return Error::unsupported;
    }
    if (packet.type == PacketType::fill) {
        return fill();
    }
    const bool one_matte =
        packet.type == PacketType::matte_dump || packet.type == PacketType::matte_run;
    const PixelLayout& layout = one_matte ? colour_layout_ : layout_;
    std::uint8_t matte = 0;
    if (one_matte) {
        TRELLIS_TRY(take(layout.sample_size(), bytes));
        matte = layout.sample(bytes);
    }
    if (packet.type == PacketType::run || packet.type == PacketType::matte_run) {
        TRELLIS_TRY(decode_runs(layout, packet.count, row, covered));
    } else {
        if (packet.count > row.size()) {
            return Error::unsupported;
        }
        covered = packet.count;
        TRELLIS_TRY(decode_pixels(layout, row.first(covered)));
    }
    if (one_matte) {
        for (Pixel& pixel : row.first(covered)) {
            pixel.matte = matte;
        }
    }
    return end_packet();
}

namespace {

// Dumps and runs are short: so many pixels are stored at once, however many are meant: the row
// has a margin for them, and the window must have one.
constexpr std::size_t short_dump = 16;
constexpr std::size_t short_run = 8;
constexpr std::size_t few_runs = 2;
static_assert(RowDecoder::row_margin >= short_dump);
static_assert(RowDecoder::row_margin >= short_run);
constexpr std::size_t window_margin = short_dump * sizeof(Pixel);

// With less of the file than this in the buffer, more is read.
constexpr std::uint64_t enough_packets = 4096;

// The byte behind a pixel of three channels is there.
template <std::size_t channels>
Pixel pixel_of(const std::uint8_t* bytes) {
    Pixel pixel;
    std::memcpy(static_cast<void*>(&pixel), bytes, sizeof pixel);
    if constexpr (channels == 3) {
        pixel.matte = 0;
    }
    return pixel;
}

template <std::size_t channels>
void copy_dump(const std::uint8_t* bytes, std::size_t count, Pixel* to) {
    if constexpr (channels == 4) {
        if (count <= short_dump) {
            std::memcpy(static_cast<void*>(to), bytes, short_dump * sizeof(Pixel));
        } else {
            std::memcpy(static_cast<void*>(to), bytes, count * sizeof(Pixel));
        }
    } else if (count <= short_run) {
        for (std::size_t i = 0; i < short_run; ++i) {
            to[i] = pixel_of<channels>(bytes + channels * i);
        }
    } else {
        expand_rgb(bytes, count, to);
    }
}

// Where the runs end in the row; null when they have not enough room.
template <std::size_t channels>
Pixel* store_runs(const std::uint8_t* bytes, std::size_t runs, Pixel* to, const Pixel* to_end) {
    // One or two short ones are mostly all. So many are stored in any case, the last ones perhaps
    // of no pixels: how many it will be is not to be foreseen.
    std::size_t lengths[few_runs];
    std::size_t longest = 0;
    for (std::size_t i = 0; i < few_runs; ++i) {
        const std::size_t present = i < runs ? SIZE_MAX : 0;
        lengths[i] = (bytes[(1 + channels) * i] + std::size_t{1}) & present;
        longest |= bytes[(1 + channels) * i] & present;
    }
    const auto room = static_cast<std::size_t>(to_end - to);
    if (runs <= few_runs && longest < short_run && lengths[0] + lengths[1] <= room) {
        for (std::size_t i = 0; i < few_runs; ++i) {
            pixels::fill(to, short_run, pixel_of<channels>(bytes + (1 + channels) * i + 1));
            to += lengths[i];
        }
        return to;
    }
    for (; runs > 0; --runs, bytes += 1 + channels) {
        const std::size_t length = bytes[0] + std::size_t{1};
        if (length > static_cast<std::size_t>(to_end - to)) {
            return nullptr;
        }
        pixels::fill(to, length, pixel_of<channels>(bytes + 1));
        to += length;
    }
    return to;
}

}  // namespace

// Dumps and runs of 8-bit samples that end well within the row, the block and the window: nearly
// all. Returns how many pixels they cover; the packet after them is for decode_packet().
template <std::size_t channels>
std::size_t RowDecoder::decode_usual_packets(std::span<Pixel> row) {
    const auto wanted = std::min<std::uint64_t>(file_.remaining(), enough_packets);
    const std::span<const std::uint8_t> window = file_.window(static_cast<std::size_t>(wanted));
    // A packet that leaves at most one byte of its block ends it.
    const std::int64_t usable =
        std::min(static_cast<std::int64_t>(window.size()) - std::int64_t{window_margin},
                 block_size_ - 2 - block_used_);
    const std::uint8_t* from = window.data();
    const std::uint8_t* const end = from + std::max<std::int64_t>(0, usable);
    Pixel* to = row.data();
    Pixel* const to_end = to + row.size();
    while (to < to_end && end - from > std::ptrdiff_t{PacketHeader::size}) {
        const PacketHeader packet = PacketHeader::at(from);
        const std::uint8_t* body = from + PacketHeader::size;
        // Dumps and runs mostly take turns, so that a branch for each is foreseen, and where the
        // next packet begins is known early.
        if (packet.type == PacketType::dump) {
            const std::size_t size = channels * packet.count;
            if (size > static_cast<std::size_t>(end - body) ||
                packet.count > static_cast<std::size_t>(to_end - to)) {
                break;
            }
            copy_dump<channels>(body, packet.count, to);
            to += packet.count;
            from = body + size;
        } else if (packet.type == PacketType::run) {
            const std::size_t size = (1 + channels) * packet.count;
            if (size > static_cast<std::size_t>(end - body)) {
                break;
            }
            Pixel* const run_end = store_runs<channels>(body, packet.count, to, to_end);
            if (run_end == nullptr) {
                break;
            }
            to = run_end;
            from = body + size;
        } else {
            break;
        }
    }
    const auto size = static_cast<std::size_t>(from - window.data());
    file_.consume(size);
    block_used_ += static_cast<std::int64_t>(size);
    return static_cast<std::size_t>(to - row.data());
}

std::size_t RowDecoder::decode_usual_packets(std::span<Pixel> row) {
    if (layout_.is_plain()) {
        return decode_usual_packets<4>(row);
    }
    return layout_.is_rgb() ? decode_usual_packets<3>(row) : 0;
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

pixels::Run PixelRuns::next() {
    while (used_ == found_) {
        if (next_piece_ + 1 >= row_.size()) {
            return {row_.size(), SIZE_MAX};
        }
        const std::span<const Pixel> piece =
            row_.subspan(next_piece_, std::min(row_.size() - next_piece_, piece_size));
        piece_ = next_piece_;
        piece_end_ = piece_ + piece.size();
        found_ =
            pixels::kernels().find_pixel_runs(bytes_of(piece.data()), piece.size(), runs_.data());
        used_ = 0;
        // Its last pixel may be the first of a run.
        next_piece_ = piece_end_ - 1;
    }
    pixels::Run run = {piece_ + runs_[used_].begin, piece_ + runs_[used_].end};
    ++used_;
    if (run.end == piece_end_) {
        while (run.end < row_.size() && same(row_[run.begin], row_[run.end])) {
            ++run.end;
        }
        next_piece_ = run.end;
    }
    return run;
}

namespace {

constexpr std::size_t longest_run = 256;
constexpr std::size_t longest_span = 4096;
constexpr std::size_t body_room = RowEncoder::block_size - PacketHeader::size;

// What a packet takes at most: the rest of a block before it, a block, and what is overwritten.
constexpr std::size_t packet_room = 2 * RowEncoder::block_size + short_dump * sizeof(Pixel);

void write_header(const PacketHeader& header, std::uint8_t* to) {
    const auto bytes = header.bytes();
    std::memcpy(to, bytes.data(), bytes.size());
}

}  // namespace

// Packets end early enough to fit an empty block.
RowEncoder::RowEncoder(OutputFile& file, int channels)
    : file_(file),
      channels_(static_cast<std::size_t>(channels)),
      most_runs_(body_room / (1 + channels_)),
      most_pixels_(body_room / channels_) {}

Error RowEncoder::encode(std::span<const Pixel> row) {
    PixelRuns runs(row);
    for (std::size_t x = 0; x < row.size();) {
        std::uint8_t* const room = file_.room(output_room);
        if (room == nullptr) {
            return Error::write;
        }
        std::uint8_t* to = room;
        while (x < row.size() && to <= room + output_room - packet_room) {
            const Packet packet = form_packet(row, x, runs, to + PacketHeader::size);
            to = append_packet(packet, to);
            x += packet.pixels;
        }
        file_.append(static_cast<std::size_t>(to - room));
    }
    return Error::none;
}

// Forms the next packet of a row: runs when it starts with two equal pixels, else a dump that
// ends before the next two equal pixels.
RowEncoder::Packet RowEncoder::form_packet(std::span<const Pixel> row, std::size_t x,
                                           PixelRuns& runs, std::uint8_t* body) const {
    const std::size_t end = std::min(row.size(), x + longest_span);
    const pixels::Run& run = runs.reaching(x + 2);
    if (run.begin <= x && x + 1 < end) {
        return form_runs(row, x, end, runs, body);
    }
    const std::size_t stop = run.begin > x && run.begin + 1 < end ? run.begin : end;
    const std::size_t count = std::min(stop - x, most_pixels_);
    put(row, x, count, body);
    return {{static_cast<unsigned int>(count), PacketType::dump},
            PacketHeader::size + count * channels_,
            count};
}

RowEncoder::Packet RowEncoder::form_runs(std::span<const Pixel> row, std::size_t x, std::size_t end,
                                         PixelRuns& runs, std::uint8_t* body) const {
    std::size_t i = x;
    std::size_t size = 0;
    unsigned int count = 0;
    do {
        const std::size_t run_end = std::min({runs.reaching(i + 2).end, end, i + longest_run});
        body[size] = static_cast<std::uint8_t>(run_end - i - 1);
        std::memcpy(&body[size + 1], &row[i], sizeof(Pixel));
        size += 1 + channels_;
        i = run_end;
        ++count;
    } while (count < most_runs_ && i + 1 < end && runs.reaching(i + 2).begin <= i);
    return {{count, PacketType::run}, PacketHeader::size + size, i - x};
}

// Stores the present channels of pixels.
void RowEncoder::put(std::span<const Pixel> row, std::size_t x, std::size_t count,
                     std::uint8_t* bytes) const {
    const Pixel* from = &row[x];
    const bool at_once = count <= short_dump && row.size() - x >= short_dump;
    if (channels_ == 4 && at_once) {
        std::memcpy(bytes, from, short_dump * sizeof(Pixel));
    } else if (channels_ == 4) {
        std::memcpy(bytes, from, count * sizeof(Pixel));
    } else if (at_once && count <= short_run) {
        for (std::size_t i = 0; i < short_run; ++i) {
            std::memcpy(bytes + 3 * i, from + i, sizeof(Pixel));
        }
    } else {
        pack_rgb(from, count, bytes);
    }
}

// The packet's body is there already. It must leave its block full or with room for a fill packet's
// header, or it moves to the next block.
std::uint8_t* RowEncoder::append_packet(const Packet& packet, std::uint8_t* to) {
    const std::size_t end = block_used_ + packet.size;
    if (end > block_size - PacketHeader::size && end != block_size) {
        const std::size_t rest = block_size - block_used_;
        std::memmove(to + rest, to, packet.size);
        // The fill packet's count field repeats that of the packet which it keeps waiting.
        write_header({packet.header.count, PacketType::fill}, to);
        std::memset(to + PacketHeader::size, 0, rest - PacketHeader::size);
        to += rest;
        block_used_ = 0;
    }
    write_header(packet.header, to);
    block_used_ = (block_used_ + packet.size) % block_size;
    return to + packet.size;
}

}  // namespace trellis::pixar
