// A host executable that exports the two hooks. It saves and loads a picture and tells whether the
// library's calls have come here.

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "trellis/trellis.h"

namespace {

int progress_calls = 0;
float last_fraction = 0;
constexpr int escape_answer = 11;

}  // namespace

void occaisional_update_progress_trellis_(float fraction) {
    ++progress_calls;
    last_fraction = fraction;
}

int escape_test_utils_pic() {
    return escape_answer;
}

int main(int argc, char** argv) {
    const char* name = argc > 1 ? argv[1] : "hook_host.pic";
    constexpr int side = 16;
    std::vector<unsigned char> colour(side * side * 4, 7);
    pic_format pixar{};
    init_pixar_pic_(&pixar);
    const auto expect = [](bool held, const char* what) {
        if (!held) {
            std::fprintf(stderr, "hook_host: %s\n", what);
            std::exit(1);
        }
    };
    expect(pixar.save_pic_fn(name, colour.data(), side, 0, 0, side - 1, side - 1, 1) == 0, "save");
    expect(progress_calls == side, "a save does not reach the host's progress hook");
    expect(last_fraction == 1.0F, "a save does not end at 1");
    expect(pixar.load_pic_fn(name, colour.data(), side, 0, 0, side - 1, side - 1, 0, 0) == 0,
           "load");
    expect(progress_calls == 2 * side, "a load does not reach the host's progress hook");
    std::remove(name);
    return 0;
}
