#include <gtest/gtest.h>

#include <random>
#include <string>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"

namespace vantoconnect {
namespace {

using linktest::concat;
using linktest::fatalMessage;
using linktest::wire;

const Bytes EXAMPLE_FRAME = wire({0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x44});
const Bytes EXAMPLE_MESSAGE = wire({0x01, 0x02, 0x10, 0x41});

LinkDecoder16 decoderWith(bool crc, std::int64_t lengthSize) {
    LinkDecoder16 decoder;
    decoder.setCRCEnable(crc);
    decoder.setLengthSize(lengthSize);
    return decoder;
}

std::vector<Bytes> feed(LinkDecoder16& decoder, const Bytes& bytes) {
    std::vector<Bytes> out;
    for (const ByteLump& lump : decoder.processByteLump(ByteLump(bytes), 0)) {
        EXPECT_EQ(lump.sizeInBytes, static_cast<std::int64_t>(lump.payload.size()));
        out.push_back(lump.payload);
    }
    return out;
}

// Frames are built before a test starts capturing: captures do not nest.
Bytes encode(const Bytes& message, bool crc, std::int64_t lengthSize) {
    testing::ConsoleCapture quiet;
    LinkEncoder encoder;
    encoder.setCRCEnable(crc);
    encoder.setLengthSize(lengthSize);
    return encoder.processByteLump(ByteLump(message), 0).at(0).payload;
}

Bytes randomMessage(std::mt19937& rng, std::size_t n) {
    // A quarter of the bytes are 0x02 or 0x10 so escapes land at every offset.
    std::uniform_int_distribution<int> pick(0, 7);
    std::uniform_int_distribution<int> any(-128, 127);
    Bytes out(n);
    for (auto& b : out) {
        const int p = pick(rng);
        b = static_cast<std::int8_t>(p == 0 ? 0x02 : p == 1 ? 0x10 : any(rng));
    }
    return out;
}

TEST(LinkDecoderFrames, WorkedExampleWholeAndOneBytePerCall) {
    testing::ConsoleCapture console;
    LinkDecoder16 whole = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    EXPECT_EQ(feed(whole, EXAMPLE_FRAME), std::vector<Bytes>{EXAMPLE_MESSAGE});

    LinkDecoder16 bytewise = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    for (std::size_t k = 0; k < EXAMPLE_FRAME.size(); ++k) {
        const std::vector<Bytes> got = feed(bytewise, Bytes{EXAMPLE_FRAME[k]});
        if (k + 1 == EXAMPLE_FRAME.size()) {
            EXPECT_EQ(got, std::vector<Bytes>{EXAMPLE_MESSAGE});
        } else {
            EXPECT_TRUE(got.empty()) << "byte " << k;
        }
    }
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkDecoderFrames, WithoutCrcCheckTheCrcBytesArriveOutsideAFrame) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder;  // defaults: no CRC, 12-bit lengths
    EXPECT_EQ(feed(decoder, EXAMPLE_FRAME), std::vector<Bytes>{EXAMPLE_MESSAGE});
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"-54", "68"}));
}

TEST(LinkDecoderFrames, SeveralFramesInOneLumpComeOutInOrder) {
    const Bytes second = wire({0x7F, 0x10, 0x02});
    const Bytes stream = concat(concat(EXAMPLE_FRAME, encode(second, true, 1)), EXAMPLE_FRAME);
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    EXPECT_EQ(feed(decoder, stream),
              (std::vector<Bytes>{EXAMPLE_MESSAGE, second, EXAMPLE_MESSAGE}));
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkDecoderErrors, StartByteInsideAFrameRestarts) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    EXPECT_EQ(feed(decoder, concat(wire({0x02, 0x03, 0xAA}), EXAMPLE_FRAME)),
              std::vector<Bytes>{EXAMPLE_MESSAGE});
    EXPECT_EQ(console.lines(), std::vector<std::string>{"STX found when not expected"});
}

TEST(LinkDecoderErrors, DoubleEscapeDropsTheFrameAndLogsWhatFollows) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    EXPECT_EQ(
        feed(decoder, concat(wire({0x02, 0x04, 0x01, 0x10, 0x10, 0x41, 0xCA}), EXAMPLE_FRAME)),
        std::vector<Bytes>{EXAMPLE_MESSAGE});
    EXPECT_EQ(console.lines(), (std::vector<std::string>{"Double DLE found", "65", "-54"}));
}

