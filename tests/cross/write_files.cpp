// Writes files of every format into the working directory, and beside each what is loaded from it.
// ./scripts/cross runs it on several processors and compares the directories: all must be the same.

#include <sys/utsname.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

#include "support/formats.h"
#include "support/support.h"

/// What the library asks, so that no file has in it when and where it was written.
extern "C" std::time_t time(std::time_t* /*now*/) { return 1000000000; }
extern "C" int uname(utsname* system) {
    *system = {};
    return 0;
}

namespace {

constexpr int width = 67;
constexpr int height = 35;
constexpr std::size_t pixels = width * height;

bool failed = false;

void expect(int code, const std::string& what) {
    if (code != 0) {
        std::fprintf(stderr, "%s: error %d\n", what.c_str(), code);
        failed = true;
    }
}

/// Buffers of one depth. The lower rows are noise, the upper ones runs.
template <class Sample>
struct Picture {
    std::vector<Sample> colour, matte;

    explicit Picture(unsigned int highest = 0) : colour(pixels * (sizeof(Sample) == 1 ? 4 : 3)), matte(pixels) {
        support::Noise noise(highest);
        for (auto* samples : {&colour, &matte}) {
            for (std::size_t i = 0; i < samples->size(); ++i) {
                const auto value = i < samples->size() / 2 ? noise.next() >> 8 : static_cast<unsigned int>(i / 60 * 97);
                (*samples)[i] = static_cast<Sample>(value % (highest + 1));
            }
        }
    }
};

template <class Sample>
void append(std::ofstream& file, const std::vector<Sample>& samples) {
    for (const Sample sample : samples) {
        if (sizeof(Sample) == 2) { file.put(static_cast<char>(sample >> 8)); }
        file.put(static_cast<char>(sample));
    }
}

template <class Sample>
void dump(const std::string& name, const Picture<Sample>& picture) {
    std::ofstream file(name, std::ios::binary);
    append(file, picture.colour);
    append(file, picture.matte);
}

/// What is in a file as it is, in the other depth, and as a grey mask.
template <class Sample, class Other>
void load_all(const pic_format& format, const std::string& name, int other_mode) {
    Picture<Sample> whole, grey;
    Picture<Other> other;
    const auto load = [&](int mode, auto& to, const char* suffix) {
        expect(load_rgba_fn_convert_trellis(mode, format.load_cut_fn, name.c_str(), to.colour.data(), width,
                                            to.matte.data(), width, 0, 0, width - 1, height - 1, 0, 0),
               name);
        dump(name + suffix, to);
    };
    load(0, whole, ".loaded");
    load(other_mode, other, ".other");
    expect(load_mask_fn_convert_trellis(0, 1, reinterpret_cast<trellis_slot_fn>(format.load_pic_fn), name.c_str(),
                                        grey.matte.data(), width, 0, 0, width - 1, height - 1, 0, 0),
           name);
    dump(name + ".grey", grey);
}

template <class Sample, class Other>
void write_all(const pic_format& format, unsigned int highest) {
    set_buffer_type_trellis(sizeof(Sample) == 2 ? 1 : 0);
    Picture<Sample> picture(highest);
    auto* colour = picture.colour.data();
    auto* matte = picture.matte.data();
    for (int compress = 0; compress < 2; ++compress) {
        const auto written = [&](const std::string& kind, auto save) {
            const std::string name = kind + std::to_string(compress) + "." + format.ext;
            expect(save(name.c_str()), name);
            load_all<Sample, Other>(format, name, sizeof(Sample) == 1 ? 1 : 2);
        };
        written("picture", [&](const char* name) {
            return format.save_pic_fn(name, colour, width, 0, 0, width - 1, height - 1, compress);
        });
        written("cutout", [&](const char* name) {
            return format.save_cut_fn(name, colour, width, matte, width, 0, 0, width - 1, height - 1, compress);
        });
        if (format.save_mask_fn != nullptr) {
            written("mask", [&](const char* name) {
                return format.save_mask_fn(name, matte, width, 0, 0, width - 1, height - 1, compress);
            });
        }
    }
}

void write_film_samples() {
    Picture<std::uint16_t> picture(16383);
    for (const int bits : {8, 10, 12, 16}) {
        trellis_film_save options{};
        options.size = sizeof options;
        options.format = TRELLIS_TYPE_DPX;
        options.bits = bits;
        options.scaled = 1;
        options.header = "";
        const std::string name = "samples" + std::to_string(bits) + ".dpx";
        expect(save_film_samples_trellis(name.c_str(), picture.colour.data(), width, picture.matte.data(), width, 0, 0,
                                         width - 1, height - 1, &options),
               name);
        Picture<std::uint16_t> loaded;
        expect(load_film_samples_trellis(name.c_str(), loaded.colour.data(), width, loaded.matte.data(), width, 0, 0,
                                         width - 1, height - 1, 0, 0),
               name);
        dump(name + ".loaded", loaded);
    }
}

void write_side_files() {
    Picture<std::uint8_t> bytes(255);
    Picture<std::uint16_t> words(16383);
    for (const int source : {TRELLIS_MINIPIC_IMAGE, TRELLIS_MINIPIC_CUTOUT, TRELLIS_MINIPIC_MASK}) {
        const std::string name = "preview" + std::to_string(source);
        expect(write_minipic_trellis((name + "-8").c_str(), bytes.colour.data(), bytes.matte.data(), nullptr, width, 0,
                                     0, width - 1, height - 1, 0, source),
               name);
        expect(write_minipic_trellis((name + "-16").c_str(), words.colour.data(), words.matte.data(), nullptr, width, 0,
                                     0, width - 1, height - 1, 1, source),
               name);
    }
    expect(save_cutout_info_trellis("cutout", width, height, 3, 4, 0.1F, -2.5F, 3e9F, 4, 5, 6, 0, nullptr, nullptr, 7),
           "cutout information");
}

}  // namespace

int main() {
    write_all<std::uint8_t, std::uint16_t>(support::pixar, 255);
    write_all<std::uint8_t, std::uint16_t>(support::maya, 255);
    write_all<std::uint16_t, std::uint8_t>(support::dpx, 1023);
    write_all<std::uint16_t, std::uint8_t>(support::cineon, 1023);
    write_film_samples();
    write_side_files();
    return failed ? 1 : 0;
}
