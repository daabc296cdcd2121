// The Pixar probe, queries and reader.

#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::read_pixar(bytes, size);
    return 0;
}
