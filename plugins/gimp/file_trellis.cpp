// A plug-in of GIMP that opens and exports DPX, Cineon, Pixar and Maya IFF pictures: the procedures
// that it has, and what each does.

#include <libgimp/gimp.h>
#include <libgimp/gimpui.h>

#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "trellis/settings.h"

#include "dialogs.h"
#include "drawables.h"

using namespace plugin;

namespace {

constexpr char load_procedure[] = "file-trellis-load";
constexpr char thumbnail_procedure[] = "file-trellis-load-thumb";
constexpr char header_parasite[] = "trellis-film-header";

/// A format that images are exported to.
struct Target {
    const char* procedure;
    const char* name;
    const char* extension;
    const char* mime_type;
    bool film;
};

constexpr Target targets[] = {
    {"file-trellis-dpx-save", "DPX picture", "dpx", "image/x-dpx", true},
    {"file-trellis-cineon-save", "Cineon picture", "cin", "image/x-cineon", true},
    {"file-trellis-pixar-save", "Pixar picture", "pic", "image/x-pixar-picture", false},
    {"file-trellis-iff-save", "Maya IFF picture", "iff", "image/x-maya-iff", false},
};

/// What a procedure gives back; a plug-in hands out memory that lives until its next call.
struct Answer {
    GimpPDBStatusType status = GIMP_PDB_SUCCESS;
    std::string error = {};           // for people, if the status is an error
    std::vector<gint32> values = {};  // an image first, if there are any
};

/// What the last call of a procedure in this session of GIMP had, or the default.
template <class Value>
Value last_or(const char* procedure, Value value) {
    gimp_get_data(procedure, &value);
    return value;
}

/// The header of a film file goes with its image, so that an export can keep what it says.
void keep_header(const host::Picture::FilmHeader& header, gint32 image) {
    std::string data(reinterpret_cast<const char*>(&header.type), sizeof header.type);
    data.append(header.bytes.begin(), header.bytes.end());
    GimpParasite* parasite = gimp_parasite_new(header_parasite, GIMP_PARASITE_PERSISTENT,
                                               static_cast<guint32>(data.size()), data.data());
    gimp_image_attach_parasite(image, parasite);
    gimp_parasite_free(parasite);
}

void use_header(gint32 image, host::Picture& picture) {
    GimpParasite* parasite = gimp_image_get_parasite(image, header_parasite);
    if (parasite == nullptr) {
        return;
    }
    const auto* data = static_cast<const std::uint8_t*>(gimp_parasite_data(parasite));
    const auto size = static_cast<std::size_t>(gimp_parasite_data_size(parasite));
    host::Picture::FilmHeader header;
    if (size > sizeof header.type) {
        std::memcpy(&header.type, data, sizeof header.type);
        header.bytes.assign(data + sizeof header.type, data + size);
        picture.set_film_header(std::move(header));
    }
    gimp_parasite_free(parasite);
}

Answer load(const GimpParam* arguments, int count) {
    const auto mode = GimpRunMode(arguments[0].data.d_int32);
    const std::string path = arguments[1].data.d_string;
    View view = last_or(load_procedure, as_scanned);
    if (mode == GIMP_RUN_NONINTERACTIVE) {
        view = count > 3 && arguments[3].data.d_int32 == log_view ? log_view : as_scanned;
    }
    gimp_progress_init_printf("Opening '%s'", gimp_filename_to_utf8(path.c_str()));
    host::Picture picture = host::load(path);
    const bool film = !picture.film_header().bytes.empty();
    if (film && mode == GIMP_RUN_INTERACTIVE) {
        if (!ask_for_view(view)) {
            return {GIMP_PDB_CANCEL};
        }
        gimp_set_data(load_procedure, &view, sizeof view);
    }
    if (film && view == log_view) {
        host::view_log(picture);
    }
    const gint32 image = image_of(picture, path, film && view == as_scanned);
    gimp_image_set_filename(image, path.c_str());
    if (film && view == as_scanned) {
        keep_header(picture.film_header(), image);
    }
    return {.values = {image}};
}

Answer load_thumbnail(const GimpParam* arguments, int /*count*/) {
    const std::string path = arguments[0].data.d_string;
    const int size = arguments[1].data.d_int32;
    const host::Description info = host::describe(path);
    const gint32 image = image_of(host::load_thumbnail(path, {size, size}), path, false);
    return {.values = {image, info.width, info.height}};
}

void save(const host::Picture& picture, const std::string& path, const Target& target,
          const host::SaveOptions& options) {
    const std::string extension = std::string(".") + target.extension;
    if (path.size() > extension.size() &&
        g_ascii_strcasecmp(&path[path.size() - extension.size()], extension.c_str()) == 0) {
        host::save(picture, path, options);
        return;
    }
    // People may choose a format by hand, and any name.
    host::SafeFile file(path, true);
    host::save_to_stream(picture, file.descriptor(), target.extension, options);
    file.keep();
}

Answer export_image(const Target& target, const GimpParam* arguments, int count) {
    const auto mode = GimpRunMode(arguments[0].data.d_int32);
    gint32 image = arguments[1].data.d_image;
    gint32 drawable = arguments[2].data.d_drawable;
    const std::string path = arguments[3].data.d_string;
    ExportOptions options = last_or(target.procedure, ExportOptions{1, 0});
    if (mode == GIMP_RUN_NONINTERACTIVE && count > 6) {
        options = {arguments[5].data.d_int32, arguments[6].data.d_int32};
    }
    if (mode == GIMP_RUN_INTERACTIVE) {
        if (!ask_for_export_options(target.name, target.film, options)) {
            return {GIMP_PDB_CANCEL};
        }
        gimp_set_data(target.procedure, &options, sizeof options);
    }
    GimpExportReturn exported = GIMP_EXPORT_IGNORE;
    if (mode != GIMP_RUN_NONINTERACTIVE || gimp_drawable_is_indexed(drawable) != FALSE) {
        exported = gimp_export_image(
            &image, &drawable, nullptr,
            GimpExportCapabilities(GIMP_EXPORT_CAN_HANDLE_RGB | GIMP_EXPORT_CAN_HANDLE_GRAY |
                                   GIMP_EXPORT_CAN_HANDLE_ALPHA));
    }
    if (exported == GIMP_EXPORT_CANCEL) {
        return {GIMP_PDB_CANCEL};
    }
    gimp_progress_init_printf("Exporting '%s'", gimp_filename_to_utf8(path.c_str()));
    host::Picture picture = picture_of(image, drawable);
    use_header(image, picture);
    if (exported == GIMP_EXPORT_EXPORT) {
        gimp_image_delete(image);  // a copy that was made for the export
    }
    save(picture, path, target,
         {.compress = options.compress != 0,
          .force = true,
          .private_film_layouts = options.matte != 0});
    return {};
}

Answer answer(const char* procedure, const GimpParam* arguments, int count) {
    if (std::strcmp(procedure, load_procedure) == 0) {
        return load(arguments, count);
    }
    if (std::strcmp(procedure, thumbnail_procedure) == 0) {
        return load_thumbnail(arguments, count);
    }
    for (const Target& target : targets) {
        if (std::strcmp(procedure, target.procedure) == 0) {
            return export_image(target, arguments, count);
        }
    }
    return {GIMP_PDB_CALLING_ERROR};
}

/// GIMP shows the error in a dialog that names the file.
Answer answer_or_error(const char* procedure, const GimpParam* arguments, int count) try {
    return answer(procedure, arguments, count);
} catch (const host::Error& error) {
    const std::string reason = error.reason().empty() ? "" : ": " + error.reason();
    return {GIMP_PDB_EXECUTION_ERROR, error.message() + reason};
} catch (const std::bad_alloc&) {
    return {GIMP_PDB_EXECUTION_ERROR, "There is not enough memory for the picture"};
}

void run(const gchar* procedure, gint count, const GimpParam* arguments, gint* results,
         GimpParam** values) {
    static Answer last;
    static GimpParam params[4];
    gegl_init(nullptr, nullptr);  // for the buffers of layers
    last = answer_or_error(procedure, arguments, count);
    params[0].type = GIMP_PDB_STATUS;
    params[0].data.d_status = last.status;
    *results = 1;
    *values = params;
    if (!last.error.empty()) {
        params[1].type = GIMP_PDB_STRING;
        params[1].data.d_string = last.error.data();
        *results = 2;
    }
    for (const gint32 value : last.values) {
        GimpParam& param = params[*results];
        param.type = *results == 1 ? GIMP_PDB_IMAGE : GIMP_PDB_INT32;
        param.data.d_int32 = value;
        ++*results;
    }
}

GimpParamDef parameter(GimpPDBArgType type, const char* name, const char* description) {
    return {type, const_cast<gchar*>(name), const_cast<gchar*>(description)};
}

void install(const char* name, const char* summary, const char* label, const char* image_types,
             const std::vector<GimpParamDef>& arguments, const std::vector<GimpParamDef>& results) {
    gimp_install_procedure(name, summary, summary, "the Trellis authors", "the Trellis authors",
                           "2026", label, image_types, GIMP_PLUGIN,
                           static_cast<gint>(arguments.size()), static_cast<gint>(results.size()),
                           arguments.data(), results.data());
}

void install_load() {
    install(load_procedure, "Opens DPX, Cineon, Pixar and Maya IFF pictures",
            "DPX, Cineon, Pixar or Maya IFF picture", nullptr,
            {parameter(GIMP_PDB_INT32, "run-mode", "The run mode"),
             parameter(GIMP_PDB_STRING, "filename", "The name of the file"),
             parameter(GIMP_PDB_STRING, "raw-filename", "The name entered"),
             parameter(GIMP_PDB_INT32, "view", "Film scans: 0 as scanned, 1 log view")},
            {parameter(GIMP_PDB_IMAGE, "image", "The image")});
    // By what files begin with; for those of a wrong extension too.
    gimp_register_magic_load_handler(
        load_procedure, "dpx,cin,pic,iff", "",
        "0,string,SDPX,0,string,XPDS,0,long,0x802a5fd7,0,long,0x0000e880,8,string,CIMG");
    for (const Target& target : targets) {
        gimp_register_file_handler_mime(load_procedure, target.mime_type);
    }
}

void install_thumbnail() {
    install(thumbnail_procedure, "Loads the small picture that stands for a file", nullptr, nullptr,
            {parameter(GIMP_PDB_STRING, "filename", "The name of the file"),
             parameter(GIMP_PDB_INT32, "thumb-size", "The largest width and height")},
            {parameter(GIMP_PDB_IMAGE, "image", "The small picture"),
             parameter(GIMP_PDB_INT32, "image-width", "Width of the file's picture"),
             parameter(GIMP_PDB_INT32, "image-height", "Height of the file's picture")});
    gimp_register_thumbnail_loader(load_procedure, thumbnail_procedure);
}

void install_export(const Target& target) {
    install(target.procedure, "Exports to the file format", target.name, "RGB*, GRAY*, INDEXED*",
            {parameter(GIMP_PDB_INT32, "run-mode", "The run mode"),
             parameter(GIMP_PDB_IMAGE, "image", "The image"),
             parameter(GIMP_PDB_DRAWABLE, "drawable", "The layer to export"),
             parameter(GIMP_PDB_STRING, "filename", "The name of the file"),
             parameter(GIMP_PDB_STRING, "raw-filename", "The name entered"),
             parameter(GIMP_PDB_INT32, "compress", "Pixar and IFF: 1 to compress in runs"),
             parameter(GIMP_PDB_INT32, "matte",
                       "DPX and Cineon: 1 to keep the matte, in a layout of libtrellis")},
            {});
    gimp_register_file_handler_mime(target.procedure, target.mime_type);
    gimp_register_save_handler(target.procedure, target.extension, "");
}

void query() {
    install_load();
    install_thumbnail();
    for (const Target& target : targets) {
        install_export(target);
    }
}

}  // namespace

// The library calls this as it works, for every row of some formats; GIMP hears of every hundredth.
extern "C" [[gnu::visibility("default")]] void occaisional_update_progress_trellis_(
    float fraction) {
    static int shown = 0;
    const int percent = static_cast<int>(fraction * 100);
    if (percent != shown) {
        shown = percent;
        gimp_progress_update(double{fraction});
    }
}

const GimpPlugInInfo PLUG_IN_INFO = {nullptr, nullptr, query, run};

MAIN()
