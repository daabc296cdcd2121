#pragma once

// The operations on rows of pixels: one table of functions for each kind of processor. The plain
// table (plain.h) is complete and says what is meant; avx2.cpp and neon.cpp replace what is faster
// with the vectors of a processor. Formats and converters name the operation and get the best.
//
// Counts are pixels unless said otherwise. Buffers that an operation does not name twice do not
// overlap. An operation touches the named pixels only.

#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

#include "pixels/film_layout.h"

namespace trellis::pixels {

/// The planes of a picture from one of its pixels on, rows `pitch` bytes apart. A null plane holds
/// zeros; the colours are all there or none.
struct Planes {
    const std::uint8_t* alpha = nullptr;
    const std::uint8_t* blue = nullptr;
    const std::uint8_t* green = nullptr;
    const std::uint8_t* red = nullptr;
    std::size_t pitch = 0;

    /// The planes from a later pixel on.
    Planes from(std::size_t x, std::size_t y) const {
        const auto at = [&](const std::uint8_t* plane) {
            return plane == nullptr ? nullptr : plane + y * pitch + x;
        };
        return {at(alpha), at(blue), at(green), at(red), pitch};
    }
};

/// A rectangle of bytes whose rows are `pitch` bytes apart.
struct ByteRows {
    std::uint8_t* bytes = nullptr;
    std::ptrdiff_t pitch = 0;

    std::uint8_t* row(std::size_t y) const {
        return bytes + static_cast<std::ptrdiff_t>(y) * pitch;
    }
};

/// Equal neighbours in a row, from `begin` to before `end`.
struct Run {
    std::size_t begin;
    std::size_t end;
};

/// The room that the search for runs needs in their array: vectors store four at once.
constexpr std::size_t room_for_runs(std::size_t count) {
    return count / 2 + 4;
}

/// How far a decoding of packets came, in bytes.
struct Decoded {
    std::size_t read;
    std::size_t written;
};

/// Between the shapes of pixels whose samples are of one depth. The spare byte of 8-bit colour
/// pixels is neither read nor written.
template <class Sample>
struct Shapes {
    /// Builds cutout pixels. A null matte stands for an opaque one. Works from the last pixel to
    /// the first, so `cutout` may be `colour`: cutout pixels are never shorter than colour pixels.
    void (*join)(const Sample* colour, const Sample* matte, Sample* cutout, std::size_t count);

    /// The colours of cutout pixels. Works from the first pixel to the last, so `colour` may be
    /// `cutout`.
    void (*extract_colours)(const Sample* cutout, Sample* colour, std::size_t count);

    /// The mattes of cutout pixels, out of them and into them.
    void (*extract_matte)(const Sample* cutout, Sample* matte, std::size_t count);
    void (*insert_matte)(const Sample* matte, Sample* cutout, std::size_t count);

    /// Mask samples from the grey of colour pixels, and colour pixels of three equal colours.
    void (*colour_to_mask)(const Sample* colour, Sample* mask, std::size_t count);
    void (*mask_to_colour)(const Sample* mask, Sample* colour, std::size_t count);
};

struct Kernels {
    const char* name;

    Shapes<std::uint8_t> bytes;
    Shapes<std::uint16_t> words;

    template <class Sample>
    const Shapes<Sample>& shapes() const {
        if constexpr (std::is_same_v<Sample, std::uint8_t>) {
            return bytes;
        } else {
            return words;
        }
    }

    // Between the depths: samples, the colours of colour pixels, and the mattes of 8-bit cutouts.
    void (*widen)(const std::uint8_t* from, std::uint16_t* to, std::size_t samples);
    void (*narrow)(const std::uint16_t* from, std::uint8_t* to, std::size_t samples);
    void (*widen_colours)(const std::uint8_t* from, std::uint16_t* to, std::size_t count);
    void (*narrow_colours)(const std::uint16_t* from, std::uint8_t* to, std::size_t count);
    void (*widen_mattes)(const std::uint8_t* cutout, std::uint16_t* matte, std::size_t count);

