// Lists of frames and patterns of names. A frame's name leads back to the frame.

#include <cstdlib>
#include <string>

#include "trellis/sequence.hpp"

using namespace trellis::host;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(bytes), size);
    constexpr std::size_t most = 10'000'000;
    if (const auto frames = parse_frames(text); frames && frames->size() > most) {
        std::abort();
    }
    const auto pattern = Pattern::parse(text);
    if (!pattern) {
        return 0;
    }
    for (const std::int64_t frame : {0, 7, 1001, 123456789}) {
        const std::string name = pattern->name(frame);
        if (pattern->frame_of(name.substr(name.rfind('/') + 1)) != frame) {
            std::abort();
        }
    }
    return 0;
}
