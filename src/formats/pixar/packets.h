#pragma once

// Packets: rows of pixels as runs and dumps, in blocks that no packet straddles.
//
// A packet is a 2-byte header (count and type) and a body; docs/formats/pixar.md has the table.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "formats/pixar/header.h"
#include "formats/pixar/pixels.h"
#include "frame/error.h"
#include "frame/file.h"

namespace trellis::pixar {

enum class PacketType : std::uint8_t {
    fill = 0,        // the rest of the block is padding
    dump = 1,        // count pixels
    run = 2,         // count runs, each a run length and a pixel
    matte_dump = 3,  // one matte sample for the packet, then count pixels without matte
    matte_run = 4,   // one matte sample for the packet, then count runs without matte
};

struct PacketHeader {
    static constexpr std::size_t size = 2;

    unsigned int count;  // 1 to 4096
    PacketType type;

    static PacketHeader at(const std::uint8_t* bytes) {
        le16 stored;
        std::memcpy(&stored, bytes, sizeof stored);
        return {(stored & 0xFFFU) + 1U, static_cast<PacketType>(stored >> 12)};
    }

    constexpr std::array<std::uint8_t, size> bytes() const {
        const unsigned int stored = count - 1;
        return {static_cast<std::uint8_t>(stored & 0xFF),
                static_cast<std::uint8_t>(static_cast<unsigned int>(type) << 4 |
                                          ((stored >> 8) & 15U))};
    }
};

/// How the bytes of a pixel in the file become the slots of a Pixel.
class PixelLayout {
  public:
    PixelLayout(std::uint16_t format, bool deep);

    /// The same samples without the matte, as packets with one matte for all pixels have them.
    PixelLayout without_matte() const;

    std::size_t pixel_size() const { return pixel_size_; }

    /// True when the bytes in the file are pixels already.
    bool is_plain() const { return !deep_ && channels_ == 4; }

    /// True when they are pixels without the matte.
    bool is_rgb() const { return !deep_ && (format_ & cutout_format) == image_format; }

    std::size_t sample_size() const { return deep_ ? 2 : 1; }

    std::uint8_t sample(const std::uint8_t* bytes) const;

    /// Decodes `count` pixels. Channels that the file does not carry become 0.
    void decode(const std::uint8_t* bytes, std::size_t count, Pixel* pixels) const;

    /// A file with a single channel is a grey picture: its value in red, green and blue, no matte.
    void apply_single_channel(Pixel* pixels, std::size_t count) const;

  private:
    void add(std::uint16_t bit, std::uint8_t Pixel::*slot);

    std::uint16_t format_;
    bool deep_;
    std::size_t pixel_size_ = 0;
    std::uint8_t Pixel::*slots_[4] = {};
    std::size_t channels_ = 0;
    std::uint8_t Pixel::*single_channel_ = nullptr;
};

/// Decodes the rows of tiles, one after the other, from the file's position onward.
class RowDecoder {
  public:
    RowDecoder(InputFile& file, const pixar_header& header);

    /// Behind the row that it is given, so many pixels of memory are overwritten: dumps and runs
    /// are short, and are stored in whole steps.
    static constexpr std::size_t row_margin = 16;

    void start_tile() { block_used_ = 0; }

    /// Decodes the next row. `space` is a row as wide as the tile, in front of the margin; `row` is
    /// set to where the pixels are, which is there, or in the file's buffer when they are stored as
    /// they are needed.
    Error decode(std::span<Pixel> space, const Pixel*& row);

    /// Moves past the next row. Packets must be decoded into `space` to be passed.
    Error skip(std::span<Pixel> space);

  private:
    Error decode_packets(std::span<Pixel> row);
    Error decode_packet(std::span<Pixel> row, std::size_t& covered);
    template <std::size_t channels>
    std::size_t decode_usual_packets(std::span<Pixel> row);
    std::size_t decode_usual_packets(std::span<Pixel> row);
    Error find_pixels(std::size_t count, const Pixel*& pixels);
    Error decode_pixels(const PixelLayout& layout, std::span<Pixel> pixels);
    Error decode_runs(const PixelLayout& layout, std::size_t runs, std::span<Pixel> row,
                      std::size_t& covered);
    Error fill();
    Error end_packet();
    Error take(std::size_t size, const std::uint8_t*& bytes);

    InputFile& file_;
    std::uint16_t storage_;
    std::int64_t block_size_;
    PixelLayout layout_;
    PixelLayout colour_layout_;
    std::int64_t block_used_ = 0;  // packet bytes consumed in the current block
    std::uint64_t fills_left_;     // blocks of nothing but fill that the whole file has room for
};

/// The runs of equal pixels in a row, found piece by piece as they are asked for.
class PixelRuns {
  public:
    explicit PixelRuns(std::span<const Pixel> row) : row_(row) {}

    /// The first run that ends at `end` or behind it, or one behind the row. `end` never falls.
    const pixels::Run& reaching(std::size_t end) {
        while (run_.end < end) {
            run_ = next();
        }
        return run_;
    }

  private:
    static constexpr std::size_t piece_size = 4096;

    pixels::Run next();

    std::span<const Pixel> row_;
    pixels::Run run_ = {0, 0};
    std::size_t piece_ = 0;      // where the piece begins
    std::size_t piece_end_ = 0;  // and ends
    std::size_t found_ = 0;      // runs in it
    std::size_t used_ = 0;
    std::size_t next_piece_ = 0;
    std::array<pixels::Run, pixels::room_for_runs(piece_size)> runs_;
};

/// Makes packets of rows of 8-bit pixels, in blocks counted from the file's position at its making.
class RowEncoder {
  public:
    static constexpr std::size_t block_size = 8192;

    RowEncoder(OutputFile& file, int channels);

    Error encode(std::span<const Pixel> row);

  private:
    struct Packet {
        PacketHeader header;
        std::size_t size;    // bytes, header included
        std::size_t pixels;  // of the row that it covers
    };

    // These write at `to`, and may overwrite a few bytes behind what they return.
    std::uint8_t* append_packet(const Packet& packet, std::uint8_t* to);
    Packet form_packet(std::span<const Pixel> row, std::size_t x, PixelRuns& runs,
                       std::uint8_t* body) const;
    Packet form_runs(std::span<const Pixel> row, std::size_t x, std::size_t end, PixelRuns& runs,
                     std::uint8_t* body) const;
    void put(std::span<const Pixel> row, std::size_t x, std::size_t count,
             std::uint8_t* bytes) const;

    OutputFile& file_;
    std::size_t channels_;
    std::size_t most_runs_;
    std::size_t most_pixels_;
    std::size_t block_used_ = 0;
};

}  // namespace trellis::pixar
