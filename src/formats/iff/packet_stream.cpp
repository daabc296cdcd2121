#include "formats/iff/packet_stream.h"

#include <algorithm>
#include <cstring>

namespace trellis::iff {

Error PacketStream::decode(std::span<std::uint8_t> bytes) {
    return pass(bytes.size(), bytes.data());
}

Error PacketStream::skip(std::uint64_t count) {
    return pass(count, nullptr);
}

Error PacketStream::pass(std::uint64_t count, std::uint8_t* to) {
    while (count > 0) {
        Decoded done = pass_whole_packets(count, to);
        if (done.written == 0) {
            // The next packet is longer than `count`, or the last call has left a part of it.
            TRELLIS_TRY(open_packet());
            done = pass_in_packet(count, to);
            if (done.written == 0) {
                return Error::read;
            }
        }
        file_.consume(done.read);
        packets_left_ -= done.read;
        produced_ += done.written;
        count -= done.written;
        to = to == nullptr ? nullptr : to + done.written;
    }
    return Error::none;
}

Decoded PacketStream::pass_whole_packets(std::uint64_t count, std::uint8_t* to) {
    if (in_packet_ > 0) {
        return {0, 0};
    }
    const std::span<const std::uint8_t> packets = window(input_buffer_size);
    return to == nullptr ? skip_runs(packets, count)
                         : pixels::kernels().decode_packets(packets.data(), packets.size(), to,
                                                            static_cast<std::size_t>(count));
}

Error PacketStream::open_packet() {
    if (in_packet_ > 0) {
        return Error::none;
    }
    const std::span<const std::uint8_t> packet = window(run_packet_size);
    if (packet.size() < run_packet_size) {
        return Error::read;
    }
    in_run_ = packet[0] >= run_flag;
    run_value_ = packet[1];
    in_packet_ = (in_run_ ? packet[0] - run_flag : packet[0]) + std::size_t{1};
    const std::size_t size = in_run_ ? run_packet_size : 1;
    file_.consume(size);
    packets_left_ -= size;
    return Error::none;
}

Decoded PacketStream::pass_in_packet(std::uint64_t count, std::uint8_t* to) {
    auto size = static_cast<std::size_t>(std::min<std::uint64_t>(count, in_packet_));
    const std::span<const std::uint8_t> literal = window(in_run_ ? 0 : size);
    size = in_run_ ? size : std::min(size, literal.size());
    in_packet_ -= size;
    if (to != nullptr && in_run_) {
        std::memset(to, run_value_, size);
    } else if (to != nullptr) {
        std::memcpy(to, literal.data(), size);
    }
    return {in_run_ ? 0 : size, size};
}

std::span<const std::uint8_t> PacketStream::window(std::size_t wanted) {
    wanted = static_cast<std::size_t>(std::min<std::uint64_t>(wanted, packets_left_));
    const std::span<const std::uint8_t> bytes = file_.window(wanted);
    return bytes.first(
        static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), packets_left_)));
}

}  // namespace trellis::iff
