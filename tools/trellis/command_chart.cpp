#include <new>

#include "trellis/errors.h"

#include "chart.h"
#include "commands.h"
#include "progress_bar.h"
#include "report.h"

namespace tool {

void chart(const std::string& out, int width, int height, const host::SaveOptions& options) try {
    host::Picture picture(TRELLIS_KIND_CUTOUT, width, height);
    {
        const ProgressBar bar("drawing", out);
        draw_chart(picture);
    }
    save_picture(picture, out, options);
} catch (const std::bad_alloc&) {
    throw host::Error(out, TRELLIS_ALLOCATION_ERROR, "the chart is too large for this machine");
}

}  // namespace tool
