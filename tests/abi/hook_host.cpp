// A host executable that exports the two hooks. It saves and loads pictures and tells whether the
// library's calls have come here.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numeric>
#include <string>
#include <vector>

#include "trellis/trellis.h"

namespace {

int progress_calls = 0;
float last_fraction = 0;
int lines_until_escape = 0;
constexpr int escape_answer = 11;
int file_to_close = -1;
unsigned short* sample_to_count_in = nullptr;
int table_questions = 0;

}  // namespace

void occaisional_update_progress_trellis_(float fraction) {
    ++progress_calls;
    last_fraction = fraction;
    if (sample_to_count_in != nullptr) { *sample_to_count_in = static_cast<unsigned short>(progress_calls); }
    close(file_to_close);
}

int inq_apply_user_lut_trellis_() { return ++table_questions; }

int escape_test_utils_pic() { return lines_until_escape-- > 0 ? 0 : escape_answer; }

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
    expect(pixar.load_pic_fn(name, colour.data(), side, 0, 0, side - 1, side - 1, 0, 0) == 0, "load");
    expect(progress_calls == 2 * side, "a load does not reach the host's progress hook");

    // A DPX save asks before each line. The line that the user stopped at repeats the one before
    // it.
    pic_format dpx{};
    init_dpx_pic_(&dpx);
    std::vector<unsigned short> samples(side * side * 3);
    std::iota(samples.begin(), samples.end(), static_cast<unsigned short>(0));
    for (const int lines : {0, 3}) {
        progress_calls = 0;
        lines_until_escape = lines;
        expect(dpx.save_pic_fn(name, samples.data(), side, 0, 0, side - 1, side - 1, 0) == 11,
               "a save does not end with the host's answer");
        expect(progress_calls == lines + 1 && last_fraction * (side - 1) == static_cast<float>(lines),
               "a save does not tell about each line");
        std::ifstream file(name);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        constexpr std::size_t line = side * 4;
        expect(bytes.size() == 2048 + static_cast<std::size_t>(lines + 1) * line &&
                   (lines == 0 || bytes.substr(bytes.size() - line) == bytes.substr(bytes.size() - 2 * line, line)),
               "a stopped save does not end with a line repeated");
    }

    // Each line is packed right after the host has heard of it, and a full disk shows long before the end.
    constexpr int many = 4000;
    std::vector<unsigned short> column(many * 3);
    for (const char* target : {name, "/dev/full"}) {
        progress_calls = 0;
        lines_until_escape = many;
        sample_to_count_in = &column[2];  // in the lowest row, the last line
        const int result = dpx.save_pic_fn(target, column.data(), 1, 0, 0, 0, many - 1, 0);
        expect(target == name ? result == 0 : result == 2 && progress_calls < 200, "a full disk shows late");
    }
    sample_to_count_in = nullptr;
    dpx.load_pic_fn(name, column.data(), 1, 0, 0, 0, 0, 0, 0);
    expect(column[2] == many % 1024, "a line is packed before the host hears of it");
    expect(table_questions == 5, "loads and saves of film do not ask for a table");

    // Closed behind the library's back, a file that is read already cannot be closed again.
    pic_format maya{};
    init_maya_pic_(&maya);
    expect(maya.save_pic_fn(name, colour.data(), side, 0, 0, side - 1, side - 1, 1) == 0, "an IFF save");
    file_to_close = dup(STDIN_FILENO);
    close(file_to_close);  // the number that the next file gets
    expect(maya.load_pic_fn(name, colour.data(), side, 0, 0, side - 1, side - 1, 0, 0) == 15, "a failing close");
    std::remove(name);
    return 0;
}
