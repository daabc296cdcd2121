#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

#include "trellis/errors.h"

#include "command_line.h"
#include "commands.h"
#include "output.h"
#include "raw_video.h"
#include "side_files.h"

namespace tool {

namespace {

void copy_minipic(const std::string& in, const std::string& out, bool force) {
    host::copy_file(minipic_name(in), minipic_name(out), force);
}

struct SideFile {
    std::string (*name)(const std::string& picture);
    void (*copy)(const std::string& in, const std::string& out, bool force);
};

// What lies beside IN goes along as long as it describes OUT too.
void copy_side_files(const std::string& in, const std::string& out, bool same_picture, bool force) {
    constexpr SideFile side_files[] = {{cinfo_name, copy_cinfo}, {minipic_name, copy_minipic}};
    for (const auto& [name, copy] : side_files) {
        const std::string from = name(in);
        const std::string to = name(out);
        std::error_code error;
        if (!std::filesystem::exists(from, error) || std::filesystem::equivalent(from, to, error)) {
            continue;
        }
        if (!same_picture) {
            remark(from, "left behind, it does not describe " + out);
        } else if (!force && std::filesystem::exists(to, error)) {
            remark(from, "left behind, " + to + " exists; --force replaces it");
        } else {
            copy(in, out, force);
        }
    }
}

bool goes_to_film(const Name& out) {
    if (out.is_stream() && out.format.empty()) {
        return false;
    }
    const std::string& code =
        host::format_for_name(out.is_stream() ? "-." + out.format : out.path).code;
    return code == "DPX" || code == "SMPTE";
}

/// One picture's way.
struct Conversion {
    Name in;
    Name out;
};

/// The size that a conversion gives a picture.
Size size_after(const host::Description& picture, const ConvertOptions& options) {
    if (const auto& region = options.load.region) {
        return {region->x1 - region->x0 + 1, region->y1 - region->y0 + 1};
    }
    return {picture.width, picture.height};
}

/// Whether a target is there, newer than its source and whole. A file that cannot be read is not.
bool is_done(const Conversion& c, const ConvertOptions& options) try {
    std::error_code no_file;
    const auto written = std::filesystem::last_write_time(c.out.path, no_file);
    if (no_file || written <= std::filesystem::last_write_time(c.in.path)) {
        return false;
    }
    const host::Description out = host::describe(c.out.path);
    const Size size = size_after(host::describe(c.in.path), options);
    return out.missing.empty() && out.refusal.empty() && out.width == size.width &&
           out.height == size.height && out.format == &host::format_for_name(c.out.path, out.depth);
} catch (const host::Error&) {
    return false;
} catch (const std::filesystem::filesystem_error&) {
    return false;
}

void convert_picture(const Conversion& c, const ConvertOptions& options) {
    const bool to_film = goes_to_film(c.out);
    host::LoadOptions load = options.load;
    load.codes = to_film && !load.depth && options.matte_change == MatteChange::none;
    host::Picture picture = load_picture(c.in, load);
    if (options.matte_change == MatteChange::premultiply) {
        picture.premultiply();
    } else if (options.matte_change == MatteChange::unpremultiply) {
        picture.unpremultiply();
    }
    if (to_film && picture.kind() == TRELLIS_KIND_CUTOUT && !options.save.private_film_layouts) {
        remark(c.out.path, "without the matte; --kind cutout keeps it, in a layout of libtrellis");
    }
    if (options.new_header) {
        picture.set_film_header({});
    }
    save_picture(picture, c.out, options.save);
    if (c.in.is_stream() || c.out.is_stream()) {
        return;
    }
    const bool same_picture =
        !load.region && !load.kind && options.matte_change == MatteChange::none;
    copy_side_files(c.in.path, c.out.path, same_picture, options.save.force);
}

/// What lies between the frames on disk is missing: a gap that is not asked for is worth a remark.
void remark_on_gaps(const std::string& pattern, const std::vector<std::int64_t>& frames) {
    std::vector<std::int64_t> missing;
    constexpr std::int64_t most = 100'000;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        for (std::int64_t n = frames[i - 1] + 1; n < frames[i] && n - frames[i - 1] < most; ++n) {
            missing.push_back(n);
        }
    }
    if (!missing.empty()) {
        remark(pattern, "frames are missing: " + frames_text(missing));
    }
}

