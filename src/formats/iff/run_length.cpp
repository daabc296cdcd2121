#include "formats/iff/run_length.h"

#include <algorithm>
#include <cstring>

#include "pixels/kernels.h"

namespace trellis::iff {

namespace {

// Copies and fills of a packet are made in steps of this size, for as long as what they read and
// write beyond the packet is there. That spares a call for every packet, most being short.
constexpr std::size_t step = 32;
static_assert(most_covered % step == 0);

void fill_in_steps(std::uint8_t* to, std::size_t count, std::uint8_t value) {
    for (std::size_t done = 0; done < count; done += step) {
        std::memset(to + done, value, step);
    }
}

void copy_in_steps(std::uint8_t* to, std::size_t count, const std::uint8_t* from) {
    for (std::size_t done = 0; done < count; done += step) {
        std::memcpy(to + done, from + done, step);
    }
}

// The first place from `from` on where three equal bytes begin, or `size`. Where one run follows
// another, as in charts, the processor foresees the answer.
std::size_t find_triple(const pixels::Kernels& kernels, const std::uint8_t* bytes, std::size_t from,
                        std::size_t size) {
    const bool at_once =
        from + 2 < size && bytes[from] == bytes[from + 1] && bytes[from] == bytes[from + 2];
    return at_once ? from : kernels.find_triple(bytes, from, size);
}

// The code as it grows. A packet that does not fit makes the rest fail.
class Code {
  public:
    explicit Code(std::span<std::uint8_t> room) : room_(room) {}

    bool append_literal(const std::uint8_t* bytes, std::size_t count) {
        while (count > 0) {
            const std::size_t covered = std::min(count, most_covered);
            if (room_.size() - size_ < 1 + covered) {
                return false;
            }
            room_[size_] = static_cast<std::uint8_t>(covered - 1);
            std::memcpy(&room_[size_ + 1], bytes, covered);
            size_ += 1 + covered;
            bytes += covered;
            count -= covered;
        }
        return true;
    }

    bool append_run(std::uint8_t value, std::size_t count) {
        while (count > 0) {
            const std::size_t covered = std::min(count, most_covered);
            if (room_.size() - size_ < run_packet_size) {
                return false;
            }
            room_[size_] = static_cast<std::uint8_t>(covered - 1 + run_flag);
            room_[size_ + 1] = value;
            size_ += run_packet_size;
            count -= covered;
        }
        return true;
    }

    std::size_t size() const { return size_; }

  private:
    std::span<std::uint8_t> room_;
    std::size_t size_ = 0;
};

}  // namespace

Decoded decode_runs(std::span<const std::uint8_t> code, std::span<std::uint8_t> bytes) {
    const std::uint8_t* from = code.data();
    const std::uint8_t* const from_end = from + code.size();
    std::uint8_t* to = bytes.data();
    std::uint8_t* const to_end = to + bytes.size();
    while (from_end - from >= std::ptrdiff_t{run_packet_size}) {
        const std::size_t header = *from;
        const auto left = static_cast<std::size_t>(from_end - from);
        const auto room = static_cast<std::size_t>(to_end - to);
        if (header >= run_flag) {
            const std::size_t count = header - run_flag + 1;
            if (room >= most_covered) {
                fill_in_steps(to, count, from[1]);
            } else if (room >= count) {
                std::memset(to, from[1], count);
            } else {
                break;
            }
            from += run_packet_size;
            to += count;
        } else {
            const std::size_t count = header + 1;
            if (room >= most_covered && left > most_covered) {
                copy_in_steps(to, count, from + 1);
            } else if (room >= count && left > count) {
                std::memcpy(to, from + 1, count);
            } else {
                break;
            }
            from += 1 + count;
            to += count;
        }
    }
    return {static_cast<std::size_t>(from - code.data()),
            static_cast<std::size_t>(to - bytes.data())};
}

Decoded skip_runs(std::span<const std::uint8_t> code, std::uint64_t count) {
    Decoded done{};
    while (done.read < code.size()) {
        const std::size_t header = code[done.read];
        const bool is_run = header >= run_flag;
        const std::size_t covered = (is_run ? header - run_flag : header) + 1;
        const std::size_t size = is_run ? run_packet_size : 1 + covered;
        if (size > code.size() - done.read || covered > count - done.written) {
            break;
        }
        done.read += size;
        done.written += covered;
    }
    return done;
}

std::size_t encode_runs(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> room) {
    const pixels::Kernels& kernels = pixels::kernels();
    Code code(room);
    const std::size_t size = bytes.size();
    for (std::size_t i = 0; i < size;) {
        // Without another triple, all but the last two bytes are literal.
        const std::size_t triple = find_triple(kernels, bytes.data(), i, size);
        const std::size_t run =
            triple < size ? triple : std::max(i, size - std::min<std::size_t>(size, 2));
        const std::size_t end = kernels.find_run_end(bytes.data(), run, size, bytes[run]);
        if (!code.append_literal(&bytes[i], run - i) || !code.append_run(bytes[run], end - run)) {
            return 0;
        }
        i = end;
    }
    return code.size();
}

}  // namespace trellis::iff