TEST(LinkDecoderErrors, AlteredCrcDropsTheFrame) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    for (std::size_t at : {8u, 9u}) {
        Bytes frame = EXAMPLE_FRAME;
        frame[at] = static_cast<std::int8_t>(frame[at] ^ 0x01);
        EXPECT_TRUE(feed(decoder, frame).empty());
    }
    EXPECT_EQ(console.count("CRC error in frame"), 2u);
    EXPECT_EQ(console.lines().size(), 2u);
    // The reused received value is fully overwritten by the next frame's pair.
    EXPECT_EQ(feed(decoder, EXAMPLE_FRAME), std::vector<Bytes>{EXAMPLE_MESSAGE});
}

TEST(LinkDecoderErrors, ZeroLengths) {
    testing::ConsoleCapture console;
    LinkDecoder16 eight = decoderWith(false, LinkDecoder16::LENGTH_8BIT);
    EXPECT_TRUE(feed(eight, wire({0x02, 0x00, 0x05})).empty());
    LinkDecoder16 sixteen = decoderWith(false, LinkDecoder16::LENGTH_16BIT);
    EXPECT_TRUE(feed(sixteen, wire({0x02, 0x00, 0x00, 0x06})).empty());
    EXPECT_EQ(console.lines(),
              (std::vector<std::string>{"Zero length (8 bit) frame indicated", "5",
                                        "Zero length (16 bit) frame indicated", "6"}));

    // The one-byte 12-bit length is not tested for zero: the frame waits for the next start.
    console.clear();
    LinkDecoder16 twelve = decoderWith(false, LinkDecoder16::LENGTH_12BIT);
    EXPECT_TRUE(feed(twelve, wire({0x02, 0x00, 0x41, 0x42})).empty());
    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(feed(twelve, wire({0x02, 0x01, 0x43})), std::vector<Bytes>{wire({0x43})});
    EXPECT_EQ(console.lines(), std::vector<std::string>{"STX found when not expected"});
}

TEST(LinkDecoderErrors, UnknownLengthSizeIsLoggedWithoutLeavingTheState) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(false, 9);
    EXPECT_TRUE(feed(decoder, wire({0x02, 0x01, 0x41})).empty());
    EXPECT_EQ(console.count("LinkDec: lengthSize is out of control #1"), 2u);

    console.clear();
    LinkDecoder16 changed = decoderWith(false, LinkDecoder16::LENGTH_16BIT);
    EXPECT_TRUE(feed(changed, wire({0x02, 0x01})).empty());
    changed.setLengthSize(9);
    EXPECT_TRUE(feed(changed, wire({0x00, 0x41})).empty());
    EXPECT_EQ(console.count("LinkDec: lengthSize is out of control #2"), 2u);
    changed.setLengthSize(LinkDecoder16::LENGTH_16BIT);
    EXPECT_EQ(feed(changed, wire({0x00, 0x41})), std::vector<Bytes>{wire({0x41})});
}

TEST(LinkDecoderSignedLengths, TwelveBitFramesOver127NeverComplete) {
    std::mt19937 rng(7);
    const Bytes big = encode(randomMessage(rng, 200), true, LinkEncoder::LENGTH_12BIT);
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    ASSERT_EQ(big[1], static_cast<std::int8_t>(0xC8));
    ASSERT_EQ(big[2], 0x01);
    EXPECT_TRUE(feed(decoder, big).empty());
    EXPECT_TRUE(console.lines().empty());
    EXPECT_EQ(feed(decoder, EXAMPLE_FRAME), std::vector<Bytes>{EXAMPLE_MESSAGE});
    EXPECT_EQ(console.lines(), std::vector<std::string>{"STX found when not expected"});
}

