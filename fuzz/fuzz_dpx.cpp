// The DPX probe, queries, catalogue slot and reader.

#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::read_film(fuzz::format<init_dpx_pic_>(), bytes, size);
    return 0;
}
