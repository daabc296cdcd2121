// The Pixar reader with files that hold together but for a few bytes.

#include "built_files.h"
#include "readers.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Choices choices(bytes, size);
    const std::vector<std::uint8_t> file = fuzz::build_pixar(choices);
    fuzz::read_pixar(file.data(), file.size());
    return 0;
}