TEST(LinkDecoderSignedLengths, EightBitLengthsOver127NeverComplete) {
    const Bytes frame = encode(Bytes(130, 0x41), false, LinkEncoder::LENGTH_8BIT);
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(false, LinkDecoder16::LENGTH_8BIT);
    EXPECT_TRUE(feed(decoder, frame).empty());
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkDecoderSignedLengths, SixteenBitHighFirstByteEndsTheFrame256Early) {
    Bytes message(384);
    for (std::size_t k = 0; k < message.size(); ++k) {
        message[k] = static_cast<std::int8_t>(0x20 + k % 64);
    }
    const Bytes plainFrame = encode(message, false, LinkEncoder::LENGTH_16BIT);
    const Bytes checkedFrame = encode(message, true, LinkEncoder::LENGTH_16BIT);
    testing::ConsoleCapture console;
    // 384 is sent as 80 01, read as 256 - 128 = 128.
    LinkDecoder16 plain = decoderWith(false, LinkDecoder16::LENGTH_16BIT);
    EXPECT_EQ(feed(plain, plainFrame),
              std::vector<Bytes>{Bytes(message.begin(), message.begin() + 128)});
    EXPECT_EQ(console.lines().size(), 256u);
    EXPECT_EQ(console.lines().front(), std::to_string(message[128]));

    console.clear();
    LinkDecoder16 checked = decoderWith(true, LinkDecoder16::LENGTH_16BIT);
    EXPECT_TRUE(feed(checked, checkedFrame).empty());
    EXPECT_EQ(console.lines().front(), "CRC error in frame");
    EXPECT_EQ(console.lines().size(), 1u + 254u + 2u);

    // A high second byte makes the total negative.
    console.clear();
    LinkDecoder16 negative = decoderWith(false, LinkDecoder16::LENGTH_16BIT);
    EXPECT_TRUE(feed(negative, concat(wire({0x02, 0x05, 0x80}), Bytes(100, 0x41))).empty());
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkDecoderEscape, PendingEscapeBeforeAStartByteAltersTheLength) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(false, LinkDecoder16::LENGTH_12BIT);
    // 0x41 ^ 0x40 = 1: a one-byte frame.
    EXPECT_EQ(feed(decoder, wire({0x10, 0x02, 0x41, 0x55})), std::vector<Bytes>{wire({0x55})});
    EXPECT_TRUE(console.lines().empty());
    // Outside a frame an escaped byte is logged after removing the escape.
    EXPECT_TRUE(feed(decoder, wire({0x10, 0x3F})).empty());
    EXPECT_EQ(console.lines(), std::vector<std::string>{"127"});
}

TEST(LinkDecoderCanvas, Byte8001OfAFrameStopsAndEmptyInputStops) {
    testing::ConsoleCapture console;
    // 0x1F40 = 8000 fills the canvas exactly.
    LinkDecoder16 full = decoderWith(false, LinkDecoder16::LENGTH_16BIT);
    EXPECT_EQ(feed(full, concat(wire({0x02, 0x40, 0x1F}), Bytes(8000, 0x41))).size(), 1u);

    // A negative 12-bit length keeps storing until the canvas runs out.
    for (std::size_t chunk : {1u, 7u, 1024u, 9000u}) {
        LinkDecoder16 decoder = decoderWith(false, LinkDecoder16::LENGTH_12BIT);
        Bytes stream = concat(wire({0x02, 0x81}), Bytes(8000, 0x41));
        std::size_t at = 0;
        while (at < stream.size()) {
            const std::size_t n = std::min(chunk, stream.size() - at);
            feed(decoder, Bytes(stream.begin() + static_cast<long>(at),
                                stream.begin() + static_cast<long>(at + n)));
            at += n;
        }
        EXPECT_EQ(fatalMessage([&] { feed(decoder, wire({0x41})); }), fatal::INDEX_OUT_OF_RANGE)
            << "chunk " << chunk;
    }
    LinkDecoder16 escaped = decoderWith(false, LinkDecoder16::LENGTH_12BIT);
    Bytes pairs = wire({0x02, 0x81});
    for (int k = 0; k < 8001; ++k) {
        pairs.push_back(0x10);
        pairs.push_back(0x42);
    }
    EXPECT_EQ(fatalMessage([&] { feed(escaped, pairs); }), fatal::INDEX_OUT_OF_RANGE);

    LinkDecoder16 decoder;
    EXPECT_EQ(fatalMessage([&] { decoder.processByteLump(ByteLump(std::int64_t{0}), 0); }),
              fatal::EMPTY_RANGE);
    EXPECT_TRUE(console.lines().empty());
}

struct RoundTripCase {
    std::int64_t lengthSize;
    bool crc;
};

class LinkRoundTrip : public ::testing::TestWithParam<RoundTripCase> {};

