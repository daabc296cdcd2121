#include <OpenImageIO/imageio.h>

#include "peers.h"
#include "support.h"

namespace bench {

namespace {

bool load(const std::string& file, const std::string& /*format*/) {
    static std::vector<std::uint16_t> samples;
    const auto input = OIIO::ImageInput::open(file);
    if (!input) {
        return false;
    }
    const OIIO::ImageSpec& spec = input->spec();
    samples.resize(spec.image_pixels() * static_cast<std::size_t>(spec.nchannels));
    return input->read_image(0, 0, 0, spec.nchannels, OIIO::TypeDesc::UINT16, samples.data());
}

bool save(const std::string& file, const std::vector<std::uint16_t>& samples) {
    const auto output = OIIO::ImageOutput::create(file);
    OIIO::ImageSpec spec(width, height, 3, OIIO::TypeDesc::UINT16);
    spec.attribute("oiio:BitsPerSample", 10);
    return output && output->open(file, spec) &&
           output->write_image(OIIO::TypeDesc::UINT16, samples.data()) && output->close();
}

}  // namespace

Peer openimageio() {
    OIIO::attribute("threads", 1);
    return {"OpenImageIO", load, save};
}

}  // namespace bench
