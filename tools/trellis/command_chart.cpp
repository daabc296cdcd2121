#include <new>

#include "trellis/errors.h"

#include "chart.h"
#include "commands.h"
#include "progress_bar.h"

namespace tool {

void chart(const Name& out, Size size, const host::SaveOptions& options) try {
    host::Picture picture(TRELLIS_KIND_CUTOUT, size.width, size.height);
    {
        const ProgressBar bar("drawing", out.path);
        draw_chart(picture);
    }
    save_picture(picture, out, options);
} catch (const std::bad_alloc&) {
    throw host::Error(out.path, TRELLIS_ALLOCATION_ERROR,
                      "the chart is too large for this machine");
}

}  // namespace tool
