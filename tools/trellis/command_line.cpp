#include "command_line.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "commands.h"
#include "completions.h"
#include "examples.h"
#include "output.h"
#include "raw_video.h"

namespace tool {

namespace {

/// What the words of a command line say. Every command has those that it declares.
struct Arguments {
    std::string in;
    std::string out;
    Selection files;
    std::string directory;
    BatchOptions batch;
    std::vector<int> region;
    Size size = {640, 480};
    int thumbnail_size = 128;
    PreviewSizes preview_sizes;
    std::vector<std::string> assignments;
    std::optional<trellis_kind> kind;
    std::optional<int> depth;
    std::string from;
    std::string to;
    int tolerance = 0;
    bool premultiply = false;
    bool unpremultiply = false;
    bool compress = true;
    int png_level = 0;
    bool force = false;
    bool lenient = false;
    bool json = false;
    std::string manifest;
    HeaderEdits header_edits;
    bool resume = false;
    bool new_header = false;
    ShowOptions showing;

    host::LoadOptions load_options() const {
        host::LoadOptions options = {.kind = kind, .depth = depth, .lenient = lenient};
        if (!region.empty()) {
            options.region = {region[0], region[1], region[2], region[3]};
        }
        return options;
    }

    host::SaveOptions save_options() const {
        return {.compress = compress,
                .png_level = png_level,
                .force = force,
                .private_film_layouts = kind.has_value()};
    }

    BatchOptions batch_for(const std::string& verb) const {
        BatchOptions options = batch;
        options.verb = verb;
        return options;
    }

