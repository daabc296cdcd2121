#include <new>

#include "trellis/errors.h"

#include "chart.h"
#include "commands.h"
#include "file_error.h"
#include "progress_bar.h"

namespace tool {

void chart(const std::string& out, int width, int height, const SaveOptions& save) try {
    Picture picture(TRELLIS_KIND_CUTOUT, width, height);
    {
        const ProgressBar bar("drawing", out);
        draw_chart(picture);
    }
    save_picture(picture, out, save);
} catch (const std::bad_alloc&) {
    throw FileError(out, TRELLIS_ALLOCATION_ERROR, "the chart is too large for this machine");
}

}  // namespace tool
