// The minipic reader.

#include "trellis/trellis.h"

#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::SideFile file(".mpc");
    fuzz::Steering steering(bytes, size);
    const int capacity = steering.next(0, 255);
    const char* name = file.with(bytes, size);

    std::vector<std::uint8_t> destination(static_cast<std::size_t>(capacity) * 4);
    int width = -1;
    int height = -1;
    int type = -1;
    const int code =
        read_minipic_trellis(name, destination.data(), capacity, &width, &height, &type);
    const bool is_told = code == TRELLIS_NO_ERROR || code == TRELLIS_MINIPIC_TOO_BIG_ERROR;
    if (is_told != (width >= 0 && height >= 0) ||
        (code == TRELLIS_NO_ERROR && static_cast<std::int64_t>(width) * height > capacity)) {
        std::abort();
    }
    return 0;
}
