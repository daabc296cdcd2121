#include "formats/iff/run_length.h"

#include <algorithm>
#include <cstring>

#include "frame/avx2.h"
#include "frame/cpu.h"

namespace trellis::iff {

namespace {

constexpr std::uint8_t run_flag = 128;

// Copies and fills in steps of this size write and read up to the next multiple of it.
constexpr std::size_t step = 32;

// Runs and literals where both sides have room for the largest packet, rounded up to whole steps:
// no packet needs a bounds check, and none a call.
Decoded decode_far_from_the_end(std::span<const std::uint8_t> code, std::span<std::uint8_t> bytes) {
    constexpr std::size_t most_read = 1 + most_covered;
    const std::uint8_t* from = code.data();
    std::uint8_t* to = bytes.data();
    if (code.size() < most_read || bytes.size() < most_covered) {
        return {0, 0};
    }
    const std::uint8_t* const last_from = from + code.size() - most_read;
    const std::uint8_t* const last_to = to + bytes.size() - most_covered;
    while (from <= last_from && to <= last_to) {
        const std::size_t header = *from++;
        if (header >= run_flag) {
            const std::size_t count = header - run_flag + 1;
            std::uint8_t filling[step];
            std::memset(filling, *from++, step);
            for (std::size_t done = 0; done < count; done += step) {
                std::memcpy(to + done, filling, step);
            }
            to += count;
        } else {
            const std::size_t count = header + 1;
            for (std::size_t done = 0; done < count; done += step) {
                std::memcpy(to + done, from + done, step);
            }
            from += count;
            to += count;
        }
    }
    return {static_cast<std::size_t>(from - code.data()),
            static_cast<std::size_t>(to - bytes.data())};
}

// What the coder looks for in the bytes, plainly and with vectors.
struct PlainSearch {
    // The first place from `from` on where three equal bytes begin, or `size` if there is none.
    static std::size_t triple(const std::uint8_t* bytes, std::size_t from, std::size_t size) {
        for (; from + 2 < size; ++from) {
            if (bytes[from] == bytes[from + 1] && bytes[from] == bytes[from + 2]) {
                return from;
            }
        }
        return size;
    }

    // The first place from `from` on that does not hold `value`, or `size` if there is none.
    static std::size_t run_end(const std::uint8_t* bytes, std::size_t from, std::size_t size,
                               std::uint8_t value) {
        while (from < size && bytes[from] == value) {
            ++from;
        }
        return from;
    }
};

struct VectorSearch {
    TRELLIS_AVX2 static std::size_t triple(const std::uint8_t* bytes, std::size_t from,
                                           std::size_t size) {
        for (; from + 2 + sizeof(__m256i) <= size; from += sizeof(__m256i)) {
            const __m256i first = avx2::load(bytes + from);
            const __m256i equal =
                _mm256_and_si256(_mm256_cmpeq_epi8(first, avx2::load(bytes + from + 1)),
                                 _mm256_cmpeq_epi8(first, avx2::load(bytes + from + 2)));
            const auto mask = static_cast<std::uint32_t>(_mm256_movemask_epi8(equal));
            if (mask != 0) {
                return from + static_cast<std::size_t>(__builtin_ctz(mask));
            }
        }
        return PlainSearch::triple(bytes, from, size);
    }

    TRELLIS_AVX2 static std::size_t run_end(const std::uint8_t* bytes, std::size_t from,
                                            std::size_t size, std::uint8_t value) {
        const __m256i values = _mm256_set1_epi8(static_cast<char>(value));
        for (; from + sizeof(__m256i) <= size; from += sizeof(__m256i)) {
            const __m256i equal = _mm256_cmpeq_epi8(values, avx2::load(bytes + from));
            const auto mask = ~static_cast<std::uint32_t>(_mm256_movemask_epi8(equal));
            if (mask != 0) {
                return from + static_cast<std::size_t>(__builtin_ctz(mask));
            }
        }
        return PlainSearch::run_end(bytes, from, size, value);
    }
};

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

template <class Search>
std::size_t encode_with(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> room) {
    Code code(room);
    const std::size_t size = bytes.size();
    for (std::size_t i = 0; i < size;) {
        // Without another triple, all but the last two bytes are literal.
        const std::size_t triple = Search::triple(bytes.data(), i, size);
        const std::size_t run =
            triple < size ? triple : std::max(i, size - std::min<std::size_t>(size, 2));
        const std::size_t end = Search::run_end(bytes.data(), run, size, bytes[run]);
        if (!code.append_literal(&bytes[i], run - i) || !code.append_run(bytes[run], end - run)) {
            return 0;
        }
        i = end;
    }
    return code.size();
}

}  // namespace

Decoded decode_runs(std::span<const std::uint8_t> code, std::span<std::uint8_t> bytes) {
    Decoded done = decode_far_from_the_end(code, bytes);
    while (done.read < code.size()) {
        const std::size_t header = code[done.read];
        const bool is_run = header >= run_flag;
        const std::size_t count = (is_run ? header - run_flag : header) + 1;
        const std::size_t size = is_run ? run_packet_size : 1 + count;
        if (code.size() - done.read < size || bytes.size() - done.written < count) {
            break;
        }
        if (is_run) {
            std::memset(&bytes[done.written], code[done.read + 1], count);
        } else {
            std::memcpy(&bytes[done.written], &code[done.read + 1], count);
        }
        done.read += size;
        done.written += count;
    }
    return done;
}

std::size_t encode_runs(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> code) {
    return use_avx2() ? encode_with<VectorSearch>(bytes, code)
                      : encode_with<PlainSearch>(bytes, code);
}

}  // namespace trellis::iff
