// The two functions that a host executable may replace by exporting its own of the same name.
//
// The library must always reach them through the dynamic symbol. Three things see to that: they are
// alone in this file, so no caller can be compiled together with them; the library is built with
// -fsemantic-interposition, so no compiler assumes that these bodies are the ones that run; and it
// is never linked with -Bsymbolic or link-time optimisation. In a program that has the library in
// itself, these yield to its own because they are weak.

#include "trellis/bytes.h"
#include "trellis/settings.h"

__attribute__((weak)) void occaisional_update_progress_trellis_(float /*fraction*/) {}

__attribute__((weak)) int escape_test_utils_pic() {
    return 0;
}
