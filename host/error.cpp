#include <system_error>
#include <utility>

#include "trellis/errors.h"
#include "trellis/host.hpp"

namespace trellis::host {

Error::Error(std::string file, int code, std::string reason) : code_(code) {
    std::string message = err_msg_string_pic(static_cast<unsigned int>(code));
    std::string line = file + ": " + message;
    if (!reason.empty()) {
        line += ": " + reason;
    }
    line += " (code " + std::to_string(code) + ")";
    texts_ = std::make_shared<const Texts>(
        Texts{std::move(file), std::move(message), std::move(reason), std::move(line)});
}

std::string system_reason(int code, int error_number) {
    switch (code) {
        case TRELLIS_READ_ERROR:
        case TRELLIS_WRITE_ERROR:
        case TRELLIS_OPEN_ERROR:
        case TRELLIS_CLOSE_ERROR:
        case TRELLIS_SEEK_ERROR:
        case TRELLIS_STAT_ERROR:
            return error_number == 0 ? "" : std::generic_category().message(error_number);
        default:
            return "";
    }
}

}  // namespace trellis::host
