#include <gtest/gtest.h>

#include "tests/support/ConsoleCapture.hpp"
#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"

namespace vantoconnect {
namespace {

using linktest::fatalMessage;
using linktest::wire;

Bytes frameOf(LinkEncoder& encoder, const Bytes& message) {
    const std::vector<ByteLump> out = encoder.processByteLump(ByteLump(message), 0);
    EXPECT_EQ(out.size(), 1u);
    return out.at(0).payload;
}

LinkEncoder configured(bool crc, std::int64_t lengthSize) {
    LinkEncoder encoder;
    encoder.setCRCEnable(crc);
    encoder.setLengthSize(lengthSize);
    return encoder;
}

Bytes counting(std::size_t n, int start = 0x20) {
    Bytes out(n);
    for (std::size_t k = 0; k < n; ++k) {
        // Stays clear of 0x02 and 0x10 so only the length field can be escaped.
        out[k] = static_cast<std::int8_t>(0x20 + (start + k) % 0x50);
    }
    return out;
}

TEST(LinkEncoderFrame, WorkedExampleAndItsConsoleLine) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_12BIT);
    EXPECT_EQ(frameOf(encoder, wire({0x01, 0x02, 0x10, 0x41})),
              wire({0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x44}));
    EXPECT_EQ(
        console.lines(),
        std::vector<std::string>{
            "link encoder, frame ByteLump, size 10, contents: 02|04|01|10|42|10|50|41|ca|44"});
    EXPECT_EQ(encoder.usedCanvas, 10);
}

TEST(LinkEncoderFrame, EmptyMessageIsTheStartByteAlone) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_12BIT);
    ByteLump empty(std::int64_t{0});
    EXPECT_EQ(encoder.processByteLump(empty, 0).at(0).payload, wire({0x02}));
    EXPECT_TRUE(console.contains("link encoder, frame ByteLump, size 1, contents: 02"));
}

TEST(LinkEncoderFrame, WithoutCrcEndsWithTheLastMessageByte) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(false, LinkEncoder::LENGTH_12BIT);
    EXPECT_EQ(frameOf(encoder, wire({0x01, 0x02, 0x10, 0x41})),
              wire({0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41}));
    EXPECT_EQ(frameOf(encoder, wire({0x10})), wire({0x02, 0x01, 0x10, 0x50}));
}

TEST(LinkEncoderFrame, CrcBytesAreEscapedLikeAnyOther) {
    // Two-byte messages whose CRC has 0x10 as its upper byte, and 0x02 as its lower byte.
    auto crcOf = [](int v) {
        CRC crc;
        crc.addToCRC(std::int8_t{2});
        crc.addToCRC(static_cast<std::int8_t>(v >> 8));
        crc.addToCRC(static_cast<std::int8_t>(v & 0xFF));
        return crc;
    };
    int upper = -1;
    int lower = -1;
    for (int v = 0x2020; v < 0x10000 && (upper < 0 || lower < 0); ++v) {
        if ((v >> 8) == 0x02 || (v >> 8) == 0x10 || (v & 0xFF) == 0x02 || (v & 0xFF) == 0x10) {
            continue;
        }
        const CRC crc = crcOf(v);
        if (upper < 0 && crc.getUpperByte() == 0x10 && crc.getLowerByte() != 0x02 &&
            crc.getLowerByte() != 0x10) {
            upper = v;
        }
        if (lower < 0 && crc.getLowerByte() == 0x02 && crc.getUpperByte() != 0x02 &&
            crc.getUpperByte() != 0x10) {
            lower = v;
        }
    }
    ASSERT_GE(upper, 0);
    ASSERT_GE(lower, 0);

    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_12BIT);
    const std::uint8_t upperLow = static_cast<std::uint8_t>(crcOf(upper).getLowerByte());
    EXPECT_EQ(frameOf(encoder, wire({upper >> 8, upper & 0xFF})),
              wire({0x02, 0x10, 0x42, upper >> 8, upper & 0xFF, 0x10, 0x50, upperLow}));
    const std::uint8_t lowerHigh = static_cast<std::uint8_t>(crcOf(lower).getUpperByte());
    EXPECT_EQ(frameOf(encoder, wire({lower >> 8, lower & 0xFF})),
              wire({0x02, 0x10, 0x42, lower >> 8, lower & 0xFF, lowerHigh, 0x10, 0x42}));
}

struct LengthCase {
    std::int64_t lengthSize;
    std::size_t n;
    Bytes header;  // start byte and length field as sent, escaped
};

class LinkEncoderLength : public ::testing::TestWithParam<LengthCase> {};

