// The Pixar descriptor and the slots in it.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"

#include "formats/pixar/header.h"
#include "formats/pixar/queries.h"
#include "formats/pixar/reader.h"
#include "formats/pixar/writer.h"
#include "frame/slots.h"
#include "state/limits.h"

namespace {

using namespace trellis;

Error load(const char* name, const LoadRequest& request) {
    std::uint16_t format = 0;
    return pixar::load_pixar(name, Colour8(request.colour, request.colour_pitch),
                             Matte8(request.matte, request.matte_pitch), request.rectangle,
                             request.file_x, request.file_y, current_limits(), format);
}

Error save(const char* name, const SaveRequest& request) {
    return pixar::save_pixar(
        name, ColourSource8(request.colour, request.colour_pitch),
        MatteSource8(request.matte, request.matte_pitch), request.rectangle, request.compress != 0,
        request.kind == TRELLIS_KIND_IMAGE ? pixar::image_format : pixar::cutout_format);
}

constexpr pic_format pixar_format = [] {
    pic_format format = name_format(TRELLIS_TYPE_PIXAR, "pic", "", "Pixar", "PIXAR");
    format.load_pic_fn = LoadSlots<load>::pic;
    format.save_pic_fn = SaveSlots<save>::pic;
    format.load_cut_fn = LoadSlots<load>::cut;
    format.save_cut_fn = SaveSlots<save>::cut;
    format.size_pic_fn = pixar::size_pixar;
    format.depth_supported_fn = is_native_depth<0>;
    format.inq_type_fn = pixar::inq_pixar_type_fn;
    format.info_fn = pixar::info_pixar;
    return format;
}();

}  // namespace

void init_pixar_pic_(pic_format* format) {
    fill_descriptor(*format, pixar_format);
}