std::vector<std::size_t> carriedLengths(std::int64_t lengthSize) {
    std::vector<std::size_t> lengths;
    for (std::size_t n = 1; n <= 127; ++n) {
        lengths.push_back(n);
    }
    if (lengthSize == LinkEncoder::LENGTH_16BIT) {
        // Lengths whose low byte stays below 0x80, up to the full canvas.
        for (std::size_t n : {256u, 300u, 383u, 1024u, 1151u, 4096u, 7999u, 8000u}) {
            lengths.push_back(n);
        }
    }
    return lengths;
}

TEST_P(LinkRoundTrip, EveryCarriedLengthComesBackUnchanged) {
    const RoundTripCase c = GetParam();
    std::mt19937 rng(static_cast<unsigned>(c.lengthSize * 2 + c.crc));
    std::vector<std::pair<Bytes, Bytes>> cases;
    for (std::size_t n : carriedLengths(c.lengthSize)) {
        Bytes message = randomMessage(rng, n);
        Bytes frame = encode(message, c.crc, c.lengthSize);
        cases.emplace_back(std::move(message), std::move(frame));
    }
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(c.crc, c.lengthSize);
    for (const auto& [message, frame] : cases) {
        ASSERT_EQ(feed(decoder, frame), std::vector<Bytes>{message}) << "length " << message.size();
    }
    EXPECT_TRUE(console.lines().empty());
}

INSTANTIATE_TEST_SUITE_P(Settings, LinkRoundTrip,
                         ::testing::Values(RoundTripCase{LinkEncoder::LENGTH_12BIT, true},
                                           RoundTripCase{LinkEncoder::LENGTH_12BIT, false},
                                           RoundTripCase{LinkEncoder::LENGTH_16BIT, true},
                                           RoundTripCase{LinkEncoder::LENGTH_8BIT, true},
                                           RoundTripCase{LinkEncoder::LENGTH_8BIT, false}));

TEST(LinkDecoderSplits, FramesSplitAtEveryPositionDecodeTheSame) {
    std::mt19937 rng(99);
    std::vector<Bytes> messages = {EXAMPLE_MESSAGE, randomMessage(rng, 40), Bytes(20, 0x10),
                                   randomMessage(rng, 127), wire({0x02})};
    Bytes stream;
    for (const Bytes& m : messages) {
        stream = concat(stream, encode(m, true, LinkEncoder::LENGTH_12BIT));
    }
    testing::ConsoleCapture console;
    for (std::size_t cut = 1; cut < stream.size(); ++cut) {
        LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
        std::vector<Bytes> got =
            feed(decoder, Bytes(stream.begin(), stream.begin() + static_cast<long>(cut)));
        for (Bytes& m :
             feed(decoder, Bytes(stream.begin() + static_cast<long>(cut), stream.end()))) {
            got.push_back(std::move(m));
        }
        ASSERT_EQ(got, messages) << "cut at " << cut;
    }
    // Every byte in its own call as well, and ragged chunks.
    for (std::size_t chunk : {1u, 3u, 16u, 17u}) {
        LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
        std::vector<Bytes> got;
        for (std::size_t at = 0; at < stream.size(); at += chunk) {
            const auto end =
                stream.begin() + static_cast<long>(std::min(at + chunk, stream.size()));
            for (Bytes& m : feed(decoder, Bytes(stream.begin() + static_cast<long>(at), end))) {
                got.push_back(std::move(m));
            }
        }
        ASSERT_EQ(got, messages) << "chunk " << chunk;
    }
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkDecoderLump, CountIsTrustedOverThePayload) {
    testing::ConsoleCapture console;
    LinkDecoder16 decoder = decoderWith(true, LinkDecoder16::LENGTH_12BIT);
    ByteLump lump(concat(EXAMPLE_FRAME, EXAMPLE_FRAME));
    lump.sizeInBytes = static_cast<std::int64_t>(EXAMPLE_FRAME.size());
    ASSERT_EQ(decoder.processByteLump(lump, 3).size(), 1u);
    lump.sizeInBytes = 21;
    EXPECT_EQ(fatalMessage([&] { decoder.processByteLump(lump, 0); }), fatal::INDEX_OUT_OF_RANGE);
}

TEST(LinkDecoderChannel, OneChannelOnly) {
    const LinkDecoder16 decoder;
    EXPECT_EQ(decoder.noOfChannels, 1);
    EXPECT_EQ(decoder.consumersPerChannel, std::vector<std::int64_t>{0});
}

}  // namespace
}  // namespace vantoconnect