TEST_P(LinkEncoderLength, FieldIsEncodedAndEscaped) {
    testing::ConsoleCapture console;
    const LengthCase& c = GetParam();
    LinkEncoder encoder = configured(false, c.lengthSize);
    const Bytes message = counting(c.n);
    EXPECT_EQ(frameOf(encoder, message), linktest::concat(c.header, message));
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, LinkEncoderLength,
    ::testing::Values(LengthCase{LinkEncoder::LENGTH_12BIT, 2, wire({0x02, 0x10, 0x42})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 16, wire({0x02, 0x10, 0x50})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 127, wire({0x02, 0x7F})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 128, wire({0x02, 0x80, 0x01})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 200, wire({0x02, 0xC8, 0x01})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 255, wire({0x02, 0xFF, 0x01})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 256, wire({0x02, 0x80, 0x10, 0x42})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 300, wire({0x02, 0xAC, 0x10, 0x42})},
                      // 0x0882 >> 7 is 0x11, 0x882 & 0xFF | 0x80 is 0x82
                      LengthCase{LinkEncoder::LENGTH_12BIT, 0x882, wire({0x02, 0x82, 0x11})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 0x902, wire({0x02, 0x82, 0x12})},
                      LengthCase{LinkEncoder::LENGTH_12BIT, 0x802, wire({0x02, 0x82, 0x10, 0x50})},
                      LengthCase{LinkEncoder::LENGTH_16BIT, 2, wire({0x02, 0x10, 0x42, 0x00})},
                      LengthCase{LinkEncoder::LENGTH_16BIT, 200, wire({0x02, 0xC8, 0x00})},
                      LengthCase{LinkEncoder::LENGTH_16BIT, 300, wire({0x02, 0x2C, 0x01})},
                      LengthCase{LinkEncoder::LENGTH_16BIT, 0x1002,
                                 wire({0x02, 0x10, 0x42, 0x10, 0x50})},
                      LengthCase{LinkEncoder::LENGTH_8BIT, 16, wire({0x02, 0x10, 0x50})},
                      LengthCase{LinkEncoder::LENGTH_8BIT, 200, wire({0x02, 0xC8})},
                      LengthCase{LinkEncoder::LENGTH_8BIT, 255, wire({0x02, 0xFF})},
                      LengthCase{LinkEncoder::LENGTH_8BIT, 256, wire({0x02, 0x00})},
                      LengthCase{LinkEncoder::LENGTH_8BIT, 300, wire({0x02, 0x2C})}));

TEST(LinkEncoderLengthSize, UnknownSizeIsLoggedAndTheFrameHasNoLengthField) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, 7);
    const Bytes frame = frameOf(encoder, wire({0x41}));
    CRC crc;
    crc.addToCRC(std::int8_t{0x41});
    EXPECT_EQ(frame, wire({0x02, 0x41, static_cast<std::uint8_t>(crc.getUpperByte()),
                           static_cast<std::uint8_t>(crc.getLowerByte())}));
    ASSERT_EQ(console.lines().size(), 2u);
    EXPECT_EQ(console.lines()[0], "LinkEnc: lengthSize is out of control #1");
    EXPECT_EQ(console.lines()[1].rfind("link encoder, frame ByteLump, size 4", 0), 0u);
}

TEST(LinkEncoderEscaping, DenseAndMixedRunsMatchTheByteRule) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_16BIT);
    // Runs of every length around the 16-byte scan width, separated by escaped bytes.
    Bytes message;
    for (int run = 0; run < 40; ++run) {
        for (int k = 0; k < run; ++k) {
            message.push_back(static_cast<std::int8_t>(0x30 + k));
        }
        message.push_back(run % 2 ? 0x10 : 0x02);
    }
    for (int k = 0; k < 100; ++k) {
        message.push_back(k % 3 == 0 ? 0x41 : (k % 2 ? 0x10 : 0x02));
    }
    const Bytes frame = frameOf(encoder, message);
    Bytes body;
    for (std::int8_t b : message) {
        if (b == 0x02 || b == 0x10) {
            body.push_back(0x10);
            body.push_back(static_cast<std::int8_t>(b ^ 0x40));
        } else {
            body.push_back(b);
        }
    }
    ASSERT_GT(frame.size(), body.size() + 3);
    EXPECT_EQ(Bytes(frame.begin() + 3, frame.begin() + 3 + static_cast<long>(body.size())), body);
}

TEST(LinkEncoderCanvas, FrameBeyondTheCanvasStops) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(false, LinkEncoder::LENGTH_16BIT);
    // Start byte, two length bytes and every message byte escaped.
    EXPECT_EQ(frameOf(encoder, Bytes(19998, 0x10)).size(), 39999u);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, Bytes(19999, 0x02)); }),
              fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(frameOf(encoder, Bytes(39997, 0x41)).size(), 40000u);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, Bytes(39998, 0x41)); }),
              fatal::INDEX_OUT_OF_RANGE);
}

TEST(LinkEncoderCanvas, CountLongerThanPayloadStops) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_12BIT);
    ByteLump lump(wire({1, 2}));
    lump.sizeInBytes = 3;
    EXPECT_EQ(fatalMessage([&] { encoder.processByteLump(lump, 0); }), fatal::INDEX_OUT_OF_RANGE);
    // The encoder is still usable for the next frame.
    EXPECT_EQ(frameOf(encoder, wire({0x41})).front(), 0x02);
}

TEST(LinkEncoderAlternativeRoute, AlwaysStopsAndNeverFrames) {
    testing::ConsoleCapture console;
    LinkEncoder encoder = configured(true, LinkEncoder::LENGTH_12BIT);
    encoder.setQuorinCRCEnable(true);
    EXPECT_EQ(fatalMessage([&] { frameOf(encoder, wire({0x01, 0x02})); }), fatal::OVERWIDE_SHIFT);
    EXPECT_EQ(fatalMessage([&] { encoder.processByteLump(ByteLump(std::int64_t{0}), 0); }),
              fatal::EMPTY_RANGE);
    ByteLump shortened(wire({1}));
    shortened.sizeInBytes = 2;
    EXPECT_EQ(fatalMessage([&] { encoder.processByteLump(shortened, 0); }),
              fatal::INDEX_OUT_OF_RANGE);
    shortened.sizeInBytes = -3;
    EXPECT_EQ(fatalMessage([&] { encoder.processByteLump(shortened, 0); }), fatal::NEGATIVE_COUNT);
    EXPECT_TRUE(console.lines().empty());
}

TEST(LinkEncoderChannel, OneChannelOnly) {
    LinkEncoder encoder;
    const ByteLump a(wire({1}));
    EXPECT_EQ(encoder.determineOutChannel(a, a, 5), 0);
    EXPECT_EQ(encoder.lengthSize, LinkEncoder::LENGTH_12BIT);
    EXPECT_EQ(encoder.frameCanvas.size(), 40000u);
}

}  // namespace
}  // namespace vantoconnect