    MatteChange matte_change() const {
        return premultiply     ? MatteChange::premultiply
               : unpremultiply ? MatteChange::unpremultiply
                               : MatteChange::none;
    }
};

// Options that several commands have.

void add_in(CLI::App& command, Arguments& arguments, const std::string& name = "FILE") {
    command.add_option(name, arguments.in)->required();
}

void add_out(CLI::App& command, Arguments& arguments, const std::string& name = "OUT") {
    command.add_option(name, arguments.out)->required();
}

void add_json(CLI::App& command, Arguments& arguments) {
    command.add_flag("--json", arguments.json, "Print JSON");
}

void add_force(CLI::App& command, Arguments& arguments) {
    command.add_flag("--force", arguments.force, "Replace OUT if it exists");
}

void add_lenient(CLI::App& command, Arguments& arguments) {
    command.add_flag("--lenient", arguments.lenient,
                     "Load what there is of an incomplete file, and say what is missing");
}

void add_kind(CLI::App& command, Arguments& arguments) {
    static const std::map<std::string, trellis_kind> kinds = {{"image", TRELLIS_KIND_IMAGE},
                                                              {"cutout", TRELLIS_KIND_CUTOUT},
                                                              {"mask", TRELLIS_KIND_MASK}};
    const auto set = [&](const std::string& word) { arguments.kind = kinds.at(word); };
    command
        .add_option_function<std::string>(
            "--kind", set,
            "Treat pictures as image, cutout or mask (default: what the file holds; DPX and "
            "Cineon files get the image)")
        ->check(CLI::IsMember({"image", "cutout", "mask"}));
}

void add_rect(CLI::App& command, Arguments& arguments) {
    const auto take = [&](const std::string& word) {
        std::vector<int>& r = arguments.region;
        r.resize(4);
        char surplus = 0;
        if (std::sscanf(word.c_str(), "%9d,%9d,%9d,%9d%c", &r[0], &r[1], &r[2], &r[3], &surplus) !=
            4) {
            throw CLI::ValidationError("--rect", "not a rectangle such as 0,0,99,49: " + word);
        }
        if (r[0] > r[2] || r[1] > r[3]) {
            throw CLI::ValidationError("--rect", "x0,y0 must not exceed x1,y1");
        }
    };
    command
        .add_option_function<std::string>(
            "--rect", take, "Take only these pixels, edges included, counted from the lower left")
        ->type_name("x0,y0,x1,y1");
}

void add_view(CLI::App& command, Arguments& arguments) {
    const auto take = [&](const std::string& word) {
        arguments.showing.view = word == "log" ? View::log : View::screen;
    };
    command
        .add_option_function<std::string>(
            "--view", take, "log: film codes as a print of them would look; screen: as they are")
        ->check(CLI::IsMember({"screen", "log"}));
}

/// The format of standard input or output: names among the extensions of formats.
void add_stream_format(CLI::App& command, const std::string& name, std::string& format,
                       const std::string& help, std::vector<std::string> extensions = {}) {
    for (const host::Format& known : host::formats()) {
        for (const std::string& extension : known.extensions) {
            if (std::ranges::find(extensions, extension) == extensions.end()) {
                extensions.push_back(extension);
            }
        }
    }
    command.add_option(name, format, help)->check(CLI::IsMember(extensions));
}

void add_from(CLI::App& command, Arguments& arguments) {
    add_stream_format(command, "--from", arguments.from,
                      "Format of standard input (-), if its first bytes do not say");
}

void add_to(CLI::App& command, Arguments& arguments) {
    add_stream_format(command, "--to", arguments.to, "Format of standard output (-)");
}

/// Files, patterns, or a list of names.
void add_files(CLI::App& command, Arguments& arguments, const std::string& name = "FILE") {
    command.add_option(name, arguments.files.names);
    command.add_option("--frames", arguments.files.frames,
                       "Frames of patterns: 1001-1100,1200 or 1001-1100x2 (default: all on disk)");
    command.add_option("--files-from", arguments.files.list,
                       "Take names from this file, one a line; - is standard input");
    command.add_flag("-0", arguments.files.zero, "Names in the list end with a zero byte");
}

void add_batch(CLI::App& command, Arguments& arguments) {
    command
        .add_option("--jobs", arguments.batch.jobs,
                    "Frames at a time (default: as many as there are processors to use)")
        ->check(CLI::Range(1, 1024));
    command.add_flag("--fail-fast", arguments.batch.fail_fast, "Stop at the first failure");
}

// "640x480"
bool parse_size(const std::string& word, Size& size) {
    char surplus = 0;
    return std::sscanf(word.c_str(), "%7dx%7d%c", &size.width, &size.height, &surplus) == 2 &&
           size.width >= 1 && size.height >= 1;
}

CLI::Option* add_size(CLI::App& command, const std::string& name, const std::string& help,
                      const std::function<void(Size)>& set) {
    const auto take = [set, name](const std::string& word) {
        Size size{};
        if (!parse_size(word, size)) {
            throw CLI::ValidationError(name, "not a size such as 640x480: " + word);
        }
        set(size);
    };
    return command.add_option_function<std::string>(name, take, help)->type_name("WxH");
}

// The commands. Each declares its words and returns its work.

Action declare_info(CLI::App& command, Arguments& arguments) {
    add_files(command, arguments);
    add_from(command, arguments);
    add_json(command, arguments);
    return [&] { return info(arguments.files, arguments.from, arguments.json); };
}

Action declare_convert(CLI::App& command, Arguments& arguments) {
    add_files(command, arguments, "IN OUT");
    command.add_option("--out-dir", arguments.directory,
                       "Put all files here, with the extension of --to");
    add_batch(command, arguments);
    command.add_flag("--resume", arguments.resume,
                     "Leave what is whole and newer than its source, and do the rest");
    command.add_flag("--new-header", arguments.new_header,
                     "Start a film file's header afresh instead of keeping the source's fields");
    add_kind(command, arguments);
    add_lenient(command, arguments);
    command
        .add_option("--depth", arguments.depth,
                    "Sample bits on the way, 8 or 16 (default: those of IN)")
        ->check(CLI::IsMember({8, 16}));
    command
        .add_option_function<std::string>(
            "--compress", [&](const std::string& word) { arguments.compress = word == "on"; },
            "on or off (default: on)")
        ->check(CLI::IsMember({"on", "off"}));
    command
        .add_option("--png-level", arguments.png_level,
                    "1 to 9: quick to small PNG files (default: what suits the picture)")
        ->check(CLI::Range(1, 9));
    add_rect(command, arguments);
    CLI::Option* premultiply = command.add_flag("--premultiply", arguments.premultiply,
                                                "Multiply the matte into the colours");
    command
        .add_flag("--unpremultiply", arguments.unpremultiply,
                  "Divide colours that are multiplied by the matte")
        ->excludes(premultiply);
    add_from(command, arguments);
    add_stream_format(command, "--to", arguments.to,
                      "Format of standard output (-) or of the files in DIR, by an extension; for "
                      "raw video rgb48le, rgba64le or gray16le",
                      raw_formats());
    add_force(command, arguments);
    return [&] {
        return convert({arguments.files, arguments.directory, arguments.from, arguments.to},
                       {.load = arguments.load_options(),
                        .matte_change = arguments.matte_change(),
                        .save = arguments.save_options(),
                        .new_header = arguments.new_header,
                        .resume = arguments.resume},
                       arguments.batch_for("converted"));
    };
}

Action declare_check(CLI::App& command, Arguments& arguments) {
    add_files(command, arguments);
    add_batch(command, arguments);
    command.add_flag("--json", arguments.json, "Print a JSON object a line");
    return [&] { return check(arguments.files, arguments.json, arguments.batch_for("checked")); };
}

Action declare_checksum(CLI::App& command, Arguments& arguments) {
    add_files(command, arguments);
    add_batch(command, arguments);
    command.add_option("--verify", arguments.manifest,
                       "Compare with this manifest: its own files, or the FILEs by their numbers");
    return [&] {
        return arguments.manifest.empty()
                   ? print_checksums(arguments.files, arguments.batch_for("read"))
                   : verify_checksums(arguments.manifest, arguments.files,
                                      arguments.batch_for("read"));
    };
}

Action declare_chart(CLI::App& command, Arguments& arguments) {
    add_out(command, arguments);
    add_size(command, "--size", "Width and height (default: 640x480)",
             [&](Size size) { arguments.size = size; });
    add_to(command, arguments);
    add_force(command, arguments);
    return [&] {
        chart({arguments.out, arguments.to}, arguments.size, arguments.save_options());
        return true;
    };
}

Action declare_compare(CLI::App& command, Arguments& arguments) {
    add_in(command, arguments, "A");
    add_out(command, arguments, "B");
    add_kind(command, arguments);
    add_lenient(command, arguments);
    command
        .add_option("--tolerance", arguments.tolerance,
                    "Greatest difference of samples that is none (default: 0)")
        ->check(CLI::Range(0, 65535));
    add_from(command, arguments);
    command.add_option("--frames", arguments.files.frames,
                       "Frames of two patterns (default: all on disk)");
    add_batch(command, arguments);
    return [&] {
        return compare({arguments.in, arguments.from}, {arguments.out, arguments.from},
                       {arguments.files.frames, arguments.batch}, arguments.load_options(),
                       arguments.tolerance);
    };
}

Action declare_header(CLI::App& command, Arguments& arguments) {
    HeaderEdits& edits = arguments.header_edits;
    add_files(command, arguments);
    add_from(command, arguments);
    add_json(command, arguments);
    add_batch(command, arguments);
    command
        .add_option("--set", edits.assignments,
                    "Change fields, \"project=A film\" or \"film.frame rate=24\"")
        ->type_name("field=value");
    command
        .add_option("--timecode", edits.time_code,
                    "Time code of the first frame, from which the others count up")
        ->type_name("HH:MM:SS:FF");
    command.add_option("--fps", edits.rate, "Frames a second of time codes")
        ->check(CLI::Range(1, 99));
    return [&] {
        return edits.empty() ? show_headers(arguments.files, arguments.from, arguments.json)
                             : edit_headers(arguments.files, edits, arguments.batch_for("changed"));
    };
}

Action declare_catalogue(CLI::App& command, Arguments& arguments) {
    add_in(command, arguments);
    add_out(command, arguments);
    add_from(command, arguments);
    add_to(command, arguments);
    add_force(command, arguments);
    return [&] {
        extract_catalogue({arguments.in, arguments.from}, {arguments.out, arguments.to},
                          arguments.save_options());
        return true;
    };
}

Action declare_preview(CLI::App& command, Arguments& arguments) {
    add_files(command, arguments);
    CLI::Option* png = command.add_option("--png", arguments.out, "Save the first preview here");
    add_size(command, "--size1", "Width and height of the first preview (default: 100x75)",
             [&](Size size) { arguments.preview_sizes.first = size; })
        ->excludes(png);
    add_size(command, "--size2", "Width and height of the second preview (default: 200x150)",
             [&](Size size) { arguments.preview_sizes.second = size; })
        ->excludes(png);
    add_force(command, arguments);
    return [&] {
        if (arguments.out.empty()) {
            return make_previews(arguments.files, arguments.preview_sizes, arguments.force);
        }
        if (arguments.files.names.size() != 1) {
            throw UsageError("--png takes one FILE");
        }
        extract_preview(arguments.files.names[0], arguments.out, arguments.save_options());
        return true;
    };
}

Action declare_thumbnail(CLI::App& command, Arguments& arguments) {
    command
        .add_option("-s,--size", arguments.thumbnail_size,
                    "Most pixels of width and height (default: 128)")
        ->check(CLI::Range(1, 4096));
    add_in(command, arguments, "IN");
    add_out(command, arguments);
    return [&] {
        thumbnail(arguments.in, arguments.out, arguments.thumbnail_size);
        return true;
    };
}

Action declare_show(CLI::App& command, Arguments& arguments) {
    static const std::map<std::string, Medium> media = {{"cells", Medium::cells},
                                                        {"sixel", Medium::sixel},
                                                        {"kitty", Medium::kitty},
                                                        {"iterm", Medium::iterm}};
    ShowOptions& options = arguments.showing;
    add_in(command, arguments);
    add_view(command, arguments);
    add_kind(command, arguments);
    add_rect(command, arguments);
    add_lenient(command, arguments);
    command
        .add_option_function<std::string>(
            "--as", [&](const std::string& word) { options.medium = media.at(word); },
            "cells, sixel, kitty or iterm (default: the best that the terminal is known to take)")
        ->check(CLI::IsMember({"cells", "sixel", "kitty", "iterm"}));
    add_size(command, "--size", "Columns and rows to use (default: those of the terminal)",
             [&](Size size) {
                 options.cells = host::Extent{size.width, size.height};
             });
    add_from(command, arguments);
    return [&] {
        options.load = arguments.load_options();
        show({arguments.in, arguments.from}, options);
        return true;
    };
}

Action declare_cinfo(CLI::App& command, Arguments& arguments) {
    add_in(command, arguments);
    command.add_option("--set", arguments.assignments, "Values to store, such as int_3=7")
        ->type_name("name=value");
    add_json(command, arguments);
    return [&] {
        if (arguments.assignments.empty()) {
            show_cinfo(arguments.in, arguments.json);
        } else {
            change_cinfo(arguments.in, arguments.assignments);
        }
        return true;
    };
}

Action declare_formats(CLI::App& command, Arguments& arguments) {
    add_json(command, arguments);
    return [&] {
        list_formats(arguments.json);
        return true;
    };
}

Action declare_completion(CLI::App& command, Arguments& arguments) {
    command.add_option("SHELL", arguments.in, "bash, zsh or fish")
        ->required()
        ->check(CLI::IsMember(completion_shells()));
    return [&] {
        print("%s", completions(*command.get_parent(), arguments.in).c_str());
        return true;
    };
}

struct Command {
    const char* name;
    const char* summary;
    Action (*declare)(CLI::App& command, Arguments& arguments);
};

constexpr Command commands[] = {
    {"info", "Show what is in picture files", declare_info},
    {"convert", "Convert pictures to another format, by the extension of OUT", declare_convert},
    {"check", "Read whole pictures and reels, and say what is wrong with them", declare_check},
    {"checksum", "Print checksums of pixels, or verify them", declare_checksum},
    {"chart", "Draw a test chart with a matte", declare_chart},
    {"compare", "Find out whether two pictures have the same pixels and mattes", declare_compare},
    {"header", "Show every field of files' headers, or change some", declare_header},
    {"catalogue", "Save the small picture inside a Cineon file", declare_catalogue},
    {"preview", "Make the two previews beside a picture (FILE.mpc), or save the first of them",
     declare_preview},
    {"thumbnail", "Save a small PNG picture to stand for a file", declare_thumbnail},
    {"show", "Draw a picture in the terminal", declare_show},
    {"cinfo", "Show or change the cutout information beside a picture (FILE.cinfo)", declare_cinfo},
    {"formats", "List the formats and what each can do", declare_formats},
    {"completion", "Print what a shell needs to complete command lines", declare_completion},
};

}  // namespace

Action parse_command_line(int argc, char** argv) {
    const auto owner =
        std::make_shared<CLI::App>("Reads, writes and converts pictures.", "trellis");
    CLI::App& app = *owner;
    app.set_version_flag("--version", "trellis " TRELLIS_VERSION);
    app.require_subcommand(0, 1);

    const auto arguments = std::make_shared<Arguments>();
    Action chosen;
    for (const Command& command : commands) {
        CLI::App& declared = *app.add_subcommand(command.name, command.summary);
        declared.footer("\n" + examples_of(command.name));
        const Action work = command.declare(declared, *arguments);
        declared.callback(
            [&chosen, arguments, work] { chosen = [arguments, work] { return work(); }; });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw UsageError(error.what() + std::string("; see trellis --help"));
        }
        app.exit(error);  // prints what was asked for
        return [] { return true; };
    }
    if (!chosen) {
        throw UsageError("a command is missing; see trellis --help");
    }
    return [owner, chosen] { return chosen(); };
}

}  // namespace tool
