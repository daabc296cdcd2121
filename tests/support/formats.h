#pragma once

// The formats' descriptors, and all that their information queries answer.

#include <array>
#include <string>

#include "trellis/trellis.h"

namespace support {

inline pic_format filled(void (*init)(pic_format*)) {
    pic_format format{};
    init(&format);
    return format;
}

inline const pic_format pixar = filled(init_pixar_pic_);
inline const pic_format dpx = filled(init_dpx_pic_);
inline const pic_format cineon = filled(init_smpte_pic_);
inline const pic_format maya = filled(init_maya_pic_);

constexpr unsigned int untouched = 77;

/// The answers of an information query, `untouched` where it left them alone.
struct Info {
    int result;
    std::array<unsigned int, 12> out;

    Info(const pic_format& format, const std::string& name) {
        out.fill(untouched);
        auto& o = out;
        result = format.info_fn(name.c_str(), &o[0], &o[1], &o[2], &o[3], &o[4], &o[5], &o[6], &o[7], &o[8], &o[9],
                                &o[10], &o[11]);
    }
};

}  // namespace support
