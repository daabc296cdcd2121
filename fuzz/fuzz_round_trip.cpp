// Pictures that are saved and loaded again come back as they were, in every format.

#include "trellis/trellis.h"

#include "built_files.h"
#include "fuzz_file.h"

namespace {

struct Size {
    int width;
    int height;

    std::size_t pixels() const { return static_cast<std::size_t>(width * height); }
};

// Noise where the fuzzer has bytes, long runs where it repeats itself, zeros after them.
template <class Sample>
std::vector<Sample> samples(fuzz::Choices& choices, std::size_t count, unsigned int most) {
    std::vector<Sample> drawn(count);
    for (std::size_t i = 0; i < count && choices.any_left();) {
        const auto sample =
            static_cast<Sample>((choices.byte() * (sizeof(Sample) == 1 ? 1U : 257U)) & most);
        const std::size_t run = choices.byte() % 16 == 0 ? choices.byte() : 1U;
        for (std::size_t k = 0; k < run && i < count; ++k, ++i) {
            drawn[i] = sample;
        }
    }
    return drawn;
}

template <class Sample>
void expect_same(const std::vector<Sample>& saved, const std::vector<Sample>& loaded) {
    if (saved != loaded) {
        std::fprintf(stderr, "the picture that was saved does not load\n");
        std::abort();
    }
}

template <class Sample>
void round_trip(const pic_format& format, fuzz::Choices& choices, const Size& size, bool matte_too,
                int compress, unsigned int most) {
    static fuzz::File file;
    constexpr std::size_t channels = sizeof(Sample) == 1 ? 4 : 3;
    std::vector<Sample> colour = samples<Sample>(choices, size.pixels() * channels, most);
    std::vector<Sample> matte = samples<Sample>(choices, size.pixels(), most);
    for (std::size_t i = 0; channels == 4 && i < colour.size(); i += 4) {
        colour[i] = 0;  // the spare byte, which loads leave alone
    }
    std::vector<Sample> colour_back(colour.size());
    std::vector<Sample> matte_back(matte.size());
    const int right = size.width - 1;
    const int top = size.height - 1;
    const char* name = file.with(nullptr, 0);
    const int saved =
        matte_too ? format.save_cut_fn(name, colour.data(), size.width, matte.data(), size.width, 0,
                                       0, right, top, compress)
                  : format.save_pic_fn(name, colour.data(), size.width, 0, 0, right, top, compress);
    const int loaded =
        matte_too
            ? format.load_cut_fn(name, colour_back.data(), size.width, matte_back.data(),
                                 size.width, 0, 0, right, top, 0, 0)
            : format.load_pic_fn(name, colour_back.data(), size.width, 0, 0, right, top, 0, 0);
    if (saved != 0 || loaded != 0) {
        std::fprintf(stderr, "save %d, load %d\n", saved, loaded);
        std::abort();
    }
    expect_same(colour, colour_back);
    if (matte_too) {
        expect_same(matte, matte_back);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    fuzz::Choices choices(bytes, size);
    const int which = choices.number(0, 3);
    const Size picture = {choices.number(1, 300), choices.number(1, 40)};
    const bool matte_too = choices.byte() % 2 == 1;
    const int compress = choices.number(0, 2);
    free_last_header_trellis();
    set_buffer_type_trellis(0);
    switch (which) {
        case 0:
            round_trip<std::uint8_t>(fuzz::format<init_pixar_pic_>(), choices, picture, matte_too,
                                     compress, 255);
            break;
        case 1:
            round_trip<std::uint8_t>(fuzz::format<init_maya_pic_>(), choices, picture, matte_too,
                                     compress, 255);
            break;
        case 2:
            round_trip<std::uint16_t>(fuzz::format<init_dpx_pic_>(), choices, picture, matte_too,
                                      compress, 1023);
            break;
        default:
            round_trip<std::uint16_t>(fuzz::format<init_smpte_pic_>(), choices, picture, matte_too,
                                      compress, 1023);
    }
    return 0;
}
