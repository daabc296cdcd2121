#include "output.h"

#include <nlohmann/json.hpp>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <system_error>

#include "trellis/errors.h"

namespace tool {

namespace {

void check_output(bool good) {
    if (!good) {
        throw OutputError(host::Error("standard output", TRELLIS_WRITE_ERROR,
                                      std::generic_category().message(errno))
                              .what());
    }
}

/// Bytes that are no text are replaced.
std::string dump(const Json& value, int indent) {
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

void write_line(const std::string& text) {
    std::fprintf(stderr, "trellis: %s\n", text.c_str());
}

}  // namespace

std::string printable(std::string_view text) {
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        std::array<char, 5> escape{};
        if (c == '\n' || c == '\t' || c == '\r') {
            shown += c == '\n' ? "\\n" : c == '\t' ? "\\t" : "\\r";
        } else if (byte < 0x20 || byte == 0x7F) {
            std::snprintf(escape.data(), escape.size(), "\\x%02X", byte);
            shown += escape.data();
        } else {
            shown += c;
        }
    }
    return shown;
}

void print(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int count = std::vprintf(format, arguments);
    va_end(arguments);
    check_output(count >= 0);
}

void print_json(const Json& value) {
    print("%s\n", dump(value, 2).c_str());
}

void print_json_line(const Json& value) {
    print("%s\n", dump(value, -1).c_str());
}

void JsonList::add(const Json& element) {
    std::string text = dump(element, 2);
    for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 1)) {
        text.insert(at + 1, "  ");
    }
    print("%s\n  %s", empty_ ? "[" : ",", text.c_str());
    empty_ = false;
}

void JsonList::finish() {
    print("%s]\n", empty_ ? "[" : "\n");
}

void finish_output() {
    check_output(std::fflush(stdout) == 0);
}

Json json_of(float value) {
    std::array<char, 32> digits{};
    const auto end = std::to_chars(digits.begin(), digits.end(), value).ptr;
    double nearest = value;
    std::from_chars(digits.begin(), end, nearest);
    return nearest;
}

void report(const host::Error& error) noexcept try {
    write_line(printable(error.what()));
} catch (const std::bad_alloc&) {
    report_no_memory();
}

void report(std::string_view message) noexcept try {
    write_line(printable(message));
} catch (const std::bad_alloc&) {
    report_no_memory();
}

void report_no_memory() noexcept {
    std::fprintf(stderr, "trellis: %s (code %d)\n", err_msg_string_pic(TRELLIS_ALLOCATION_ERROR),
                 TRELLIS_ALLOCATION_ERROR);
}

void remark(const std::string& file, const std::string& text) {
    write_line(printable(file + ": " + text));
}

}  // namespace tool
