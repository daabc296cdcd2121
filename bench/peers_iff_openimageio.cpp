#include <OpenImageIO/imageio.h>

#include "peers_iff.h"
#include "support.h"

namespace bench {

bool peer_loads_iff(const std::string& file) {
    static std::vector<std::uint8_t> samples(pixels * 4);
    const auto input = OIIO::ImageInput::open(file);
    return input && input->read_image(0, 0, 0, 4, OIIO::TypeDesc::UINT8, samples.data());
}

bool peer_saves_iff(const std::string& file, const std::vector<std::uint8_t>& samples) {
    const auto output = OIIO::ImageOutput::create(file);
    OIIO::ImageSpec spec(width, height, 4, OIIO::TypeDesc::UINT8);
    spec.attribute("compression", "rle");
    return output && output->open(file, spec) &&
           output->write_image(OIIO::TypeDesc::UINT8, samples.data()) && output->close();
}

}  // namespace bench
