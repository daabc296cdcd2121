#pragma once

/// Whole pictures for C++ programs, over the C interface of libtrellis: describe a file, load it,
/// save it, whatever its format. The library's own formats and PNG are handled alike.
///
///     using namespace trellis;
///     host::Picture picture = host::load("shot.dpx");
///     host::save(picture, "shot.png", {.force = true});
///
/// **Errors** are exceptions: `Error` for all that can be wrong with a file, std::bad_alloc only
/// where a function says so.
///
/// **Threads.** All functions may be called from any number of threads at once, for different
/// pictures. A `Picture` is like any other object: one thread writes it, or many read it. The
/// working directory, signal handlers, the locale and the library's settings stay as the program
/// has them.
///
/// **Progress** goes to the library's hook, `occaisional_update_progress_trellis_` (settings.h), in
/// the thread that works.

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <exception>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "trellis/pic_format.h"

namespace trellis::host {

class UnfinishedFile;

/// What went wrong with a file.
class Error : public std::exception {
  public:
    /// `code` is one of the library's (errors.h); `reason` says more than its message does, such as
    /// the system's "No space left on device", and may be empty.
    Error(std::string file, int code, std::string reason = {});

    const std::string& file() const noexcept { return texts_->file; }  ///< as it was given
    int code() const noexcept { return code_; }                        ///< one of errors.h
    /// The library's text for the code.
    const std::string& message() const noexcept { return texts_->message; }
    /// What more is known, or "".
    const std::string& reason() const noexcept { return texts_->reason; }

    /// "FILE: MESSAGE: REASON (code CODE)"
    const char* what() const noexcept override { return texts_->line.c_str(); }

  private:
    struct Texts {
        std::string file, message, reason, line;
    };
    std::shared_ptr<const Texts> texts_;  // shared, so that copies cannot fail
    int code_;
};

/// The system's reason for an error of the library: what `error_number` means, if the code is one
/// of files that cannot be opened, read, written or closed; else an empty text.
std::string system_reason(int code, int error_number);

/// Calls `function`, which answers a code of the library about `file`. Throws Error when that is
/// not 0.
template <class Function>
void call_library(const std::string& file, Function function) {
    errno = 0;
    if (const int code = function(); code != 0) {
        throw Error(file, code, system_reason(code, errno));
    }
}

/// Zeroed memory for the samples of a picture. Pages that nobody writes cost nothing.
class Samples {
  public:
    Samples() = default;

    /// Throws std::bad_alloc, also for more than the machine's memory.
    Samples(std::uint64_t pixels, std::size_t bytes_per_pixel);

    /// The first byte; null without pixels.
    std::uint8_t* data() { return data_.get(); }
    /// The first byte; null without pixels.
    const std::uint8_t* data() const { return data_.get(); }

  private:
    struct Free {
        void operator()(std::uint8_t* data) const { std::free(data); }
    };
    std::unique_ptr<std::uint8_t[], Free> data_;
};

/// A field of a header and what it is to hold.
struct FieldEdit {
    /// A name as `read_header` gives it, alone if only one section has it, else behind the name of
    /// its section and a dot: "project", "television.frame rate", "image element 2.description".
    std::string field;

    /// A text, a number, as many hexadecimal digits as the field has, or "undefined".
    std::string value;
};

/// A picture in memory, in the buffer layouts of pic_format.h. Its kind says which of the two
/// buffers it has: an image colour, a mask a matte, a cutout both.
///
/// | depth | samples             | colour pixel                     | matte pixel |
/// |-------|---------------------|----------------------------------|-------------|
/// | 8     | bytes, 0 to 255     | 4 bytes: spare, blue, green, red | 1 byte      |
/// | 16    | 16-bit, 0 to 16383  | 3 words: blue, green, red        | 1 word      |
/// | 10    | 16-bit, 0 to 1023   | as with 16: a film file's codes  | 1 word      |
///
/// Rows run upward, row 0 being the bottom line, without gaps. The greatest sample of a matte is
/// opaque; colours are not multiplied by it. The buffers belong to the picture. Pictures can be
/// moved, not copied.
class Picture {
  public:
    static constexpr std::size_t colour_size = 4;  ///< bytes of an 8-bit pixel
    /// Places of the samples in an 8-bit colour pixel.
    enum Channel : std::size_t { blue = 1, green = 2, red = 3 };

    Picture() = default;

    /// A black picture; its matte, if it has one, is transparent. Throws std::bad_alloc.
    Picture(trellis_kind kind, int width, int height, int depth = 8);

    trellis_kind kind() const { return kind_; }  ///< image, cutout or mask
    int depth() const { return depth_; }         ///< 8, 10 or 16, see above
    int width() const { return width_; }         ///< in pixels
    int height() const { return height_; }       ///< in rows
    /// Width times height.
    std::uint64_t pixels() const { return std::uint64_t(width_) * std::uint64_t(height_); }

