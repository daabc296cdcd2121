#include <algorithm>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "trellis/errors.h"

#include "command_line.h"
#include "commands.h"
#include "output.h"
#include "pairs.h"
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

/// The size that a conversion gives a picture.
Size size_after(const host::Description& picture, const ConvertOptions& options) {
    if (const auto& region = options.load.region) {
        return {region->x1 - region->x0 + 1, region->y1 - region->y0 + 1};
    }
    return {picture.width, picture.height};
}

/// Whether a target is there, newer than its source and whole. A file that cannot be read is not.
bool is_done(const std::string& in, const std::string& out, const ConvertOptions& options) try {
    std::error_code no_file;
    const auto written = std::filesystem::last_write_time(out, no_file);
    if (no_file || written <= std::filesystem::last_write_time(in)) {
        return false;
    }
    const host::Description made = host::describe(out);
    const Size size = size_after(host::describe(in), options);
    return made.missing.empty() && made.refusal.empty() && made.width == size.width &&
           made.height == size.height && made.format == &host::format_for_name(out, made.depth);
} catch (const host::Error&) {
    return false;
} catch (const std::filesystem::filesystem_error&) {
    return false;
}

void convert_picture(const Name& in, const Name& out, const ConvertOptions& options) {
    const bool to_film = goes_to_film(out);
    host::LoadOptions load = options.load;
    load.codes = to_film && !load.depth && options.matte_change == MatteChange::none;
    host::Picture picture = load_picture(in, load);
    if (options.matte_change == MatteChange::premultiply) {
        picture.premultiply();
    } else if (options.matte_change == MatteChange::unpremultiply) {
        picture.unpremultiply();
    }
    if (to_film && picture.kind() == TRELLIS_KIND_CUTOUT && !options.save.private_film_layouts) {
        remark(out.path, "without the matte; --kind cutout keeps it, in a layout of libtrellis");
    }
    if (options.new_header) {
        picture.set_film_header({});
    }
    save_picture(picture, out, options.save);
    if (in.is_stream() || out.is_stream()) {
        return;
    }
    const bool same_picture =
        !load.region && !load.kind && options.matte_change == MatteChange::none;
    copy_side_files(in.path, out.path, same_picture, options.save.force);
}

std::vector<Pair> pairs_of(const ConvertFiles& files) {
    if (!files.directory.empty()) {
        if (files.to.empty()) {
            throw UsageError("--out-dir needs --to, the extension of the new files");
        }
        return pairs_into(files.directory, files.to, files.in);
    }
    if (files.in.names.size() != 2 || !files.in.list.empty()) {
        throw UsageError(files.in.names.size() == 1 && files.in.list.empty()
                             ? "OUT is required; see trellis --help"
                             : "many files need --out-dir and --to");
    }
    return pairs_between(files.in.names[0], files.in.names[1], files.in.frames);
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
    const std::vector<Pair> pairs = pairs_of(files);
    check_targets(pairs);
    ConvertOptions each = options;
    each.save.force = options.save.force || options.resume;
    return run_batch(pairs.size(), batch, [&](std::size_t i) {
        const auto& [in, out] = pairs[i];
        if (options.resume && is_done(in, out, options)) {
            return Outcome::skipped;
        }
        convert_picture({in, files.from}, {out, files.to}, each);
        return Outcome::done;
    });
}

}  // namespace tool
