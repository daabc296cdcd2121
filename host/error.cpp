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

}  // namespace trellis::host
