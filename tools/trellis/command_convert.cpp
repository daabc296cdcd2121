#include <filesystem>
#include <system_error>

#include "commands.h"
#include "output.h"
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

}  // namespace

void convert(const Name& in, const Name& out, const host::LoadOptions& load_options,
             MatteChange matte_change, const host::SaveOptions& save_options) {
    const bool to_film = goes_to_film(out);
    host::LoadOptions options = load_options;
    options.codes = to_film && !options.depth && matte_change == MatteChange::none;
    host::Picture picture = load_picture(in, options);
    if (matte_change == MatteChange::premultiply) {
        picture.premultiply();
    } else if (matte_change == MatteChange::unpremultiply) {
        picture.unpremultiply();
    }
    if (to_film && picture.kind() == TRELLIS_KIND_CUTOUT && !save_options.private_film_layouts) {
        remark(out.path, "without the matte; --kind cutout keeps it, in a layout of libtrellis");
    }
    save_picture(picture, out, save_options);
    if (in.is_stream() || out.is_stream()) {
        return;
    }
    const bool same_picture =
        !load_options.region && !load_options.kind && matte_change == MatteChange::none;
    copy_side_files(in.path, out.path, same_picture, save_options.force);
}

}  // namespace tool
