// The Cineon probe, queries, catalogue slot and reader.

#include "fuzz_film.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const pic_format format = [] {
        pic_format filled{};
        init_smpte_pic_(&filled);
        return filled;
    }();
    fuzz::read_film(format, bytes, size);
    return 0;
}
