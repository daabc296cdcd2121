// The DPX and Cineon descriptors and the slots in them.

#include "frame/descriptor.h"

#include <cstring>

#include "trellis/film.h"
#include "trellis/pic_format.h"
#include "trellis/settings.h"

#include "formats/dpx/catalogue.h"
#include "formats/dpx/queries.h"
#include "formats/dpx/reader.h"
#include "formats/dpx/samples_reader.h"
#include "formats/dpx/samples_writer.h"
#include "formats/dpx/writer.h"
#include "frame/slots.h"
#include "state/film_words.h"
#include "state/last_header.h"
#include "state/limits.h"

namespace {

using namespace trellis;
using dpx::Mode;

// The state of the process is touched here and nowhere else: a slot takes what it needs in one
// step, calls a reader or writer that knows nothing of it, and publishes what that has seen.

// A host may answer this for itself. No table is applied, whatever it says.
void ask_for_table() {
    static_cast<void>(inq_apply_user_lut_trellis_());
}

dpx::Target target_of(const LoadRequest& request) {
    return {Colour16(request.colour, request.colour_pitch),
            Matte16(request.matte, request.matte_pitch), request.rectangle, request.file_x,
            request.file_y};
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
dpx::Source source_of(const SaveRequest& request) {
    return {ColourSource16(request.colour, request.colour_pitch),
            MatteSource16(request.matte, request.matte_pitch), request.rectangle,
            mode_of(request.kind)};
}

Error load_dpx(const char* name, const LoadRequest& request) {
    dpx::FilmFile film;
    TRELLIS_TRY(film.file.open(name));
    dpx::raw_dpx_header header{};
    copy_last_header(TRELLIS_TYPE_DPX, bytes_of(header));
    const Error error = dpx::read_dpx(film, header);
    TRELLIS_TRY(publish_last_header(TRELLIS_TYPE_DPX, bytes_of(header), film.words));
    TRELLIS_TRY(error);
    ask_for_table();
    return dpx::load_lines(film, target_of(request), current_limits());
}

// A header in which the fields of each save are still to be set: the held one, or a new one.
dpx::cineon_buffer cineon_start(const char* name) {
    dpx::cineon_buffer buffer{};
    if (copy_last_header(TRELLIS_TYPE_CINEON, bytes_of(buffer)) != sizeof buffer) {
        buffer = {};
        buffer.header = dpx::default_cineon_header(name, dpx::TimeText(dpx::cineon_date_pattern));
    }
    return buffer;
}

Error load_smpte(const char* name, const LoadRequest& request) {
    dpx::FilmFile film;
    TRELLIS_TRY(film.file.open(name));
    dpx::cineon_buffer buffer = cineon_start(name);
    const Error error = dpx::read_smpte(film, buffer);
    TRELLIS_TRY(publish_last_header(TRELLIS_TYPE_CINEON, bytes_of(buffer), film.words));
    TRELLIS_TRY(error);
    ask_for_table();
    return dpx::load_lines(film, target_of(request), current_limits());
}

// Saves with the held header, or a new one. A slot leaves alone what that says of the way samples
// are stored; other saves have it say what they write, in the file alone: what is published stays
// the start of a slot's save.
enum class StorageFields { kept, set };

Error save_dpx(const char* name, const dpx::Source& source, StorageFields fields) {
    const dpx::TimeText time(dpx::dpx_time_pattern);
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    dpx::dpx_header header{};
    if (copy_last_header(TRELLIS_TYPE_DPX, bytes_of(header)) != sizeof header) {
        header = dpx::default_dpx_header(name, time);
    }
    dpx::set_dpx_save_fields(header, name, time, source);
    dpx::dpx_header held = header;
    be16& orientation = held.generic.image.orientation;
    dpx::leave_in_host_order(orientation, orientation);
    TRELLIS_TRY(publish_last_header(TRELLIS_TYPE_DPX, bytes_of(held), {}));
    ask_for_table();
    if (fields == StorageFields::set) {
        dpx::set_storage(header, source.bits);
    }
    return dpx::write_dpx(file, header, source);
}

Error save_smpte(const char* name, const dpx::Source& source, StorageFields fields) {
    const dpx::TimeText date(dpx::cineon_date_pattern);
    OutputFile file;
    TRELLIS_TRY(file.create(name));
    dpx::cineon_buffer buffer = cineon_start(name);
    std::memset(buffer.rest, 0, sizeof buffer.rest);
    dpx::set_cineon_save_fields(buffer.header, name, date, source);
    TRELLIS_TRY(publish_last_header(TRELLIS_TYPE_CINEON, bytes_of(buffer), {}));
    ask_for_table();
    if (fields == StorageFields::set) {
        dpx::mend_cineon_header(buffer.header);
    }
    return dpx::write_smpte(file, buffer.header, source);
}

template <auto save>
Error save_slot(const char* name, const SaveRequest& request) {
    return save(name, source_of(request), StorageFields::kept);
}

Error save_samples(const char* name, dpx::Source source, const trellis_film_save* options) {
    TRELLIS_TRY(dpx::parse_options(options, source));
    if (options->header != nullptr) {
        return dpx::save_with_header(name, source, *options);
    }
    return options->format == TRELLIS_TYPE_DPX ? save_dpx(name, source, StorageFields::set)
                                               : save_smpte(name, source, StorageFields::set);
}

// The slot of a query that also answers what a header says to the process-wide words.
template <auto query, class... Outs>
int publishing(const char* name, Outs... outs) {
    FilmWords words;
    const int result = query(name, outs..., words);
    publish_film_words(words);
    return result;
}

int load_dpx_catalogue(const char* /*name*/, void* /*buffer*/, int /*capacity*/,
                       unsigned int* /*width*/, unsigned int* /*height*/,
                       unsigned int* /*present*/) {
    return code(Error::no_catalogue);
}

// Both formats have the same slots, around a load and a save of their own.
template <auto load, auto save>
constexpr pic_format film_format(pic_format format) {
    using Loads = LoadSlots<load>;
    using Saves = SaveSlots<save>;
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
    pic_format format = film_format<load_dpx, save_slot<save_dpx>>(
        name_format(TRELLIS_TYPE_DPX, "dpx", "dpx", "DPX(10bit)", "DPX"));
    format.size_pic_fn = format.size_mask_fn = publishing<dpx::size_dpx>;
    format.load_cat_fn = load_dpx_catalogue;
    format.inq_type_fn = inq_dpx_type_fn_;
    format.info_fn = publishing<dpx::info_dpx>;
    return format;
}();

constexpr pic_format cineon_format = [] {
    pic_format format = film_format<load_smpte, save_slot<save_smpte>>(
        name_format(TRELLIS_TYPE_CINEON, "cin", "cin", "Kodak(10bit)", "SMPTE"));
    format.size_pic_fn = format.size_mask_fn = publishing<dpx::size_smpte>;
    format.load_cat_fn = publishing<dpx::load_smpte_catalogue>;
    format.inq_type_fn = inq_smpte_type_fn;
    format.info_fn = publishing<dpx::info_smpte>;
    return format;
}();

}  // namespace

void init_dpx_pic_(pic_format* format) {
    fill_descriptor(*format, dpx_format);
}

void init_smpte_pic_(pic_format* format) {
    fill_descriptor(*format, cineon_format);
}

int load_film_samples_trellis(const char* name, void* rgb, int pitch, void* alpha, int alpha_pitch,
                              int x0, int y0, int x1, int y1, int file_x, int file_y) {
    return code(dpx::load_samples(
        name, {Colour16(rgb, pitch), Matte16(alpha, alpha_pitch), {x0, y0, x1, y1}, file_x, file_y},
        current_limits()));
}

int save_film_samples_trellis(const char* name, const void* rgb, int pitch, const void* alpha,
                              int alpha_pitch, int x0, int y0, int x1, int y1,
                              const trellis_film_save* options) {
    const Mode mode = rgb == nullptr ? Mode::mask : alpha == nullptr ? Mode::picture : Mode::cutout;
    return code(save_samples(
        name,
        {ColourSource16(rgb, pitch), MatteSource16(alpha, alpha_pitch), {x0, y0, x1, y1}, mode},
        options));
}
