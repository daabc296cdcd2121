#include "trellis/view.hpp"

#include "commands.h"

namespace tool {

// Programs that ask for thumbnails want a PNG file under the name that they give, which may have no
// extension and may be there already.
void thumbnail(const std::string& path, const std::string& out, int size) {
    const host::Picture picture = host::load_thumbnail(path, {size, size});
    host::SafeFile file(out, true);
    host::save_to_stream(picture, file.descriptor(), "png");
    file.keep();
}

}  // namespace tool
