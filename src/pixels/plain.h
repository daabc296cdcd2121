#pragma once

// Every operation as a plain loop. The tables of processors call these for what their vectors
// leave of a row.

#include "pixels/kernels.h"

namespace trellis::pixels::plain {

template <class Sample>
void join(const Sample* colour, const Sample* matte, Sample* cutout, std::size_t count);
template <class Sample>
void extract_colours(const Sample* cutout, Sample* colour, std::size_t count);
template <class Sample>
void extract_matte(const Sample* cutout, Sample* matte, std::size_t count);
template <class Sample>
void insert_matte(const Sample* matte, Sample* cutout, std::size_t count);
template <class Sample>
void colour_to_mask(const Sample* colour, Sample* mask, std::size_t count);
template <class Sample>
void mask_to_colour(const Sample* mask, Sample* colour, std::size_t count);

void widen(const std::uint8_t* from, std::uint16_t* to, std::size_t samples);
void narrow(const std::uint16_t* from, std::uint8_t* to, std::size_t samples);
void widen_colours(const std::uint8_t* from, std::uint16_t* to, std::size_t count);
void narrow_colours(const std::uint16_t* from, std::uint8_t* to, std::size_t count);
void widen_mattes(const std::uint8_t* cutout, std::uint16_t* matte, std::size_t count);
void unpremultiply(std::uint8_t* cutout, std::size_t count);
void premultiply(std::uint8_t* cutout, std::size_t count);
void expand(const std::uint8_t* samples, std::size_t first, std::uint8_t* row, std::size_t count);
void pack(const std::uint8_t* row, std::size_t first, std::uint8_t* samples, std::size_t count);
void store_reversed(const std::uint8_t* row, std::uint8_t* colour, std::uint8_t* matte,
                    const std::uint8_t* next, std::size_t count);
void gather_reversed(const std::uint8_t* colour, const std::uint8_t* matte,
                     const std::uint8_t* next, std::uint8_t* row, std::size_t count);
void extract_plane(const std::uint8_t* row, std::size_t byte, std::uint8_t* plane,
                   std::size_t count);
void join_planes(const Planes& planes, std::uint8_t* cutout, std::size_t count);
void store_planes(const Planes& planes, std::size_t width, std::size_t height, ByteRows colour,
                  ByteRows matte);
void unpack_film(FilmLayout layout, FilmCodes codes, const std::uint8_t* bytes, std::size_t count,
                 std::uint16_t* colour, std::uint16_t* matte);
void pack_film(FilmLayout layout, const std::uint16_t* colour, const std::uint16_t* matte,
               std::size_t count, std::uint8_t* bytes);
void transpose(std::size_t size, const std::uint8_t* from, std::ptrdiff_t from_pitch,
               std::uint8_t* to, std::ptrdiff_t to_pitch, std::size_t rows, std::size_t columns);
std::size_t find_byte_runs(const std::uint8_t* bytes, std::size_t size, Run* runs);
std::size_t find_pixel_runs(const std::uint8_t* row, std::size_t count, Run* runs);
std::size_t find_run_end(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                         std::uint8_t value);
Decoded decode_packets(const std::uint8_t* packets, std::size_t size, std::uint8_t* bytes,
                       std::size_t room);

template <class Sample>
constexpr Shapes<Sample> shapes = {
    .join = join,
    .extract_colours = extract_colours,
    .extract_matte = extract_matte,
    .insert_matte = insert_matte,
    .colour_to_mask = colour_to_mask,
    .mask_to_colour = mask_to_colour,
};

inline constexpr Kernels kernels = {
    .name = "plain",
    .bytes = shapes<std::uint8_t>,
    .words = shapes<std::uint16_t>,
    .widen = widen,
    .narrow = narrow,
    .widen_colours = widen_colours,
    .narrow_colours = narrow_colours,
    .widen_mattes = widen_mattes,
    .unpremultiply = unpremultiply,
    .premultiply = premultiply,
    .expand = expand,
    .pack = pack,
    .store_reversed = store_reversed,
    .gather_reversed = gather_reversed,
    .extract_plane = extract_plane,
    .join_planes = join_planes,
    .store_planes = store_planes,
    .unpack_film = unpack_film,
    .pack_film = pack_film,
    .transpose = transpose,
    .find_byte_runs = find_byte_runs,
    .find_pixel_runs = find_pixel_runs,
    .find_run_end = find_run_end,
    .decode_packets = decode_packets,
};

}  // namespace trellis::pixels::plain
