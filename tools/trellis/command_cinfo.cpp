#include <nlohmann/json.hpp>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <filesystem>
#include <variant>
#include <vector>

#include "trellis/convert.h"
#include "trellis/errors.h"
#include "trellis/sidedata.h"

#include "commands.h"
#include "host/safe_file.h"
#include "report.h"
#include "side_files.h"

namespace tool {

namespace {

/// The contents of a cutout-information file; at first, what a cutout without one is taken to have.
struct CutoutInfo {
    int info_width = 0;
    int info_height = 0;
    int int_3 = 0;
    int int_4 = 0;
    float real_1 = 0;
    float real_2 = 0;
    float real_3 = 0.5F;
    float real_4 = 0.5F;
    int int_5 = 0;
    int int_6 = 1;
    int int_7 = 3;
    std::vector<unsigned char> outline =
        std::vector<unsigned char>(sizeof(trellis_default_outline));
};

using Member = std::variant<int CutoutInfo::*, float CutoutInfo::*>;

struct NamedMember {
    const char* name;
    Member member;
};

const NamedMember members[] = {
    {"info_width", &CutoutInfo::info_width}, {"info_height", &CutoutInfo::info_height},
    {"int_3", &CutoutInfo::int_3},           {"int_4", &CutoutInfo::int_4},
    {"real_1", &CutoutInfo::real_1},         {"real_2", &CutoutInfo::real_2},
    {"real_3", &CutoutInfo::real_3},         {"real_4", &CutoutInfo::real_4},
    {"int_5", &CutoutInfo::int_5},           {"int_6", &CutoutInfo::int_6},
    {"int_7", &CutoutInfo::int_7},
};

unsigned int* out(int& value) {
    return reinterpret_cast<unsigned int*>(&value);
}

/// While it lives, what is printed on standard output goes to standard error: the library announces
/// files of other versions there, where the tool prints what scripts read.
class OutputAside {
  public:
    OutputAside() : output_(dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    OutputAside(const OutputAside&) = delete;
    OutputAside& operator=(const OutputAside&) = delete;
    ~OutputAside() {
        std::fflush(stdout);
        dup2(output_, STDOUT_FILENO);
        close(output_);
    }

  private:
    int output_;
};

CutoutInfo load(const std::string& path) {
    const OutputAside aside;
    CutoutInfo info;
    const char* name = path.c_str();
    unsigned int outline_size = 0;
    int code = size_cutout_info_trellis(name, out(info.info_width), out(info.info_height),
                                        out(info.int_3), out(info.int_4), &info.real_1,
                                        &info.real_2, &info.real_3, &info.real_4, out(info.int_6),
                                        &outline_size, nullptr, out(info.int_7));
    if (code == 0) {
        info.outline.resize(std::max(std::size_t{outline_size}, info.outline.size()));
        code = load_cutout_info_trellis(
            name, out(info.info_width), out(info.info_height), out(info.int_3), out(info.int_4),
            &info.real_1, &info.real_2, &info.real_3, &info.real_4, out(info.int_5),
            out(info.int_6), &outline_size, info.outline.data(), nullptr, out(info.int_7));
        info.outline.resize(outline_size);
    }
    if (code != 0) {
        throw host::Error(cinfo_name(path), code);
    }
    return info;
}

CutoutInfo defaults_for(const std::string& path) {
    const host::Description picture = host::describe(path);
    CutoutInfo info;
    info.info_width = picture.width;
    info.info_height = picture.height;
    set_default_cutout_outline(info.outline.data(), 0, 0, picture.width, picture.height,
                               &info.real_1, &info.real_2);
    return info;
}

template <class Number>
bool parse(const std::string& text, Number& number) {
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end;
}

// "real_1=0.25"; false when there is no such member or no such number.
bool assign(CutoutInfo& info, const std::string& assignment) {
    const std::size_t equals = assignment.find('=');
    if (equals == std::string::npos) {
        return false;
    }
    for (const NamedMember& named : members) {
        if (assignment.compare(0, equals, named.name) == 0) {
            return std::visit(
                [&](auto member) { return parse(assignment.substr(equals + 1), info.*member); },
                named.member);
        }
    }
    return false;
}

void save(const std::string& path, const CutoutInfo& info) {
    host::SafeFile file(cinfo_name(path), true);
    const int code = file.written_by([&](const char* name) {
        return save_cutout_info_trellis(
            name_of_picture(name).c_str(), info.info_width, info.info_height, info.int_3,
            info.int_4, info.real_1, info.real_2, info.real_3, info.real_4, info.int_5, info.int_6,
            static_cast<int>(info.outline.size()), info.outline.data(), nullptr, info.int_7);
    });
    if (code != 0) {
        throw host::Error(cinfo_name(path), code);
    }
    file.keep();
}

nlohmann::ordered_json to_json(const CutoutInfo& info) {
    nlohmann::ordered_json json;
    for (const NamedMember& named : members) {
        std::visit([&](auto member) { json[named.name] = info.*member; }, named.member);
    }
    json["outline_size"] = info.outline.size();
    return json;
}

}  // namespace

void show_cinfo(const std::string& path, bool json) {
    const nlohmann::ordered_json info = to_json(load(path));
    if (json) {
        std::puts(info.dump(2).c_str());
        return;
    }
    std::printf("%s\n", cinfo_name(path).c_str());
    for (const auto& [name, value] : info.items()) {
        std::printf("  %-12s %s\n", name.c_str(), value.dump().c_str());
    }
}

std::string change_cinfo(const std::string& path, const std::vector<std::string>& assignments) {
    CutoutInfo info = std::filesystem::exists(cinfo_name(path)) ? load(path) : defaults_for(path);
    for (const std::string& assignment : assignments) {
        if (!assign(info, assignment)) {
            return assignment;
        }
    }
    save(path, info);
    return {};
}

}  // namespace tool
