#pragma once

// The files that stand beside a picture.

#include <filesystem>
#include <string>

namespace tool {

inline std::string cinfo_name(const std::string& picture) {
    return picture + ".cinfo";
}

inline std::string minipic_name(const std::string& picture) {
    return picture + ".mpc";
}

/// The name of the picture that a side file belongs to.
inline std::string name_of_picture(const std::string& side_file) {
    return std::filesystem::path(side_file).replace_extension().string();
}

}  // namespace tool
