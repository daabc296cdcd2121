#include "frame/file_name.h"

#include <cstring>

namespace trellis {

Error join_name(const char* name, const char* suffix, Block<char>& joined) {
    if (name == nullptr) {
        return Error::open;
    }
    const std::size_t length = std::strlen(name);
    const std::size_t suffix_size = std::strlen(suffix) + 1;
    TRELLIS_TRY(joined.allocate(length + suffix_size));
    std::memcpy(joined.data(), name, length);
    std::memcpy(joined.data() + length, suffix, suffix_size);
    return Error::none;
}

}  // namespace trellis
