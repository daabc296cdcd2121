// The DPX and Cineon descriptors and the slots in them.

#include "frame/descriptor.h"

#include "trellis/film.h"
#include "trellis/pic_format.h"

#include "formats/dpx/catalogue.h"
#include "formats/dpx/queries.h"
#include "formats/dpx/reader.h"
#include "formats/dpx/writer.h"
#include "frame/slots.h"

namespace {

using namespace trellis;
using dpx::Mode;

// Both formats have the same slots, around a load and a save of their own.
using Load = Error (*)(const char*, Colour16, Matte16, const Rectangle&, int, int);
using Save = Error (*)(const char*, Colour16, Matte16, const Rectangle&, Mode);

template <Load load_film>
Error load(const char* name, const LoadRequest& request) {
    return load_film(name, Colour16(request.colour, request.colour_pitch),
                     Matte16(request.matte, request.matte_pitch), request.rectangle, request.file_x,
                     request.file_y);
}

constexpr Mode mode_of(trellis_kind kind) {
    switch (kind) {
        case TRELLIS_KIND_MASK:
            return Mode::mask;
        case TRELLIS_KIND_CUTOUT:
            return Mode::cutout;
        default:
            return Mode::picture;
    }
}

// The formats have no compressed storage.
template <Save save_film>
Error save(const char* name, const SaveRequest& request) {
    return save_film(name, Colour16(request.colour, request.colour_pitch),
                     Matte16(request.matte, request.matte_pitch), request.rectangle,
                     mode_of(request.kind));
}

int load_dpx_catalogue(const char* /*name*/, void* /*buffer*/, int /*capacity*/,
                       unsigned int* /*width*/, unsigned int* /*height*/,
                       unsigned int* /*present*/) {
    return code(Error::no_catalogue);
}

template <Load load_film, Save save_film>
constexpr pic_format film_format(pic_format format) {
    using Loads = LoadSlots<load<load_film>>;
    using Saves = SaveSlots<save<save_film>>;
    format.load_pic_fn = Loads::pic;
    format.save_pic_fn = Saves::pic;
    format.load_cut_fn = Loads::cut;
    format.save_cut_fn = Saves::cut;
    format.load_mask_fn = Loads::mask;
    format.save_mask_fn = Saves::mask;
    format.depth_supported_fn = is_native_depth<1>;
    return format;
}

constexpr pic_format dpx_format = [] {
    pic_format format = film_format<dpx::load_dpx, dpx::save_dpx>(
        name_format(TRELLIS_TYPE_DPX, "dpx", "dpx", "DPX(10bit)", "DPX"));
    format.size_pic_fn = format.size_mask_fn = dpx::size_dpx;
    format.load_cat_fn = load_dpx_catalogue;
    format.inq_type_fn = inq_dpx_type_fn_;
    format.info_fn = dpx::info_dpx;
    return format;
}();

constexpr pic_format cineon_format = [] {
    pic_format format = film_format<dpx::load_smpte, dpx::save_smpte>(
        name_format(TRELLIS_TYPE_CINEON, "cin", "cin", "Kodak(10bit)", "SMPTE"));
    format.size_pic_fn = format.size_mask_fn = dpx::size_smpte;
    format.load_cat_fn = dpx::load_smpte_catalogue;
    format.inq_type_fn = inq_smpte_type_fn;
    format.info_fn = dpx::info_smpte;
    return format;
}();

}  // namespace

void init_dpx_pic_(pic_format* format) {
    fill_descriptor(*format, dpx_format);
}

void init_smpte_pic_(pic_format* format) {
    fill_descriptor(*format, cineon_format);
}
