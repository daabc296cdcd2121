#include "report.h"

#include <cstdio>

namespace tool {

void report(const std::exception& error) {
    std::fprintf(stderr, "trellis: %s\n", error.what());
}

}  // namespace tool
