// The cutout-information reader, called as hosts call it: the size first, then the outline.

#include <algorithm>

#include "trellis/trellis.h"

#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::SideFile file(".cinfo");
    // Other versions are announced on standard output.
    static const bool is_quiet = std::freopen("/dev/null", "w", stdout) != nullptr;
    static_cast<void>(is_quiet);
    const char* name = file.with(bytes, size);

    unsigned int ints[8] = {};
    float reals[4] = {};
    const int code =
        size_cutout_info_trellis(name, &ints[0], &ints[1], &ints[2], &ints[3], &reals[0], &reals[1],
                                 &reals[2], &reals[3], &ints[5], &ints[6], nullptr, &ints[7]);

    // The size that the query gives is room enough, and 40 bytes are always needed; a size beyond
    // the file's is never used.
    std::vector<std::uint8_t> outline(
        std::max<std::size_t>(std::min<std::size_t>(ints[6], size), 40));
    const int again = load_cutout_info_trellis(
        name, &ints[0], &ints[1], &ints[2], &ints[3], &reals[0], &reals[1], &reals[2], &reals[3],
        &ints[4], &ints[5], &ints[6], outline.data(), nullptr, &ints[7]);
    if (again != code) {
        std::abort();
    }
    return 0;
}
