// The Maya IFF descriptor and the slots in it.

#include "frame/descriptor.h"

#include "trellis/pic_format.h"
#include "trellis/settings.h"

#include "formats/iff/queries.h"
#include "formats/iff/reader.h"
#include "formats/iff/writer.h"
#include "frame/slots.h"
#include "state/limits.h"

namespace {

using namespace trellis;

Error load(const char* name, const LoadRequest& request) {
    // Loads go into buffers of the type that the host has set; saves always take 8-bit ones.
    const bool deep = inq_buffer_type_trellis() == 1;
    const iff::Buffers buffers = {deep, request.colour, request.colour_pitch, request.matte,
                                  request.matte_pitch};
    return iff::read_maya_pic(name, buffers, request.rectangle, request.file_x, request.file_y,
                              current_limits());
}

Error save(const char* name, const SaveRequest& request) {
    return iff::write_maya_pic(name, ColourSource8(request.colour, request.colour_pitch),
                               MatteSource8(request.matte, request.matte_pitch), request.rectangle,
                               request.compress);
}

constexpr pic_format maya_format = [] {
    pic_format format = name_format(TRELLIS_TYPE_MAYA, "iff", "iff", "MAYA(Bitmap)", "MAYA");
    format.load_pic_fn = LoadSlots<load>::pic;
    format.save_pic_fn = SaveSlots<save>::pic;
    format.load_cut_fn = LoadSlots<load>::cut;
    format.save_cut_fn = SaveSlots<save>::cut;
    format.load_mask_fn = LoadSlots<load>::mask;
    format.save_mask_fn = SaveSlots<save>::mask;
    format.size_pic_fn = format.size_mask_fn = iff::size_maya;
    format.depth_supported_fn = is_native_depth<0>;
    format.inq_type_fn = iff::inq_maya_type_fn;
    format.info_fn = iff::info_maya;
    return format;
}();

}  // namespace

void init_maya_pic_(pic_format* format) {
    fill_descriptor(*format, maya_format);
}
