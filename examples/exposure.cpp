// A C++ host in one page: opens or closes the exposure of a picture by some stops, whatever the
// formats of the two files.

#include <trellis/host.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace host = trellis::host;

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: exposure IN OUT STOPS\n");
        return 2;
    }
    const float gain = std::exp2(std::strtof(argv[3], nullptr));
    try {
        const host::Description in = host::describe(argv[1]);
        std::printf("%s: %s, %d x %d pixels of %d bits\n", argv[1], in.format->name.c_str(),
                    in.width, in.height, in.depth);

        // 16-bit pictures have samples from 0 to 16383 and no spare channel.
        host::Picture picture =
            host::load(argv[1], {.kind = TRELLIS_KIND_IMAGE, .region = {}, .depth = 16});
        auto* samples = reinterpret_cast<std::uint16_t*>(picture.colour());
        const std::size_t count = picture.pixels() * 3;
        std::transform(samples, samples + count, samples, [gain](std::uint16_t sample) {
            return static_cast<std::uint16_t>(std::min(std::round(sample * gain), 16383.0F));
        });
        host::save(picture, argv[2], {.compress = true, .force = true});
    } catch (const host::Error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
