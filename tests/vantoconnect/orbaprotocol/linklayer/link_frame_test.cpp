#include <gtest/gtest.h>

#include <limits>
#include <numeric>
#include <random>
#include <string>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

namespace vantoconnect {
namespace {

using linktest::concat;
using linktest::fatalMessage;
using linktest::wire;
using Lines = std::vector<std::string>;
using Messages = std::vector<Bytes>;

constexpr std::int64_t L8 = LinkEncoder::LENGTH_8BIT;
constexpr std::int64_t L12 = LinkEncoder::LENGTH_12BIT;
constexpr std::int64_t L16 = LinkEncoder::LENGTH_16BIT;
constexpr std::size_t WHOLE = std::numeric_limits<std::size_t>::max();

const Bytes EXAMPLE_FRAME = wire({0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x44});
const Bytes EXAMPLE_MESSAGE = wire({0x01, 0x02, 0x10, 0x41});

template <typename Codec>
Codec configured(bool crc, std::int64_t lengthSize) {
    Codec codec;
    codec.setCRCEnable(crc);
    codec.setLengthSize(lengthSize);
    return codec;
}

Bytes frameOf(LinkEncoder& encoder, const ByteLump& message) {
    const std::vector<ByteLump> out = encoder.processByteLump(message, 0);
    EXPECT_EQ(out.size(), 1u);
    return out.at(0).payload;
}

// Feeds the bytes in calls of at most `chunk` bytes and collects every message that completes.
Messages feed(LinkDecoder16& decoder, const Bytes& bytes, std::size_t chunk = WHOLE) {
    Messages out;
    for (std::size_t at = 0; at < bytes.size(); at += std::min(chunk, bytes.size() - at)) {
        const auto from = bytes.begin() + static_cast<long>(at);
        const Bytes part(from, from + static_cast<long>(std::min(chunk, bytes.size() - at)));
        for (const ByteLump& lump : decoder.processByteLump(ByteLump(part), 0)) {
            EXPECT_EQ(lump.sizeInBytes, static_cast<std::int64_t>(lump.payload.size()));
            out.push_back(lump.payload);
        }
    }
    return out;
}

// Every byte a start or escape byte (kind 0), every other one (1), one in four (2), or none in
// particular (3).
Bytes randomMessage(std::mt19937& rng, std::size_t n, int kind) {
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
    return {frame, "link encoder, frame " + ByteLump(frame).toString()};
}

// Every codec test below that names this fixture runs twice: on the block paths the processor
// offers, and on the portable ones forced; automatic choice is back however the test ends.
class CodecPaths : public ::testing::TestWithParam<bool> {
  protected:
    void SetUp() override { PortablePaths::force(GetParam()); }
    void TearDown() override { PortablePaths::force(false); }
};
INSTANTIATE_TEST_SUITE_P(Both, CodecPaths, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "portable" : "automatic"; });

// The checksum's standard check value pins the algorithm for the library and the emulated unit
// alike, which check frames with code of their own; 0xFF counts by its bit pattern, never
// sign-spread.
TEST(CrcValue, CheckValueAndBytesCountByTheirBitPattern) {
    auto crcOf = [](const Bytes& data) {
        CRC crc;
        for (std::int8_t b : data) {
            crc.addToCRC(b);
        }
        return std::pair{crc.getUpperByte(), crc.getLowerByte()};
    };
    EXPECT_EQ(crcOf(wire({'1', '2', '3', '4', '5', '6', '7', '8', '9'})),
              (std::pair<std::int8_t, std::int8_t>{0x31, -61}));                       // 0x31C3
    EXPECT_EQ(crcOf(wire({0xFF})), (std::pair<std::int8_t, std::int8_t>{0x1E, -16}));  // 0x1EF0
}

// The console line of every frame is held against a reference in the round trip below.
TEST_P(CodecPaths, EncoderFramesWithTheirChecksum) {
    const std::pair<ByteLump, Bytes> cases[] = {
        {ByteLump(EXAMPLE_MESSAGE), EXAMPLE_FRAME},
        {ByteLump(std::int64_t{0}), wire({0x02})},
        // CRC bytes are escaped like any other: 0x1021 here.
        {ByteLump(wire({0x20, 0x43})), wire({0x02, 0x10, 0x42, 0x20, 0x43, 0x10, 0x50, 0x21})},
    };
    testing::ConsoleCapture console;
    for (const auto& [message, frame] : cases) {
        auto encoder = configured<LinkEncoder>(true, L12);
        EXPECT_EQ(frameOf(encoder, message), frame) << ByteLump(frame).toString();
    }
}

TEST(LinkEncoderStops, CanvasOverrunsBadCountsAndTheAlternativeChecksum) {
    testing::ConsoleCapture console;
    auto encoder = configured<LinkEncoder>(false, L16);
    // Start byte, two length bytes and every message byte escaped: 40000 bytes fit.
    EXPECT_EQ(frameOf(encoder, ByteLump(Bytes(19998, 0x10))).size(), 39999u);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, ByteLump(Bytes(19999, 0x02))); }),
              fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(frameOf(encoder, ByteLump(Bytes(39997, 0x41))).size(), 40000u);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, ByteLump(Bytes(39998, 0x41))); }),
              fatal::INDEX_OUT_OF_RANGE);

    // The encoder is still usable for the next frame.
    EXPECT_EQ(frameOf(encoder, ByteLump(wire({0x41}))), wire({0x02, 0x01, 0x00, 0x41}));
    // An unknown length size leaves the length field out.
    console.clear();
    auto unknown = configured<LinkEncoder>(true, 7);
    EXPECT_EQ(frameOf(unknown, ByteLump(wire({0x41}))), wire({0x02, 0x41, 0x58, 0xE5}));
    EXPECT_EQ(console.lines().at(0), "LinkEnc: lengthSize is out of control #1");
    console.clear();

    // The alternative checksum route never frames, whatever the lump.
    encoder.setQuorinCRCEnable(true);
    const ByteLump pair(wire({0x01, 0x02}));
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, pair); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, ByteLump(std::int64_t{0})); }),
              fatal::EMPTY_RANGE);
    ByteLump shortened(wire({1, 2}));
    shortened.sizeInBytes = 3;
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, shortened); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_TRUE(console.lines().empty());
}

