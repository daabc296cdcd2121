// Run-length packets: worked bytes, bounds on both sides.

#include <gtest/gtest.h>

#include "formats/iff/run_length.h"
#include "pixels/kernels.h"
#include "support/support.h"

namespace {

using namespace trellis;
using namespace support;

TEST(IffRunLength, DecodesWholePacketsWithinBothSizes) {
    const struct {
        const char* packets;
        std::size_t room;
        const char* bytes;
        std::size_t read;
    } cases[] = {
        {"02 61 62 63 81 7A", 5, "61 62 63 7A 7A", 6},
        {"02 61 62 63 81 7A", 4, "61 62 63", 4},  // the run does not fit
        {"02 61 62 63 81", 9, "61 62 63", 4},     // the run is cut short
        {"02 61 62", 9, "", 0},
        {"81 07 01 05 06", 3, "07 07", 2},  // the literal does not fit
    };
    for (const auto& c : cases) {
        Bytes out(c.room + 4, 0xA5);
        const Bytes packets = hex(c.packets);
        const auto done = pixels::kernels().decode_packets(packets.data(), packets.size(), out.data(), c.room);
        EXPECT_EQ(done.read, c.read) << c.packets;
        EXPECT_EQ(Bytes(out.begin(), out.begin() + static_cast<int>(done.written)), hex(c.bytes));
        EXPECT_EQ(Bytes(out.end() - 4, out.end()), Bytes(4, 0xA5)) << c.packets;
    }
}

TEST(IffRunLength, EncodesTriplesAsRunsAndTheEndAsARun) {
    const std::string literal = "0102030405060708 1112131415161718 2122232425262728 3132333435363738";
    const std::pair<Bytes, std::string> cases[] = {
        {Bytes(300, 7), "FF 07 FF 07 AB 07"},
        {hex("01 02 03 04 05"), "02 01 02 03 80 04 80 05"},
        {hex("07 07 08 09 09 09 09"), "02 07 07 08 83 09"},
        {hex("01"), "80 01"},
        {hex("05 01 01 02 02"), "02 05 01 01 81 02"},
        {hex(literal + "090909"), "1F" + literal + "8209"},
    };
    for (const auto& [bytes, packets] : cases) {
        const std::size_t size = hex(packets).size();
        Bytes out(size + 4, 0xA5);
        EXPECT_EQ(iff::encode_runs(bytes, std::span(out).first(size)), size) << packets;
        EXPECT_EQ(out, hex(packets) + Bytes(4, 0xA5));
        for (std::size_t room = 0; room < size; ++room) {
            Bytes tight(room + 4, 0xA5);
            EXPECT_EQ(iff::encode_runs(bytes, std::span(tight).first(room)), 0U) << packets << " in " << room;
            EXPECT_EQ(Bytes(tight.end() - 4, tight.end()), Bytes(4, 0xA5)) << packets << " in " << room;
        }
    }
}

/// The rule as it is written down, byte by byte.
Bytes reference_packets(const Bytes& bytes) {
    Bytes packets;
    const auto equal = [&](std::size_t i, std::size_t k) { return k < bytes.size() && bytes[i] == bytes[k]; };
    for (std::size_t i = 0; i < bytes.size();) {
        std::size_t run = i;
        while (run + 2 < bytes.size() && !(equal(run, run + 1) && equal(run, run + 2))) { ++run; }
        for (std::size_t count; i < run; i += count) {
            count = std::min<std::size_t>(run - i, 128);
            packets = packets + Bytes(1, static_cast<std::uint8_t>(count - 1)) + piece(bytes, i, count);
        }
        while (equal(run, i)) { ++i; }
        for (std::size_t count; run < i; run += count) {
            count = std::min<std::size_t>(i - run, 128);
            packets = packets + Bytes{static_cast<std::uint8_t>(count + 127), bytes[run]};
        }
    }
    return packets;
}

// Long literals, long runs and everything in between, across the pieces that they are found in.
TEST(IffRunLength, PacketsFollowTheRuleAndDecodingRestores) {
    for (std::uint32_t size = 1; size <= 9000; size += 1 + size / 20) {
        for (std::uint32_t variety = 1; variety <= 256; variety *= 4) {
            Noise noise(size * 256 + variety);
            Bytes bytes;
            while (bytes.size() < size) {
                bytes.resize(bytes.size() + 1 + noise.next() % (noise.next() % 8 == 0 ? 200 : 3),
                             static_cast<std::uint8_t>(noise.next() % variety));
            }
            Bytes packets(2 * bytes.size());
            packets.resize(iff::encode_runs(bytes, packets));
            ASSERT_EQ(packets, reference_packets(bytes)) << size << " " << variety;
            Bytes back(bytes.size());
            ASSERT_EQ(pixels::kernels().decode_packets(packets.data(), packets.size(), back.data(), back.size()).read,
                      packets.size());
            ASSERT_EQ(back, bytes) << size << " " << variety;
        }
    }
}

}  // namespace
