#include "formats/iff/run_length.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "pixels/kernels.h"

namespace trellis::iff {

namespace {

// Packets as they are made of `bytes`, one after the other. A packet that does not fit makes the
// rest fail.
class PacketWriter {
  public:
    PacketWriter(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> room)
        : bytes_(bytes), room_(room) {}

    /// How many bytes are in packets.
    std::size_t done() const { return done_; }

    /// The size of the packets.
    std::size_t size() const { return size_; }

    /// Appends literals up to `run.begin`, and the run.
    bool append(const pixels::Run& run) {
        const std::size_t literal = run.begin - done_;
        const std::size_t covered = run.end - run.begin;
        // Most are short. They are made at once, whatever their length: a literal of none is
        // overwritten by the run, and what is copied beyond one as well.
        if (literal <= step && covered <= most_covered && bytes_.size() - done_ >= step &&
            room_.size() - size_ >= 1 + step + run_packet_size) {
            std::uint8_t* to = &room_[size_];
            to[0] = static_cast<std::uint8_t>(literal - 1);
            std::memcpy(to + 1, &bytes_[done_], step);
            to += literal > 0 ? 1 + literal : 0;
            to[0] = static_cast<std::uint8_t>(covered - 1 + run_flag);
            to[1] = bytes_[run.begin];
            size_ = static_cast<std::size_t>(to - room_.data()) + run_packet_size;
            done_ = run.end;
            return true;
        }
        return append_literals(run.begin) && append_runs(run.end);
    }

  private:
    static constexpr std::size_t step = 32;

    bool append_literals(std::size_t end) {
        while (done_ < end) {
            const std::size_t covered = std::min(end - done_, most_covered);
            if (room_.size() - size_ < 1 + covered) {
                return false;
            }
            room_[size_] = static_cast<std::uint8_t>(covered - 1);
            std::memcpy(&room_[size_ + 1], &bytes_[done_], covered);
            size_ += 1 + covered;
            done_ += covered;
        }
        return true;
    }

    bool append_runs(std::size_t end) {
        while (done_ < end) {
            const std::size_t covered = std::min(end - done_, most_covered);
            if (room_.size() - size_ < run_packet_size) {
                return false;
            }
            room_[size_] = static_cast<std::uint8_t>(covered - 1 + run_flag);
            room_[size_ + 1] = bytes_[done_];
            size_ += run_packet_size;
            done_ += covered;
        }
        return true;
    }

    std::span<const std::uint8_t> bytes_;
    std::span<std::uint8_t> room_;
    std::size_t done_ = 0;
    std::size_t size_ = 0;
};

// Runs are searched for in pieces of this many bytes: whole vectors, and what they look ahead.
constexpr std::size_t piece_size = 64 * 64 + 2;

// Makes packets up to the last run of three and more.
bool encode_up_to_last_run(std::span<const std::uint8_t> bytes, PacketWriter& packets) {
    const pixels::Kernels& kernels = pixels::kernels();
    std::array<pixels::Run, pixels::room_for_runs(piece_size)> runs;
    for (std::size_t from = 0; from + 2 < bytes.size();) {
        const std::size_t size = std::min(bytes.size() - from, piece_size);
        const std::size_t found = kernels.find_byte_runs(&bytes[from], size, runs.data());
        for (pixels::Run run : std::span(runs).first(found)) {
            run = {from + run.begin, from + run.end};
            if (run.end == from + size) {
                run.end =
                    kernels.find_run_end(bytes.data(), run.end, bytes.size(), bytes[run.begin]);
            }
            if (!packets.append(run)) {
                return false;
            }
        }
        // The last two bytes of the piece may be the first of three.
        from = std::max(packets.done(), from + size - 2);
    }
    return true;
}

}  // namespace

Decoded skip_runs(std::span<const std::uint8_t> packets, std::uint64_t count) {
    Decoded done{};
    while (done.read < packets.size()) {
        const std::size_t header = packets[done.read];
        const bool is_run = header >= run_flag;
        const std::size_t covered = (is_run ? header - run_flag : header) + 1;
        const std::size_t size = is_run ? run_packet_size : 1 + covered;
        if (size > packets.size() - done.read || covered > count - done.written) {
            break;
        }
        done.read += size;
        done.written += covered;
    }
    return done;
}

std::size_t encode_runs(std::span<const std::uint8_t> bytes, std::span<std::uint8_t> room) {
    PacketWriter packets(bytes, room);
    if (!encode_up_to_last_run(bytes, packets)) {
        return 0;
    }
    // Of the rest, all but the last two bytes are literal.
    while (packets.done() < bytes.size()) {
        const std::size_t begin =
            std::max(packets.done(), bytes.size() - std::min<std::size_t>(bytes.size(), 2));
        const std::size_t end =
            begin + 1 < bytes.size() && bytes[begin] == bytes[begin + 1] ? begin + 2 : begin + 1;
        if (!packets.append({begin, end})) {
            return 0;
        }
    }
    return packets.size();
}

}  // namespace trellis::iff