TEST_P(CodecPaths, DecoderMessagesAndConsoleLinesWholeAndOneBytePerCall) {
    const struct {
        const char* name;
        bool crc;
        std::int64_t lengthSize;
        Bytes stream;
        Messages messages;
        Lines console;
    } cases[] = {
        {"worked example", true, L12, EXAMPLE_FRAME, Messages{EXAMPLE_MESSAGE}, Lines{}},
        // Unchecked, the CRC pair arrives outside a frame and is logged.
        {"no crc check", false, L12, EXAMPLE_FRAME, Messages{EXAMPLE_MESSAGE}, Lines{"-54", "68"}},
        {"start inside a frame", true, L12, concat(wire({0x02, 0x03, 0xAA}), EXAMPLE_FRAME),
         Messages{EXAMPLE_MESSAGE}, Lines{"STX found when not expected"}},
        {"double escape", true, L12,
         concat(wire({0x02, 0x04, 0x01, 0x10, 0x10, 0x41, 0xCA}), EXAMPLE_FRAME),
         Messages{EXAMPLE_MESSAGE}, Lines{"Double DLE found", "65", "-54"}},
        // The reused received CRC must be fully overwritten by the next frame's pair.
        {"altered crc", true, L12,
         concat(wire({0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCB, 0x44,
                      0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x45}),
                EXAMPLE_FRAME),
         Messages{EXAMPLE_MESSAGE}, Lines(2, "CRC error in frame")},
        {"zero 8-bit length", false, L8, wire({0x02, 0x00, 0x05}), Messages{},
         Lines{"Zero length (8 bit) frame indicated", "5"}},
        {"zero 16-bit length", false, L16, wire({0x02, 0x00, 0x00, 0x06}), Messages{},
         Lines{"Zero length (16 bit) frame indicated", "6"}},
        // The one-byte 12-bit length is not tested for zero: the frame waits for the next
        // start.
        {"zero 12-bit length", false, L12, wire({0x02, 0x00, 0x41, 0x42, 0x02, 0x01, 0x43}),
         Messages{wire({0x43})}, Lines{"STX found when not expected"}},
        {"unknown length size", false, 9, wire({0x02, 0x01, 0x41}), Messages{},
         Lines(2, "LinkDec: lengthSize is out of control #1")},
        // 0x41 ^ 0x40 = 1 gives a one-byte frame; outside a frame the unescaped byte is logged.
        {"escape before start", false, L12, wire({0x10, 0x02, 0x41, 0x55, 0x10, 0x3F}),
         Messages{wire({0x55})}, Lines{"127"}},
        // Lengths widen as signed bytes: a 12-bit or 8-bit length over 127 never completes.
        {"8-bit length 130", false, L8, concat(wire({0x02, 0x82}), Bytes(130, 0x41)), Messages{},
         Lines{}},
        {"12-bit length 200", true, L12,
         concat(concat(wire({0x02, 0xC8, 0x01}), Bytes(202, 0x41)), EXAMPLE_FRAME),
         Messages{EXAMPLE_MESSAGE}, Lines{"STX found when not expected"}},
        // 384 is sent as 80 01 and read as 256 - 128: the frame ends 256 bytes early.
        {"16-bit length 384", false, L16,
         concat(concat(wire({0x02, 0x80, 0x01}), Bytes(128, 0x41)), Bytes(256, 0x42)),
         Messages{Bytes(128, 0x41)}, Lines(256, "66")},
    };
    for (const auto& c : cases) {
        for (std::size_t chunk : {WHOLE, std::size_t{1}}) {
            SCOPED_TRACE(std::string(c.name) + (chunk == 1 ? ", byte by byte" : ", whole"));
            testing::ConsoleCapture console;
            auto decoder = configured<LinkDecoder16>(c.crc, c.lengthSize);
            EXPECT_EQ(feed(decoder, c.stream, chunk), c.messages);
            EXPECT_EQ(console.lines(), c.console);
        }
    }
}