std::vector<Conversion> between_names(const ConvertFiles& files) {
    if (files.in.names.size() != 2 || !files.in.list.empty()) {
        throw UsageError(files.in.names.size() == 1 && files.in.list.empty()
                             ? "OUT is required; see trellis --help"
                             : "many files need --out-dir and --to");
    }
    const std::string& in = files.in.names[0];
    const std::string& out = files.in.names[1];
    const auto sources = pattern_of(in);
    if (!sources) {
        if (!files.in.frames.empty()) {
            throw UsageError("--frames needs a pattern such as shot.%04d.dpx");
        }
        return {{{in, files.from}, {out, files.to}}};
    }
    const auto targets = host::Pattern::parse(out);
    const std::vector<std::int64_t> frames = frames_of(*sources, files.in.frames);
    if (!targets) {
        throw UsageError("IN is a pattern, OUT has no place for the number of a frame");
    }
    if (files.in.frames.empty()) {
        remark_on_gaps(in, frames);
    }
    std::vector<Conversion> conversions;
    for (const std::int64_t frame : frames) {
        conversions.push_back({{sources->name(frame)}, {targets->name(frame)}});
    }
    return conversions;
}

std::vector<Conversion> into_directory(const ConvertFiles& files) {
    if (files.to.empty()) {
        throw UsageError("--out-dir needs --to, the extension of the new files");
    }
    std::error_code error;
    if (!std::filesystem::is_directory(files.directory, error)) {
        throw host::Error(files.directory, TRELLIS_OPEN_ERROR,
                          error ? error.message() : "it is not a directory");
    }
    std::vector<Conversion> conversions;
    for (const Frame& frame : selected(files.in)) {
        const auto name = std::filesystem::path(frame.path).stem().string() + "." + files.to;
        conversions.push_back({{frame.path}, {std::filesystem::path(files.directory) / name}});
    }
    if (conversions.empty()) {
        throw UsageError("no files are named");
    }
    return conversions;
}

std::string absolute(const std::string& path) {
    return std::filesystem::absolute(path).lexically_normal();
}

/// Throws UsageError when a picture would be written over another that is read or written.
void check_targets(const std::vector<Conversion>& conversions) {
    if (conversions.size() < 2) {
        return;
    }
    std::unordered_set<std::string> taken;
    for (const Conversion& c : conversions) {
        taken.insert(absolute(c.in.path));
    }
    for (const Conversion& c : conversions) {
        if (!taken.insert(absolute(c.out.path)).second) {
            throw UsageError("two pictures meet in " + c.out.path +
                             ": targets must differ from each other and from all sources");
        }
    }
}

bool is_raw(const ConvertFiles& files) {
    const std::vector<std::string> formats = raw_formats();
    return std::find(formats.begin(), formats.end(), files.to) != formats.end();
}

bool convert_to_raw(const ConvertFiles& files, const host::LoadOptions& load,
                    const BatchOptions& batch) {
    Selection in = files.in;
    if (in.names.empty() || in.names.back() != "-" || !files.directory.empty()) {
        throw UsageError("raw video goes to standard output: OUT must be -");
    }
    in.names.pop_back();
    return write_raw_video(some_selected(in), files.to, load, batch);
}

}  // namespace

bool convert(const ConvertFiles& files, const ConvertOptions& options, const BatchOptions& batch) {
    if (is_raw(files)) {
        return convert_to_raw(files, options.load, batch);
    }
    const std::vector<Conversion> conversions =
        files.directory.empty() ? between_names(files) : into_directory(files);
    check_targets(conversions);
    ConvertOptions each = options;
    each.save.force = options.save.force || options.resume;
    return run_batch(conversions.size(), batch, [&](std::size_t i) {
        if (options.resume && is_done(conversions[i], options)) {
            return Outcome::skipped;
        }
        convert_picture(conversions[i], each);
        return Outcome::done;
    });
}

}  // namespace tool
