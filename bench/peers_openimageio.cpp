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
    const OIIO::ImageSpec& form = input->spec();
    samples.resize(form.image_pixels() * static_cast<std::size_t>(form.nchannels));
    return input->read_image(0, 0, 0, form.nchannels, OIIO::TypeDesc::UINT16, samples.data());
}

bool save(const std::string& file, const std::vector<std::uint16_t>& samples) {
    const auto output = OIIO::ImageOutput::create(file);
    OIIO::ImageSpec form(width, height, 3, OIIO::TypeDesc::UINT16);
    form.attribute("oiio:BitsPerSample", 10);
    return output && output->open(file, form) &&
           output->write_image(OIIO::TypeDesc::UINT16, samples.data()) && output->close();
}

}  // namespace

Peer openimageio() {
    OIIO::attribute("threads", 1);
    return {"OpenImageIO", load, save};
}

}  // namespace bench
