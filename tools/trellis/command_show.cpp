#include "commands.h"
#include "terminal.h"

namespace tool {

void show(const Name& file, const ShowOptions& options) {
    const Terminal terminal(options.medium, options.cells);
    terminal.draw(load_view(file, terminal.box(), options.load, options.view));
}

}  // namespace tool
