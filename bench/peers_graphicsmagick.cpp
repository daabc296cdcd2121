#include <magick/api.h>

#include <cstring>

#include "peers.h"

namespace bench {

namespace {

bool load(const std::string& file, const std::string& /*format*/) {
    static const bool started =
        (InitializeMagick(nullptr), SetMagickResourceLimit(ThreadsResource, 1));
    ExceptionInfo exception;
    GetExceptionInfo(&exception);
    ImageInfo* info = CloneImageInfo(nullptr);
    std::strncpy(info->filename, file.c_str(), MaxTextExtent - 1);
    Image* image = ReadImage(info, &exception);
    const bool loaded = started && image != nullptr;
    if (image != nullptr) {
        DestroyImage(image);
    }
    DestroyImageInfo(info);
    DestroyExceptionInfo(&exception);
    return loaded;
}

}  // namespace

Peer graphicsmagick() {
    return {"GraphicsMagick", load, nullptr};
}

}  // namespace bench