    /// Pixel (0, 0) of a buffer, null when the picture has none.
    std::uint8_t* colour() { return colour_.data(); }
    /// Likewise of the mattes.
    std::uint8_t* matte() { return matte_.data(); }
    /// Colours to read.
    const std::uint8_t* colour() const { return colour_.data(); }
    /// Mattes to read.
    const std::uint8_t* matte() const { return matte_.data(); }

    /// Pixel `x` of row `y` of the colour buffer, which an 8-bit picture must have.
    std::uint8_t* colour_at(int x, int y) { return colour() + index(x, y) * colour_size; }
    /// Likewise of the matte.
    std::uint8_t* matte_at(int x, int y) { return matte() + index(x, y); }

    bool has_words() const { return depth_ != 8; }  ///< samples of 16 bits, else of bytes
    /// White, and an opaque matte: 255, 1023 or 16383.
    int greatest_sample() const { return depth_ == 8 ? 255 : depth_ == 10 ? 1023 : 16383; }

    /// Samples of a colour pixel.
    int colour_samples() const { return has_words() ? 3 : 4; }
    /// Which of them is the first that is not spare.
    int first_colour() const { return colour_samples() - 3; }

    /// Adds, drops or makes buffers until the picture is of the wanted kind: what has no matte is
    /// opaque, a mask becomes a grey image or the matte of a black cutout, and an image becomes a
    /// mask by its brightness. Throws std::bad_alloc.
    void change_kind(trellis_kind kind);

    /// Multiplies the matte into the colours of a cutout, or divides them by it, where a
    /// transparent pixel becomes black. Other kinds stay as they are.
    void premultiply();
    /// The reverse.
    void unpremultiply();

    /// What was lenient about the load: one sentence for everything that the file should hold and
    /// does not. Empty for most pictures.
    const std::vector<std::string>& warnings() const { return warnings_; }
    /// Adds such a sentence.
    void add_warning(std::string warning) { warnings_.push_back(std::move(warning)); }

    /// The header of the DPX or Cineon file that the picture comes from, made ready to save from;
    /// empty for other pictures. A save in the same format keeps what it says: time code, frame
    /// rate, project, input device, transfer and so on.
    struct FilmHeader {
        unsigned int type = 0;  // a trellis_format_type
        std::vector<std::uint8_t> bytes = {};
        std::vector<FieldEdit> for_other_format = {};  // what DPX and Cineon have in common
    };
    /// What the picture brought with it.
    const FilmHeader& film_header() const { return film_header_; }
    /// Replaces it, for the next save.
    void set_film_header(FilmHeader header) { film_header_ = std::move(header); }

  private:
    Samples new_colour() const;
    Samples new_matte() const;
    void make_opaque();
    template <class Convert>
    void convert_rows(Convert convert);
    template <class Sample>
    void change_colours(int (*change)(int colour, int matte, int most));
    void change_colours(int (*change)(int colour, int matte, int most));
    std::size_t index(int x, int y) const {
        return std::size_t(y) * std::size_t(width_) + std::size_t(x);
    }

    trellis_kind kind_ = TRELLIS_KIND_IMAGE;
    int width_ = 0;
    int height_ = 0;
    int depth_ = 8;
    Samples colour_;
    Samples matte_;
    FilmHeader film_header_;
    std::vector<std::string> warnings_;
};

/// "image", "cutout", "mask" or "other".
const char* kind_name(trellis_kind kind);

/// A file format and what can be done with it.
struct Format {
    /// Whether pictures of a kind can be loaded and saved.
    struct Ability {
        bool load = false;
        bool save = false;
    };

    std::string code;                     // short and upper-case: "DPX"
    std::string name;                     // for display: "DPX(10bit)"
    std::vector<std::string> extensions;  // without dots
    int depth = 8;                        // of the pictures that need no conversion: 8 or 16
    Ability image;
    Ability cutout;
    Ability mask;
    bool catalogue = false;  // files may hold a small catalogue picture
};

/// All formats, in an order that never changes. The span lives as long as the program.
std::span<const Format> formats();

/// The format in which a picture of this depth is saved under a name, by its extension. Throws
/// Error.
const Format& format_for_name(const std::string& path, int depth = 8);

/// What a file holds, by its header.
struct Description {
    const Format* format = nullptr;  // one of formats()
    trellis_kind kind = TRELLIS_KIND_OTHER;
    int width = 0;
    int height = 0;
    int channels = 0;
    int depth = 0;  // bits of a sample in the file
    bool compressed = false;

    /// What follows is empty where the file, or its format, does not say it.
    std::string byte_order = {};  // "big-endian" or "little-endian"
    std::string packing = {};     // of samples in words
    std::string transfer = {};    // how samples stand for light
    std::string time_code = {};   // "01:02:03:04"
    std::optional<float> frame_rate = {};
    std::string creator = {};

    /// Why `load` refuses the file, with the code of its Error; empty when it does not.
    std::string refusal = {};
    int refusal_code = 0;

    /// What the file should hold and does not, which `load` excuses only when it is lenient.
    std::string missing = {};
};

/// Throws Error, for files that no format knows too.
Description describe(const std::string& path);

/// One field of a file's header.
struct HeaderField {
    struct Absent {};     // the file is too short for it
    struct Undefined {};  // it has its format's mark for "no value"
    using Value = std::variant<Absent, Undefined, std::uint32_t, float, std::string>;

