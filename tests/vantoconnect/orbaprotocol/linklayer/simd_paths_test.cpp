// The codecs (check value, escaping, unescaping and dumping) against byte-at-a-time
// references, on data where escapes fill whole blocks, straddle block ends and sit next to
// framing errors. Every case runs twice: on the block paths the processor offers and on the
// portable paths forced, so a machine with the instructions checks both.

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/support/Console.hpp"

namespace vantoconnect {
namespace {

using Lines = std::vector<std::string>;

// Collects console lines for as long as it lives.
struct Console {
    Lines lines;
    Console() {
        setConsoleSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~Console() { setConsoleSink({}); }
};

// Every byte escaped, every other byte, one in four, or none in particular.
Bytes message(std::mt19937& rng, std::size_t n, int kind) {
    Bytes out(n);
    for (auto& b : out) {
        const unsigned r = rng();
        const bool framing = kind == 0 || (kind == 1 && (r & 1)) || (kind == 2 && r % 4 == 0);
        b = static_cast<std::int8_t>(framing ? ((r & 2) ? 0x10 : 0x02) : (r >> 8));
    }
    return out;
}

// The 16-bit length frame and its console line, built one byte at a time.
std::pair<Bytes, std::string> referenceFrame(const Bytes& m) {
    Bytes frame = {0x02};
    CRC crc;
    auto put = [&](std::int8_t b) {
        if (b == 0x02 || b == 0x10) {
            frame.push_back(0x10);
            frame.push_back(static_cast<std::int8_t>(b ^ 0x40));
        } else {
            frame.push_back(b);
        }
    };
    const Bytes length = {static_cast<std::int8_t>(m.size() & 0xFF),
                          static_cast<std::int8_t>(m.size() >> 8)};
    for (const Bytes* part : {&length, &m}) {
        for (std::int8_t b : *part) {
            put(b);
            crc.addToCRC(b);
        }
    }
    put(crc.getUpperByte());
    put(crc.getLowerByte());
    std::string line =
        "link encoder, frame ByteLump, size " + std::to_string(frame.size()) + ", contents: ";
    for (std::size_t k = 0; k < frame.size(); ++k) {
        char cell[4];
        std::snprintf(cell, sizeof cell, "%02x", static_cast<unsigned>(frame[k] & 0xFF));
        line += (k > 0 ? "|" : "") + std::string(cell);
    }
    return {frame, line};
}

std::vector<Bytes> decode(const Bytes& stream, std::size_t chunk) {
    LinkDecoder16 decoder;
    decoder.setCRCEnable(true);
    decoder.setLengthSize(LinkDecoder16::LENGTH_16BIT);
    std::vector<Bytes> out;
    for (std::size_t at = 0; at < stream.size(); at += chunk) {
        const auto n = static_cast<std::int64_t>(std::min(chunk, stream.size() - at));
        for (const ByteLump& lump :
             decoder.processByteLump(ByteLump(stream, static_cast<std::int64_t>(at), n), 0)) {
            out.push_back(lump.payload);
        }
    }
    return out;
}

TEST(LinkBlockPaths, FramesAndConsoleLinesMatchByteAtATimeReferences) {
    for (bool portable : linktest::BOTH_PATHS) {
        SCOPED_TRACE(linktest::pathName(portable));
        const linktest::PortableGuard guard(portable);
        std::mt19937 rng(77);
        LinkEncoder encoder;
        encoder.setCRCEnable(true);
        encoder.setLengthSize(LinkEncoder::LENGTH_16BIT);
        std::vector<Bytes> messages;
        Bytes stream;
        Console console;
        for (int kind = 0; kind < 4; ++kind) {
            // Lengths whose low byte stays below 0x80, as the decoder reads it signed.
            for (std::size_t n : {1, 7, 8, 9, 15, 16, 17, 31, 33, 64, 65, 127, 300, 1100}) {
                messages.push_back(message(rng, n, kind));
                const auto [frame, line] = referenceFrame(messages.back());
                console.lines.clear();
                ASSERT_EQ(encoder.processByteLump(ByteLump(messages.back()), 0).at(0).payload,
                          frame)
                    << "kind " << kind << ", length " << n;
                ASSERT_EQ(console.lines, Lines{line});
                stream.insert(stream.end(), frame.begin(), frame.end());
            }
        }
        console.lines.clear();
        // Chunks of 33 put every escape at every offset of a block and cut pairs between calls.
        for (std::size_t chunk : {stream.size(), std::size_t{1024}, std::size_t{33}}) {
            EXPECT_EQ(decode(stream, chunk), messages) << "chunk " << chunk;
        }
        EXPECT_TRUE(console.lines.empty());
    }
}

TEST(LinkBlockPaths, FramingErrorsInsideEscapedRunsAreReportedAndTheNextFrameArrives) {
    for (bool portable : linktest::BOTH_PATHS) {
        SCOPED_TRACE(linktest::pathName(portable));
        const linktest::PortableGuard guard(portable);
        std::mt19937 rng(78);
        const Bytes first = message(rng, 600, 0);
        const Bytes second = message(rng, 300, 1);
        const Bytes good = referenceFrame(second).first;
        const std::pair<Bytes, std::string> faults[] = {{{0x02}, "STX found when not expected"},
                                                        {{0x10, 0x10}, "Double DLE found"}};
        for (const auto& [fault, text] : faults) {
            for (std::size_t at : {40, 41, 47, 200}) {
                Bytes stream = referenceFrame(first).first;
                stream.insert(stream.begin() + static_cast<long>(at), fault.begin(), fault.end());
                stream.insert(stream.end(), good.begin(), good.end());
                Console console;
                EXPECT_EQ(decode(stream, 64), std::vector<Bytes>{second}) << text << " at " << at;
                ASSERT_FALSE(console.lines.empty());
                EXPECT_EQ(console.lines.front(), text);
            }
        }
    }
}

}  // namespace
}  // namespace vantoconnect