TEST(LinkDecoderStreams, LengthSizeChangedInsideAFrameIsLoggedWithoutLeavingTheState) {
    testing::ConsoleCapture console;
    auto decoder = configured<LinkDecoder16>(false, L16);
    EXPECT_TRUE(feed(decoder, wire({0x02, 0x01})).empty());
    decoder.setLengthSize(9);
    EXPECT_TRUE(feed(decoder, wire({0x00, 0x41})).empty());
    decoder.setLengthSize(L16);
    EXPECT_EQ(feed(decoder, wire({0x00, 0x41})), Messages{wire({0x41})});
    EXPECT_EQ(console.lines(), Lines(2, "LinkDec: lengthSize is out of control #2"));
}

TEST_P(CodecPaths, DecoderStopsAtByte8001OfAFrameAndTrustsTheCountOverThePayload) {
    testing::ConsoleCapture console;
    // A negative 12-bit length keeps storing until the canvas runs out, escaped or not.
    for (std::size_t chunk : {1u, 7u, 1024u, 9000u}) {
        auto decoder = configured<LinkDecoder16>(false, L12);
        feed(decoder, concat(wire({0x02, 0x81}), Bytes(8000, 0x41)), chunk);
        EXPECT_EQ(fatalMessage([&] { feed(decoder, wire({0x41})); }), fatal::INDEX_OUT_OF_RANGE)
            << "chunk " << chunk;
    }
    Bytes pairs = wire({0x02, 0x81});
    for (int k = 0; k < 8001; ++k) {
        pairs.insert(pairs.end(), {0x10, 0x42});
    }
    auto escaped = configured<LinkDecoder16>(false, L12);
    EXPECT_EQ(fatalMessage([&] { feed(escaped, pairs); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_TRUE(console.lines().empty());
    // The count is trusted over the payload.
    ByteLump lump(concat(EXAMPLE_FRAME, EXAMPLE_FRAME));
    lump.sizeInBytes = static_cast<std::int64_t>(EXAMPLE_FRAME.size());
    LinkDecoder16 decoder;
    EXPECT_EQ(decoder.processByteLump(lump, 3).size(), 1u);
}

// Counts at the ends of the signed range: the last index (count - 1) of the most negative one
// overflows, every other one is an ordinary empty range or a read past the payload. The
// sanitizers make sure none of them is reached through arithmetic that wraps.
TEST(LinkCounts, ExtremeCountsStopThroughTheirOwnEdge) {
    constexpr std::int64_t MIN = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t MAX = std::numeric_limits<std::int64_t>::max();
    const struct {
        std::int64_t count;
        std::string_view decoder;
        std::string_view copy;
        std::string_view quorin;
    } cases[] = {
        {MIN, fatal::ARITHMETIC_OVERFLOW, fatal::NEGATIVE_COUNT, fatal::NEGATIVE_COUNT},
        {MIN + 1, fatal::EMPTY_RANGE, fatal::NEGATIVE_COUNT, fatal::NEGATIVE_COUNT},
        {-1, fatal::EMPTY_RANGE, fatal::NEGATIVE_COUNT, fatal::EMPTY_RANGE},
        {MAX, fatal::INDEX_OUT_OF_RANGE, fatal::INDEX_OUT_OF_RANGE, fatal::ARITHMETIC_OVERFLOW},
    };
    testing::ConsoleCapture console;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.count);
        ByteLump lump(wire({0x41, 0x42}));
        lump.sizeInBytes = c.count;
        LinkDecoder16 decoder;
        EXPECT_EQ(fatalMessage([&] { decoder.processByteLump(lump, 0); }), c.decoder);
        EXPECT_EQ(fatalMessage([&] { (void)ByteLump::copyOf(lump); }), c.copy);
        EXPECT_EQ(fatalMessage([&] { (void)lump.toByteArray(); }), c.copy);
        auto plain = configured<LinkEncoder>(true, L16);
        EXPECT_EQ(fatalMessage([&] { frameOf(plain, lump); }),
                  c.count > 0 ? fatal::INDEX_OUT_OF_RANGE : testing::NO_FATAL_ERROR);
        LinkEncoder quorin;
        quorin.setQuorinCRCEnable(true);
        EXPECT_EQ(fatalMessage([&] { frameOf(quorin, lump); }), c.quorin);
    }
    // A start far past the source stops at its first read, not at the sum start + count.
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1, 2}), MAX, 2); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1, 2}), 1, MAX); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { ByteLump l(wire({1, 2}), MIN, 1); }), fatal::INDEX_OUT_OF_RANGE);
}

