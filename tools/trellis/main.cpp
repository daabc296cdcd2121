// The command line of the trellis tool. What the commands do is in command_*.cpp.

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "trellis/errors.h"

#include "commands.h"
#include "report.h"

namespace {

namespace host = trellis::host;

enum ExitStatus { success = 0, file_failed = 1, wrong_command_line = 2 };

struct Arguments {
    std::string in;
    std::string out;
    std::vector<std::string> files;
    std::vector<int> region;
    std::pair<int, int> size = {640, 480};
    tool::PreviewSizes preview_sizes;
    std::vector<std::string> assignments;
    std::string kind;
    std::string depth;
    std::string compress = "on";
    bool force = false;
    bool json = false;

    host::LoadOptions load_options() const {
        static const std::map<std::string, trellis_kind> kinds = {{"image", TRELLIS_KIND_IMAGE},
                                                                  {"cutout", TRELLIS_KIND_CUTOUT},
                                                                  {"mask", TRELLIS_KIND_MASK}};
        host::LoadOptions options;
        if (!kind.empty()) {
            options.kind = kinds.at(kind);
        }
        if (!depth.empty()) {
            options.depth = depth == "16" ? 16 : 8;
        }
        if (!region.empty()) {
            options.region = {region[0], region[1], region[2], region[3]};
        }
        return options;
    }

