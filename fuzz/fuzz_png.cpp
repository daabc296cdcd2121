// PNG files, which the host library reads through libpng: any bytes give a picture or an error.

#include "trellis/host.hpp"

#include "fuzz_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static fuzz::File file;
    try {
        const trellis::host::Picture picture = trellis::host::load(file.with(bytes, size));
        if (picture.width() < 1 || picture.height() < 1) {
            std::abort();
        }
    } catch (const trellis::host::Error&) {
    } catch (const std::bad_alloc&) {
    }
    return 0;
}
