#include "file_error.h"

#include <cstdio>
#include <utility>

#include "trellis/errors.h"

namespace tool {

FileError::FileError(std::string path, int code, const std::string& explanation)
    : line_(std::move(path)) {
    line_ += ": ";
    line_ += err_msg_string_pic(static_cast<unsigned int>(code));
    if (!explanation.empty()) {
        line_ += ": " + explanation;
    }
    line_ += " (code " + std::to_string(code) + ")";
}

void report(const std::exception& error) {
    std::fprintf(stderr, "trellis: %s\n", error.what());
}

}  // namespace tool