    // Between the two conventions of 8-bit cutout pixels, in place: today's, a plain matte beside
    // colours as they are, and the old one, an inverted matte (0 is opaque) beside colours
    // multiplied by the coverage. Old to new divides the colours by the matte, cut off to 8 bits.
    void (*unpremultiply)(std::uint8_t* cutout, std::size_t count);
    void (*premultiply)(std::uint8_t* cutout, std::size_t count);

    /// Three samples a pixel to pixels of four bytes, of which `first` (0 or 1) is the place of the
    /// first sample. The fourth byte becomes 0.
    void (*expand)(const std::uint8_t* samples, std::size_t first, std::uint8_t* row,
                   std::size_t count);

    /// The reverse.
    void (*pack)(const std::uint8_t* row, std::size_t first, std::uint8_t* samples,
                 std::size_t count);

    /// Pixels of red, green, blue and matte to colour and matte buffers; either may be null. The
    /// processor is told of `next`, as many colour pixels that will be stored after these: at
    /// falling addresses it does not guess what is needed next.
    void (*store_reversed)(const std::uint8_t* row, std::uint8_t* colour, std::uint8_t* matte,
                           const std::uint8_t* next, std::size_t count);

    /// The reverse: what a null buffer would give becomes 0, and `next` will be read.
    void (*gather_reversed)(const std::uint8_t* colour, const std::uint8_t* matte,
                            const std::uint8_t* next, std::uint8_t* row, std::size_t count);

    /// One byte (0 to 3) out of each four-byte pixel.
    void (*extract_plane)(const std::uint8_t* row, std::size_t byte, std::uint8_t* plane,
                          std::size_t count);

    /// Planes to 8-bit cutout pixels of one row.
    void (*join_planes)(const Planes& planes, std::uint8_t* cutout, std::size_t count);

    /// Planes to a rectangle of 8-bit colour and matte buffers; either may be null.
    void (*store_planes)(const Planes& planes, std::size_t width, std::size_t height,
                         ByteRows colour, ByteRows matte);

    /// Decodes pixels of any layout but `none` into 16-bit colour pixels and mattes; either may be
    /// null. Samples that the layout does not carry become 0.
    void (*unpack_film)(FilmLayout layout, FilmCodes codes, const std::uint8_t* bytes,
                        std::size_t count, std::uint16_t* colour, std::uint16_t* matte);

    /// Packs pixels as `mask10`, `colour10` or `cutout10`. The samples of a null buffer are packed
    /// as 0. Samples keep the bits that their field holds; those of a mask are first shifted down
    /// by four.
    void (*pack_film)(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
                      std::size_t count, std::uint8_t* bytes);

    /// to[column][row] = from[row][column], in elements of `size` (1 to 8) bytes; pitches are in
    /// bytes.
    void (*transpose)(std::size_t size, const std::uint8_t* from, std::ptrdiff_t from_pitch,
                      std::uint8_t* to, std::ptrdiff_t to_pitch, std::size_t rows,
                      std::size_t columns);

    /// Finds the runs of three and more equal bytes, or of two and more equal pixels of four bytes,
    /// and returns how many there are.
    std::size_t (*find_byte_runs)(const std::uint8_t* bytes, std::size_t size, Run* runs);
    std::size_t (*find_pixel_runs)(const std::uint8_t* row, std::size_t count, Run* runs);

    /// The first place from `from` on that does not hold `value`, or `size` if there is none.
    std::size_t (*find_run_end)(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                                std::uint8_t value);

    /// Decodes whole packets of at most 128 bytes, each a header byte h and
    ///   h < 128:   a literal, the next h + 1 bytes as they are,
    ///   h >= 128:  a run, the next byte h - 127 times,
    /// and stops before one that is cut short or for which there is not enough room. What the room
    /// held behind the bytes that were written is lost.
    Decoded (*decode_packets)(const std::uint8_t* packets, std::size_t size, std::uint8_t* bytes,
                              std::size_t room);
};

/// The table in use: the best that the processor has, chosen by the first call.
const Kernels& kernels();

/// The tables that the processor can use, the plain one first and the best last.
std::span<const Kernels* const> back_ends();

/// For tests and benchmarks: from now on kernels() is `table`.
void use_kernels(const Kernels& table);

}  // namespace trellis::pixels
