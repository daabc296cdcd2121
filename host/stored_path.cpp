#include "stored_path.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <span>

#include "trellis/errors.h"
#include "trellis/host.hpp"

#include "header_layout.h"

namespace trellis::host {

namespace {

// A path as a header has it: cut off at the field's end, or followed by zeros.
std::string as_field(std::string path) {
    path.resize(path_field_size);
    return path;
}

std::span<const std::size_t> path_fields(const pic_format& format) {
    switch (format.type) {
        case TRELLIS_TYPE_DPX:
            return dpx_path_fields();
        case TRELLIS_TYPE_CINEON:
            return cineon_path_fields();
        default:
            return {};
    }
}

}  // namespace

void replace_stored_path(const char* saved_as, const pic_format& format,
                         const std::string& target) {
    const std::span<const std::size_t> fields = path_fields(format);
    if (fields.empty()) {
        return;
    }
    const auto fail_unless = [&](bool good) {
        if (!good) {
            throw Error(target, TRELLIS_WRITE_ERROR, system_reason(TRELLIS_WRITE_ERROR, errno));
        }
    };
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(saved_as, "r+be"), std::fclose);
    fail_unless(file != nullptr);
    for (const std::size_t offset : fields) {
        std::string stored(path_field_size, '\0');
        const auto go_there = [&] {
            return std::fseek(file.get(), static_cast<long>(offset), SEEK_SET) == 0;
        };
        fail_unless(go_there() && std::fread(stored.data(), stored.size(), 1, file.get()) == 1);
        if (stored == as_field(saved_as)) {
            stored = as_field(std::filesystem::path(target).filename());
            fail_unless(go_there() &&
                        std::fwrite(stored.data(), stored.size(), 1, file.get()) == 1);
        }
    }
    fail_unless(std::fclose(file.release()) == 0);
}

}  // namespace trellis::host
