// The last-header buffer: one heap block with the raw header of the last DPX or Cineon file
// handled.

#include "state/last_header.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include "trellis/settings.h"

#include "state/film_words.h"

namespace {

struct LastHeader {
    void* block = nullptr;
    int size = 0;
    int type = 0;
};

std::mutex mutex;
LastHeader last_header;

using Lock = std::lock_guard<std::mutex>;

// malloc's family, because a host that takes the block over frees it itself. A size of 0 still gets
// a block: realloc would take it as a wish to free.
trellis::Error resize(int size) {
    void* resized = nullptr;
    if (size >= 0) {
        resized = std::realloc(last_header.block, size > 0 ? static_cast<std::size_t>(size) : 1);
    }
    if (resized == nullptr) {
        std::free(last_header.block);
        last_header.block = nullptr;
        last_header.size = 0;
        return trellis::Error::allocation;
    }
    if (size > last_header.size) {
        std::memset(static_cast<char*>(resized) + last_header.size, 0,
                    static_cast<std::size_t>(size - last_header.size));
    }
    last_header.block = resized;
    last_header.size = size;
    return trellis::Error::none;
}

}  // namespace

std::size_t trellis::copy_last_header(int type, std::span<std::uint8_t> copy) {
    const Lock lock(mutex);
    if (last_header.type != type || last_header.block == nullptr) {
        return 0;
    }
    const auto size = static_cast<std::size_t>(last_header.size);
    std::memcpy(copy.data(), last_header.block, std::min(size, copy.size()));
    return size;
}

trellis::Error trellis::publish_last_header(int type, std::span<const std::uint8_t> header,
                                            const FilmWords& words) {
    const Lock lock(mutex);
    TRELLIS_TRY(resize(static_cast<int>(header.size())));
    last_header.type = type;
    std::memcpy(last_header.block, header.data(), header.size());
    publish_film_words(words);
    return Error::none;
}

int realloc_last_header_trellis(int size) {
    const Lock lock(mutex);
    return code(resize(size));
}

int inq_last_header_trellis(void** header, int* size) {
    const Lock lock(mutex);
    *header = last_header.block;
    *size = last_header.size;
    return 0;
}

int set_last_header_type_trellis(int type) {
    const Lock lock(mutex);
    last_header.type = type;
    return 0;
}

int inq_last_header_type_trellis(int* type) {
    const Lock lock(mutex);
    *type = last_header.type;
    return 0;
}

int clear_last_header_trellis() {
    const Lock lock(mutex);
    last_header = {};
    return 0;
}

int free_last_header_trellis() {
    const Lock lock(mutex);
    if (last_header.block != nullptr) {
        std::free(last_header.block);
        last_header = {};
    }
    return 0;
}