// Escape densities are drawn at random per message, so escapes fill whole blocks, straddle block
// ends and sit at every offset; the 16-bit frames with a CRC are also held against a reference
// built one byte at a time, console line included.
TEST_P(CodecPaths, EveryCarriedLengthComesBackUnchangedHoweverItIsSplit) {
    const std::pair<std::int64_t, bool> settings[] = {
        {L12, true}, {L12, false}, {L16, true}, {L8, true}, {L8, false}};
    for (const auto& [lengthSize, crc] : settings) {
        SCOPED_TRACE("length size " + std::to_string(lengthSize) + (crc ? " with crc" : ""));
        std::vector<std::size_t> lengths(127);
        std::iota(lengths.begin(), lengths.end(), 1);
        if (lengthSize == L16) {
            // Lengths whose low byte stays below 0x80, up to the full canvas.
            lengths.insert(lengths.end(), {256, 300, 383, 1024, 1151, 4096, 7999, 8000});
        }
        std::mt19937 rng(static_cast<unsigned>(lengthSize * 2 + crc));
        Messages messages;
        Bytes stream;
        testing::ConsoleCapture console;
        auto encoder = configured<LinkEncoder>(crc, lengthSize);
        for (std::size_t n : lengths) {
            messages.push_back(randomMessage(rng, n, static_cast<int>(rng() % 4)));
            console.clear();
            const Bytes frame = frameOf(encoder, ByteLump(messages.back()));
            if (lengthSize == L16 && crc) {
                const auto [reference, line] = referenceFrame(messages.back());
                ASSERT_EQ(frame, reference) << "length " << n;
                ASSERT_EQ(console.lines(), Lines{line});
            }
            stream = concat(stream, frame);
        }
        console.clear();
        // One byte per call splits every frame at every position; 17 and 33 leave the bulk
        // paths a full block after each split and cut escape pairs between calls.
        for (std::size_t chunk : {WHOLE, std::size_t{1}, std::size_t{17}, std::size_t{33}}) {
            auto decoder = configured<LinkDecoder16>(crc, lengthSize);
            EXPECT_EQ(feed(decoder, stream, chunk), messages) << "chunk " << chunk;
        }
        EXPECT_TRUE(console.lines().empty());
    }
}

TEST_P(CodecPaths, FramingErrorsInsideEscapedRunsAreReportedAndTheNextFrameArrives) {
    std::mt19937 rng(78);
    const Bytes first = randomMessage(rng, 600, 0);
    const Bytes second = randomMessage(rng, 300, 1);
    const Bytes good = referenceFrame(second).first;
    const std::pair<Bytes, std::string> faults[] = {{{0x02}, "STX found when not expected"},
                                                    {{0x10, 0x10}, "Double DLE found"}};
    for (const auto& [fault, text] : faults) {
        for (std::size_t at : {40, 41, 47, 200}) {
            Bytes stream = referenceFrame(first).first;
            stream.insert(stream.begin() + static_cast<long>(at), fault.begin(), fault.end());
            stream.insert(stream.end(), good.begin(), good.end());
            testing::ConsoleCapture console;
            auto decoder = configured<LinkDecoder16>(true, L16);
            EXPECT_EQ(feed(decoder, stream, 64), Messages{second}) << text << " at " << at;
            EXPECT_EQ(console.lines().at(0), text);
        }
    }
}

}  // namespace
}  // namespace vantoconnect
