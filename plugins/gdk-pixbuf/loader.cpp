// A loader of gdk-pixbuf for the formats of libtrellis. Programs hand it a file in pieces; the
// library reads files by name. So the pieces go to an anonymous file, which has a name under /proc
// as long as it is open, and the picture is loaded when they are all there.

#define GDK_PIXBUF_ENABLE_BACKEND
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include "trellis/errors.h"
#include "trellis/view.hpp"

namespace {

namespace host = trellis::host;

/// An anonymous file.
class Spool {
  public:
    Spool() : descriptor_(memfd_create("picture", MFD_CLOEXEC)) {}
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;
    ~Spool() {
        if (is_open()) {
            close(descriptor_);
        }
    }

    bool is_open() const { return descriptor_ >= 0; }
    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

    bool append(const unsigned char* bytes, std::size_t size) const {
        while (size > 0) {
            const ssize_t written = write(descriptor_, bytes, size);
            if (written < 0 && errno == EINTR) {
                continue;
            }
            if (written <= 0) {
                return false;
            }
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
        return true;
    }

  private:
    int descriptor_;
};

/// A load that is under way, and what the program wants to hear of it.
struct Load {
    GdkPixbufModuleSizeFunc size;
    GdkPixbufModulePreparedFunc prepared;
    GdkPixbufModuleUpdatedFunc updated;
    gpointer program;
    Spool spool = {};
};

gboolean fail(GError** error, int code, const char* text) {
    g_set_error_literal(error, GDK_PIXBUF_ERROR, code, text);
    return FALSE;
}

gboolean fail_by_system(GError** error) {
    const std::string text = std::string("The picture cannot be kept: ") + g_strerror(errno);
    return fail(error, GDK_PIXBUF_ERROR_FAILED, text.c_str());
}

/// Without the name of the file, which is a number that nobody has seen.
gboolean fail(GError** error, const host::Error& reason) {
    const bool memory = reason.code() == TRELLIS_ALLOCATION_ERROR;
    const std::string text =
        reason.reason().empty() ? reason.message() : reason.message() + ": " + reason.reason();
    return fail(error,
                memory ? GDK_PIXBUF_ERROR_INSUFFICIENT_MEMORY : GDK_PIXBUF_ERROR_CORRUPT_IMAGE,
                text.c_str());
}

/// The picture in a pixbuf: red, green, blue and the matte, the top line first.
GdkPixbuf* pixbuf_of(const host::Picture& picture) {
    GdkPixbuf* pixbuf =
        gdk_pixbuf_new(GDK_COLORSPACE_RGB, picture.kind() == TRELLIS_KIND_CUTOUT ? TRUE : FALSE, 8,
                       picture.width(), picture.height());
    if (pixbuf == nullptr) {
        throw std::bad_alloc();
    }
    guchar* row = gdk_pixbuf_get_pixels(pixbuf);
    for (int y = 0; y < picture.height(); ++y, row += gdk_pixbuf_get_rowstride(pixbuf)) {
        host::get_row(picture, y, row);
    }
    return pixbuf;
}

/// Asks the program how large it wants a picture; false when it wants none. It may ask for any
/// size, but here pictures become smaller only: it enlarges them by itself.
bool ask_for_size(const Load& load, host::Extent& extent) {
    int width = extent.width;
    int height = extent.height;
    if (load.size != nullptr) {
        load.size(&width, &height, load.program);
    }
    if (width == 0 || height == 0) {
        return false;
    }
    if (width > 0 && height > 0 && width <= extent.width && height <= extent.height) {
        extent = {width, height};
    }
    return true;
}

gboolean finish(const Load& load, GError** error) try {
    const host::Description info = host::describe(load.spool.path());
    host::Extent wanted = {info.width, info.height};
    if (!ask_for_size(load, wanted)) {
        return TRUE;
    }
    host::Picture picture = host::load_scaled(load.spool.path(), wanted, {.depth = 8});
    if (picture.kind() == TRELLIS_KIND_MASK) {
        picture.change_kind(TRELLIS_KIND_IMAGE);  // there are no pixbufs of grey
    }
    GdkPixbuf* pixbuf = pixbuf_of(picture);
    load.prepared(pixbuf, nullptr, load.program);
    load.updated(pixbuf, 0, 0, wanted.width, wanted.height, load.program);
    g_object_unref(pixbuf);
    return TRUE;
} catch (const host::Error& reason) {
    return fail(error, reason);
} catch (const std::bad_alloc&) {
    return fail(error, GDK_PIXBUF_ERROR_INSUFFICIENT_MEMORY, "The picture is too large");
}

gpointer begin_load(GdkPixbufModuleSizeFunc size, GdkPixbufModulePreparedFunc prepared,
                    GdkPixbufModuleUpdatedFunc updated, gpointer program, GError** error) {
    auto load = std::unique_ptr<Load>(new (std::nothrow) Load{size, prepared, updated, program});
    if (load == nullptr || !load->spool.is_open()) {
        fail_by_system(error);
        return nullptr;
    }
    return load.release();
}

gboolean load_increment(gpointer context, const guchar* bytes, guint size, GError** error) {
    return static_cast<Load*>(context)->spool.append(bytes, size) ? TRUE : fail_by_system(error);
}

// Called for every load, also for one that is given up, whose program takes no error.
gboolean stop_load(gpointer context, GError** error) {
    const std::unique_ptr<Load> load(static_cast<Load*>(context));
    return finish(*load, error);
}

// What the files begin with. A space in the mask stands for a byte that must be as in the prefix, a
// z for a zero byte, an x for any.
GdkPixbufModulePattern patterns[] = {
    {const_cast<char*>("SDPX"), nullptr, 100},
    {const_cast<char*>("XPDS"), nullptr, 100},
    {const_cast<char*>("\x80\x2A\x5F\xD7"), nullptr, 100},
    {const_cast<char*>("FOR4xxxxCIMG"), const_cast<char*>("    xxxx    "), 100},
    {const_cast<char*>("zz\xE8\x80zzzz"), const_cast<char*>("zz  zzzz"), 100},
    {nullptr, nullptr, 0},
};

// Those of the project's MIME database, and the name that some programs have for the first.
const char* mime_types[] = {"image/x-dpx",           "image/dpx",        "image/x-cineon",
                            "image/x-pixar-picture", "image/x-maya-iff", nullptr};
const char* extensions[] = {"dpx", "cin", "pic", "iff", nullptr};

}  // namespace

// The two functions by which gdk-pixbuf gets to know a loader.

extern "C" G_MODULE_EXPORT void fill_vtable(GdkPixbufModule* module) {
    module->begin_load = begin_load;
    module->stop_load = stop_load;
    module->load_increment = load_increment;
}

extern "C" G_MODULE_EXPORT void fill_info(GdkPixbufFormat* info) {
    info->name = const_cast<char*>("trellis");
    info->signature = patterns;
    info->description = const_cast<char*>("DPX, Cineon, Pixar and Maya IFF pictures");
    info->mime_types = const_cast<char**>(mime_types);
    info->extensions = const_cast<char**>(extensions);
    info->flags = GDK_PIXBUF_FORMAT_THREADSAFE;
    info->license = const_cast<char*>("BSD");
}
