#include "examples.h"

#include <string_view>

namespace tool {

namespace {

struct Examples {
    std::string_view command;
    std::string_view lines;
};

constexpr Examples all_examples[] = {
    {"info",
     "  trellis info scan.dpx texture.pic\n"
     "  trellis info --json 'shot.%04d.dpx' --frames 1001-1003\n"},
    {"convert",
     "  trellis convert scan.dpx scan.png\n"
     "  trellis convert 'shot.%04d.dpx' 'shot.%04d.cin' --frames 1001-1004 --jobs 2\n"
     "  trellis convert shot.*.dpx --out-dir proxies --to iff --resume\n"
     "  trellis convert - --from dpx --to png - <scan.dpx >scan.16.png\n"},
    {"check",
     "  trellis check 'shot.####.dpx'\n"
     "  trellis check --json shot.*.dpx\n"},
    {"checksum",
     "  trellis checksum 'shot.%04d.dpx' > reel.sums\n"
     "  trellis checksum --verify reel.sums\n"},
    {"chart",
     "  trellis chart chart.pic\n"
     "  trellis chart --size 2048x1556 chart.dpx\n"},
    {"compare",
     "  trellis compare scan.dpx copy.dpx\n"
     "  trellis compare scan.dpx scan8.png --tolerance 1\n"},
    {"header",
     "  trellis header scan.dpx\n"
     "  trellis header copy.dpx --set 'project=A film' --set 'film.frame rate=24'\n"
     "  trellis header 'shot.%04d.dpx' --timecode 01:00:00:00 --fps 24\n"},
    {"catalogue", "  trellis catalogue scan.cin small.png\n"},
    {"preview",
     "  trellis preview texture.pic\n"
     "  trellis preview texture.pic --png small.png --force\n"},
    {"cinfo", "  trellis cinfo texture.pic --set int_3=7\n  trellis cinfo texture.pic\n"},
    {"formats", "  trellis formats\n  trellis formats --json\n"},
    {"thumbnail", "  trellis thumbnail -s 128 scan.cin small.png\n"},
    {"show",
     "  trellis show texture.pic\n"
     "  trellis show scan.dpx --view log\n"
     "  trellis show texture.pic --rect 0,0,31,23 --kind mask\n"},
    {"completion", "  trellis completion bash > trellis.bash\n"},
};

}  // namespace

std::string examples_of(const std::string& command) {
    for (const Examples& examples : all_examples) {
        if (examples.command == command) {
            return "Examples:\n" + std::string(examples.lines);
        }
    }
    return "";
}

}  // namespace tool
