#include "support/support.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace support {

namespace {

int real_stdout = -1;

std::string make_temp_dir() {
    std::string pattern = std::filesystem::temp_directory_path() / "trellis-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) { throw std::runtime_error("no temporary directory"); }
    return pattern;
}

Bytes number(std::uint64_t value, int size, bool big) {
    Bytes bytes;
    for (int i = 0; i < size; ++i) {
        const int shift = 8 * (big ? size - 1 - i : i);
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
    }
    return bytes;
}

}  // namespace

Bytes hex(const std::string& text) {
    Bytes bytes;
    std::istringstream in(text);
    for (std::string group; in >> group;) {
        for (std::size_t i = 0; i < group.size(); i += 2) {
            bytes.push_back(static_cast<std::uint8_t>(std::stoul(group.substr(i, 2), nullptr, 16)));
        }
    }
    return bytes;
}

Bytes text(const std::string& characters) { return {characters.begin(), characters.end()}; }

Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

Bytes piece(const Bytes& bytes, std::size_t offset, std::size_t size) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(offset);
    return {first, first + static_cast<std::ptrdiff_t>(std::min(size, bytes.size() - offset))};
}

Bytes zeros(std::size_t count) { return Bytes(count, 0); }

Bytes be(std::uint64_t value, int size) { return number(value, size, true); }

Bytes le(std::uint64_t value, int size) { return number(value, size, false); }

void put(Bytes& bytes, std::size_t offset, const Bytes& piece) {
    std::copy(piece.begin(), piece.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

TempDir::TempDir() : path_(make_temp_dir()) {}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TempDir::file(const std::string& name, const Bytes& bytes) const {
    // Some file systems wait for the disk when a file's old contents are replaced; pipes stay.
    if (std::filesystem::is_regular_file(path(name))) { std::filesystem::remove(path(name)); }
    std::ofstream out(path(name), std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return path(name);
}

bool shell(const std::string& command) {
    return std::system(command.c_str()) == 0;  // NOLINT(cert-env33-c)
}

bool missing(const std::string& programs) {
    return !shell("for p in " + programs + "; do command -v $p > /dev/null || exit 1; done");
}

Bytes contents(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

bool exists(const std::string& path) { return std::filesystem::exists(path); }

std::string start_capture() {
    std::fflush(stdout);
    std::string path = std::filesystem::temp_directory_path() / "trellis-out-XXXXXX";
    const int file = mkstemp(path.data());
    real_stdout = dup(STDOUT_FILENO);
    dup2(file, STDOUT_FILENO);
    close(file);
    return path;
}

std::string end_capture(const std::string& path) {
    std::fflush(stdout);
    dup2(real_stdout, STDOUT_FILENO);
    close(real_stdout);
    const Bytes bytes = contents(path);
    unlink(path.c_str());
    return {bytes.begin(), bytes.end()};
}

}  // namespace support
