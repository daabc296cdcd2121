// The last-header buffer: one heap block with the raw header of the last DPX or Cineon file
// handled.

#include <cstdlib>
#include <cstring>

#include "trellis/settings.h"

#include "frame/error.h"

namespace {

struct LastHeader {
    void* block = nullptr;
    int size = 0;
    int type = 0;
};

LastHeader last_header;

}  // namespace

int realloc_last_header_trellis(int size) {
    // malloc's family, because a host that takes the block over frees it itself. A size of 0 still
    // gets a block: realloc would take it as a wish to free.
    void* grown = nullptr;
    if (size >= 0) {
        grown = std::realloc(last_header.block, size > 0 ? static_cast<std::size_t>(size) : 1);
    }
    if (grown == nullptr) {
        std::free(last_header.block);
        last_header.block = nullptr;
        last_header.size = 0;
        return code(trellis::Error::allocation);
    }
    if (size > last_header.size) {
        std::memset(static_cast<char*>(grown) + last_header.size, 0,
                    static_cast<std::size_t>(size - last_header.size));
    }
    last_header.block = grown;
    last_header.size = size;
    return 0;
}

int inq_last_header_trellis(void** header, int* size) {
    *header = last_header.block;
    *size = last_header.size;
    return 0;
}

int set_last_header_type_trellis(int type) {
    last_header.type = type;
    return 0;
}

int inq_last_header_type_trellis(int* type) {
    *type = last_header.type;
    return 0;
}

int clear_last_header_trellis() {
    last_header = {};
    return 0;
}

int free_last_header_trellis() {
    if (last_header.block != nullptr) {
        std::free(last_header.block);
        last_header = {};
    }
    return 0;
}
