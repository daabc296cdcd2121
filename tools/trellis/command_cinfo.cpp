#include <nlohmann/json.hpp>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <variant>
#include <vector>

#include "trellis/convert.h"
#include "trellis/errors.h"
#include "trellis/sidedata.h"

#include "command_line.h"
#include "commands.h"
#include "output.h"
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

CutoutInfo load_info(const std::string& path) {
    const OutputAside aside;
    CutoutInfo info;
    const char* name = path.c_str();
    unsigned int outline_size = 0;
    host::call_library(cinfo_name(path), [&] {
        return size_cutout_info_trellis(name, out(info.info_width), out(info.info_height),
                                        out(info.int_3), out(info.int_4), &info.real_1,
                                        &info.real_2, &info.real_3, &info.real_4, out(info.int_6),
                                        &outline_size, nullptr, out(info.int_7));
    });
    info.outline.resize(std::max(std::size_t{outline_size}, info.outline.size()));
    host::call_library(cinfo_name(path), [&] {
        return load_cutout_info_trellis(
            name, out(info.info_width), out(info.info_height), out(info.int_3), out(info.int_4),
            &info.real_1, &info.real_2, &info.real_3, &info.real_4, out(info.int_5),
            out(info.int_6), &outline_size, info.outline.data(), nullptr, out(info.int_7));
    });
    info.outline.resize(outline_size);
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

// The file begins with the name that its picture was saved under, which must not be a temporary
// one: a word that is zero, the version, the name's size with its final zero, the name.
void store_picture_name(const char* file, const std::string& name) {
    constexpr std::size_t size_at = 8;
    constexpr std::size_t name_at = 12;
    std::string bytes;
    {
        std::ifstream in(file, std::ios::binary);
        bytes.assign(std::istreambuf_iterator<char>(in), {});
    }
    std::uint32_t size = 0;
    std::memcpy(&size, bytes.data() + size_at, sizeof size);
    bytes.replace(name_at, size, name.c_str(), name.size() + 1);
    size = static_cast<std::uint32_t>(name.size() + 1);
    std::memcpy(bytes.data() + size_at, &size, sizeof size);
    std::ofstream out(file, std::ios::binary);
    if (!out.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
        throw host::Error(cinfo_name(name), TRELLIS_WRITE_ERROR,
                          host::system_reason(TRELLIS_WRITE_ERROR, errno));
    }
}

void save_info(const std::string& path, const CutoutInfo& info, bool force) {
    host::SafeFile file(cinfo_name(path), force);
    host::call_library(cinfo_name(path), [&] {
        return save_cutout_info_trellis(
            name_of_picture(file.path()).c_str(), info.info_width, info.info_height, info.int_3,
            info.int_4, info.real_1, info.real_2, info.real_3, info.real_4, info.int_5, info.int_6,
            static_cast<int>(info.outline.size()), info.outline.data(), nullptr, info.int_7);
    });
    store_picture_name(file.path(), std::filesystem::path(path).filename());
    file.keep();
}

Json as_json(int value) {
    return value;
}

Json as_json(float value) {
    return json_of(value);
}

Json to_json(const CutoutInfo& info) {
    Json json;
    for (const NamedMember& named : members) {
        std::visit([&](auto member) { json[named.name] = as_json(info.*member); }, named.member);
    }
    json["outline_size"] = info.outline.size();
    return json;
}

}  // namespace

void show_cinfo(const std::string& path, bool json) {
    const Json info = to_json(load_info(path));
    if (json) {
        print_json(info);
        return;
    }
    print("%s\n", printable(cinfo_name(path)).c_str());
    for (const auto& [name, value] : info.items()) {
        print("  %-12s %s\n", name.c_str(), value.dump().c_str());
    }
}

void change_cinfo(const std::string& path, const std::vector<std::string>& assignments) {
    std::error_code too_long;
    CutoutInfo info =
        std::filesystem::exists(cinfo_name(path), too_long) ? load_info(path) : defaults_for(path);
    for (const std::string& assignment : assignments) {
        if (!assign(info, assignment)) {
            throw UsageError("--set: no such value: " + assignment);
        }
    }
    save_info(path, info, true);
}

void copy_cinfo(const std::string& in, const std::string& out, bool force) {
    save_info(out, load_info(in), force);
}

}  // namespace tool
