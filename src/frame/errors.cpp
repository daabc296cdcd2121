// The table of error messages.

#include "trellis/errors.h"

#include <array>

namespace {

// The numbering is shared with the host and its other file libraries, so the table also holds codes
// that this library never returns.
constexpr std::array<const char*, 65> messages = {
    "No error trellis",
    "Read error in trellis",
    "Write error in trellis",
    "Allocation error in trellis",
    "Orrery picture type error in trellis",
    "Unknown or unsupported format in trellis",
    "Failed to open file in trellis",
    "Filename error in trellis",
    "Buffer error in trellis",
    "Window coordinate error in trellis",
    "Unsupported SGI file type in trellis",
    "User escaped function in trellis",
    "Illegal buffer pitch in trellis",
    "None negative picture offsets in trellis",
    "Trellis function not supported in current format",
    "Failed to close file",
    "Failed to seek to position in file",
    "Concatanation dimension error in trellis",
    "Wavefront picture type error in trellis",
    "No catalogue picture in file in trellis",
    "Bad Magic: Incorrect file format in trellis",
    "Incorrect image size: Quantel files must be 720*576 or 720*486",
    "File is not readable",
    "File is not writeable",
    "Failed to stat file",
    "Path is not searchable",
    "Minipic too big",
    "Incorrect image size: Quantel(625) files must be 720*576",
    "Incorrect image size: Quantel(525) files must be 720*486",
    "No known output type supported in this file format",
    "No support for cutouts in this format, defaulting to Lantern",
    "No support for masks in this format, defaulting to Lantern",
    "SMPTE: file not version V4.5",
    "SMPTE: file not 10 bits per channel per pixel",
    "SMPTE: file does not contain exactly 3 channels",
    "SMPTE: data interleave is not pixel interleave",
    "SMPTE: data packing type is not supported",
    "SMPTE: all channels do not have the same length lines",
    "SMPTE: all channels do not have the same number of lines",
    "SMPTE: format not ACADEMY, CINEMASCOPE, SUPER35 or VISTAVISION",
    "SMPTE: image size does not match format",
    "Unknown file format code string",
    "No image data in file",
    "No mask data in file",
    "No image or mask data in file",
    "Internal KESTREL corp error - see console for details",
    "Unknown raster buffer pixel depth",
    "Unsupported file pixel depth",
    "Internal error in TIFF library",
    "Header buffer not long enough",
    "File is a cutout not an image",
    "File is a mask not an image",
    "File is an image not a mask",
    "File is a cutout not a mask",
    "File is a mask not a cutout",
    "File is an image not a cutout",
    "File does not exist",
    "You do not have access permission to the file",
    "Failed to memory map file",
    "Internal TARN toolkit error: see console",
    "Internal PDI code error",
    "Internal rll code error",
    "Internal user_trellis error: see console",
    "File format does not support LUT of requested size",
    "Internal QUIRE error: see console",
};

}  // namespace

const char* err_msg_string_pic(unsigned int code) {
    return code < messages.size() ? messages[code] : "Unknown error number in trellis";
}

void report_error_pic(int /*code*/) {}