    host::SaveOptions save_options() const { return {compress == "on", force}; }
};

void add_kind(CLI::App& command, Arguments& arguments) {
    command
        .add_option("--kind", arguments.kind,
                    "Treat pictures as image, cutout or mask (default: what the file holds)")
        ->check(CLI::IsMember({"image", "cutout", "mask"}));
}

void add_force(CLI::App& command, Arguments& arguments) {
    command.add_flag("--force", arguments.force, "Replace OUT if it exists");
}

// "640x480"
bool parse_size(const CLI::results_t& words, std::pair<int, int>& size) {
    char surplus = 0;
    return std::sscanf(words[0].c_str(), "%7dx%7d%c", &size.first, &size.second, &surplus) == 2 &&
           size.first >= 1 && size.second >= 1;
}

// The rectangle's corners come in order; whether they lie in the picture is known later.
std::string check_region(const Arguments& arguments) {
    const std::vector<int>& r = arguments.region;
    return r.empty() || (r[0] <= r[2] && r[1] <= r[3]) ? "" : "--rect: x0,y0 must not exceed x1,y1";
}

void add_json(CLI::App& command, Arguments& arguments) {
    command.add_flag("--json", arguments.json, "Print JSON");
}

// Commands around one file: what is in its header, and what is beside or inside it.
void declare_file_commands(CLI::App& app, Arguments& arguments) {
    CLI::App& header = *app.add_subcommand("header", "Show every field of a file's header");
    header.add_option("FILE", arguments.in)->required();
    add_json(header, arguments);
    header.callback([&] { tool::show_header(arguments.in, arguments.json); });

    CLI::App& catalogue =
        *app.add_subcommand("catalogue", "Save the small picture inside a Cineon file");
    catalogue.add_option("FILE", arguments.in)->required();
    catalogue.add_option("OUT", arguments.out)->required();
    add_force(catalogue, arguments);
    catalogue.callback(
        [&] { tool::extract_catalogue(arguments.in, arguments.out, arguments.save_options()); });

    CLI::App& preview = *app.add_subcommand(
        "preview", "Make the two previews beside a picture (FILE.mpc), or save the first of them");
    preview.add_option("FILE", arguments.in)->required();
    CLI::Option* png = preview.add_option("--png", arguments.out, "Save the first preview here");
    const auto add_size = [&](const std::string& name, const std::string& size,
                              std::optional<std::pair<int, int>>& target) {
        preview
            .add_option(
                name,
                [&target](const CLI::results_t& words) {
                    target.emplace();
                    return parse_size(words, *target);
                },
                "Width and height of the preview (default: " + size + ")")
            ->type_name("WxH")
            ->excludes(png);
    };
    add_size("--size1", "100x75", arguments.preview_sizes.first);
    add_size("--size2", "200x150", arguments.preview_sizes.second);
    add_force(preview, arguments);
    preview.callback([&] {
        if (arguments.out.empty()) {
            tool::make_preview(arguments.in, arguments.preview_sizes, arguments.force);
        } else {
            tool::extract_preview(arguments.in, arguments.out, arguments.save_options());
        }
    });

    CLI::App& cinfo = *app.add_subcommand(
        "cinfo", "Show or change the cutout information beside a picture (FILE.cinfo)");
    cinfo.add_option("FILE", arguments.in)->required();
    cinfo.add_option("--set", arguments.assignments, "Values to store, such as int_3=7")
        ->type_name("name=value");
    add_json(cinfo, arguments);
    cinfo.callback([&] {
        if (arguments.assignments.empty()) {
            tool::show_cinfo(arguments.in, arguments.json);
        } else if (const std::string wrong =
                       tool::change_cinfo(arguments.in, arguments.assignments);
                   !wrong.empty()) {
            throw CLI::ValidationError("--set", "no such value: " + wrong);
        }
    });
}

/// Declares all commands. A command that was given sets `all_well` to false when it fails without
/// a host::Error.
void declare_commands(CLI::App& app, Arguments& arguments, bool& all_well) {
    CLI::App& info = *app.add_subcommand("info", "Show what is in picture files");
    info.add_option("FILE", arguments.files)->required();
    info.add_flag("--json", arguments.json, "Print a JSON list");
    info.callback([&] { all_well = tool::info(arguments.files, arguments.json); });

    CLI::App& convert = *app.add_subcommand(
        "convert", "Convert a picture to another format, by the extension of OUT");
    convert.add_option("IN", arguments.in)->required();
    convert.add_option("OUT", arguments.out)->required();
    add_kind(convert, arguments);
    convert
        .add_option("--depth", arguments.depth,
                    "Sample bits on the way, 8 or 16 (default: those of IN)")
        ->check(CLI::IsMember({"8", "16"}));
    convert.add_option("--compress", arguments.compress, "on or off (default: on)")
        ->check(CLI::IsMember({"on", "off"}));
    convert
        .add_option("--rect", arguments.region,
                    "Take only these pixels, edges included, counted from the lower left")
        ->delimiter(',')
        ->expected(4)
        ->type_name("x0,y0,x1,y1");
    add_force(convert, arguments);
    convert.callback([&] {
        if (const std::string wrong = check_region(arguments); !wrong.empty()) {
            throw CLI::ValidationError(wrong);
        }
        tool::convert(arguments.in, arguments.out, arguments.load_options(),
                      arguments.save_options());
    });

    CLI::App& chart = *app.add_subcommand("chart", "Draw a test chart with a matte");
    chart.add_option("OUT", arguments.out)->required();
    chart
        .add_option(
            "--size",
            [&](const CLI::results_t& words) { return parse_size(words, arguments.size); },
            "Width and height (default: 640x480)")
        ->type_name("WxH");
    add_force(chart, arguments);
    chart.callback([&] {
        tool::chart(arguments.out, arguments.size.first, arguments.size.second,
                    arguments.save_options());
    });

    CLI::App& compare =
        *app.add_subcommand("compare", "Tell whether two pictures have the same pixels and mattes");
    compare.add_option("A", arguments.in)->required();
    compare.add_option("B", arguments.out)->required();
    add_kind(compare, arguments);
    compare.callback(
        [&] { all_well = tool::compare(arguments.in, arguments.out, arguments.load_options()); });

    CLI::App& formats = *app.add_subcommand("formats", "List the formats and what each can do");
    formats.add_flag("--json", arguments.json, "Print a JSON list");
    formats.callback([&] { tool::list_formats(arguments.json); });
}

ExitStatus run(int argc, char** argv) {
    CLI::App app("Reads, writes and converts pictures.", "trellis");
    app.set_version_flag("--version", "trellis " TRELLIS_VERSION);
    app.require_subcommand(1);
    Arguments arguments;
    bool all_well = true;
    declare_commands(app, arguments, all_well);
    declare_file_commands(app, arguments);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? success : wrong_command_line;
    }
    if (std::fflush(stdout) != 0) {
        throw host::Error("standard output", TRELLIS_WRITE_ERROR);
    }
    return all_well ? success : file_failed;
}

}  // namespace

int main(int argc, char** argv) {
    // A file that outgrows its limit is a write error, not the end of the program.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        tool::report(error);
        return file_failed;
    }
}