    std::string name;
    Value value;
};

/// Fields that belong together.
struct HeaderSection {
    std::string name;
    std::vector<HeaderField> fields;
};

/// A chunk of an IFF file. Forms have a type and the chunks in them, picture headers have fields.
struct HeaderChunk {
    std::string tag;
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::string type = {};
    std::vector<HeaderField> fields = {};
    std::vector<HeaderChunk> chunks = {};
};

/// Everything in a header: sections, or the chunks of an IFF file, of which the first 100,000.
struct Header {
    const Format* format = nullptr;  // one of formats()
    std::string byte_order = {};     // "big-endian" or "little-endian" where a format has both
    std::vector<HeaderSection> sections = {};
    std::vector<HeaderChunk> chunks = {};
};

/// Throws Error; code 14 for PNG files.
Header read_header(const std::string& path);

/// An inclusive rectangle of a file's picture, counted from the lower left.
struct Region {
    int x0;
    int y0;
    int x1;
    int y1;
};

/// What is wanted of a load.
struct LoadOptions {
    std::optional<trellis_kind> kind = {};  // the file's own, if none is asked for
    std::optional<Region> region = {};      // the whole picture, if none is asked for
    std::optional<int> depth = {};          // 8 or 16; that of the format, if none is asked for
    bool codes = false;    // depth 10 for film files that have such codes, if no kind is asked for
    bool lenient = false;  // load what there is of an incomplete file, and warn
};

/// Throws Error.
Picture load(const std::string& path, const LoadOptions& options = {});

/// The catalogue picture inside a file. Throws Error, code 19 when there is none.
Picture load_catalogue(const std::string& path);

/// The first preview in the minipic file beside a picture, which has its name and ".mpc". Throws
/// Error.
Picture load_preview(const std::string& path);

/// What is wanted of a save.
struct SaveOptions {
    bool compress = true;  // where the format can
    int png_level = 0;     // of PNG files: 1 to 9, quick to small; 0 for what suits the picture
    bool force = false;    // replace a file that exists

    /// Of a sample in the file, if not what suits picture and format: 8, 10, 12 or 16 in DPX files,
    /// 8 or 16 in PNG files. Others have one size, and any that a format does not have is an error.
    std::optional<int> bits = {};

    /// What fields of a DPX or Cineon header are to hold, over what the picture's header says.
    std::vector<FieldEdit> fields = {};

    /// DPX and Cineon files have no layout for mattes that all programs share, so only colours go
    /// there, a mask as grey. This asks for the layouts that no other program reads.
    bool private_film_layouts = false;
};

/// Saves in the format that the extension names. The file appears whole or not at all. Throws
/// Error.
void save(const Picture& picture, const std::string& path, const SaveOptions& options = {});

/// Saves in the format with an extension such as "dpx", to a descriptor that is open for writing,
/// such as that of standard output. Nothing is written there before the picture is complete: it
/// goes by a temporary file. Throws Error.
void save_to_stream(const Picture& picture, int descriptor, const std::string& extension,
                    const SaveOptions& options = {});

/// What is left in a stream, as a file that lives as long as the object: formats are read from
/// files.
class StreamCopy {
  public:
    /// `descriptor` is open for reading. The extension counts for bytes that no format knows, and
    /// may be empty. Throws Error, whose file is "standard input" for descriptor 0.
    StreamCopy(int descriptor, const std::string& extension);
    ~StreamCopy();
    StreamCopy(const StreamCopy&) = delete;
    StreamCopy& operator=(const StreamCopy&) = delete;

    std::string path() const;  ///< the name of the copy

  private:
    std::unique_ptr<UnfinishedFile> file_;
};

/// A file that appears whole or not at all: it is written beside its target and takes the target's
/// place at the end. `save` works so by itself; this is for files of other sorts.
class SafeFile {
  public:
    /// Links are followed, whether or not they lead to a file. Throws Error when the target exists
    /// and `force` does not allow to replace it, or when nothing can be written beside it.
    SafeFile(const std::string& target, bool force);

    /// What was not kept is removed.
    ~SafeFile();
    SafeFile(const SafeFile&) = delete;
    SafeFile& operator=(const SafeFile&) = delete;

    /// The file to write, empty at first: its path, which ends in the extension of the target if
    /// that is a short one, and its descriptor, open for reading and writing.
    const char* path() const;
    /// Likewise.
    int descriptor() const;

    /// Puts the file in its place. Rights and, where the system lets us, owners of a replaced file
    /// stay; its other hard links keep the old content. Throws Error.
    void keep();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

/// Copies a file, like SafeFile. Throws Error.
void copy_file(const std::string& from, const std::string& to, bool force);

/// Removes the files that calls of this process are writing at this moment; those calls fail. For
/// signal handlers, in which it may be called, of programs that are about to end.
void remove_unfinished() noexcept;

}  // namespace trellis::host
