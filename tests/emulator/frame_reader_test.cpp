#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "emulator/Crc16.hpp"
#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"

namespace vantoemu {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Kind = FrameReader::Error::Kind;

Bytes message(std::size_t n) {
    Bytes m(n);
    for (std::size_t i = 0; i < n; ++i) {
        m[i] = static_cast<std::uint8_t>(i * 7 + 1);  // includes 0x02 and 0x10 at some sizes
    }
    return m;
}

// Frames a message the way the library's encoder does, for any length form.
Bytes encode(const Bytes& m, FrameReader::LengthForm form, bool crc = true) {
    Bytes raw;
    const std::size_t n = m.size();
    if (form == FrameReader::LengthForm::Bits8) {
        raw.push_back(static_cast<std::uint8_t>(n));
    } else if (form == FrameReader::LengthForm::Bits16) {
        raw.push_back(static_cast<std::uint8_t>(n & 0xFF));
        raw.push_back(static_cast<std::uint8_t>(n >> 8));
    } else if (n <= 127) {
        raw.push_back(static_cast<std::uint8_t>(n));
    } else {
        raw.push_back(static_cast<std::uint8_t>((n & 0x7F) | 0x80));
        raw.push_back(static_cast<std::uint8_t>(n >> 7));
    }
    raw.insert(raw.end(), m.begin(), m.end());
    const std::uint16_t value = Crc16::of(raw);
    if (crc) {
        raw.push_back(static_cast<std::uint8_t>(value >> 8));
        raw.push_back(static_cast<std::uint8_t>(value));
    }
    Bytes out{0x02};
    for (std::uint8_t b : raw) {
        if (b == 0x02 || b == 0x10) {
            out.push_back(0x10);
            out.push_back(static_cast<std::uint8_t>(b ^ 0x40));
        } else {
            out.push_back(b);
        }
    }
    return out;
}

TEST(FrameFormat, KnownFrameMatchesTheLibrarysEncoding) {
    // The frame of 01 02 10 41 with CRC 0xCA44, escapes included.
    const Bytes frame{0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x44};
    EXPECT_EQ(FrameWriter::frame(Bytes{0x01, 0x02, 0x10, 0x41}), frame);
    FrameReader reader;
    auto out = reader.feed(frame);
    ASSERT_EQ(out.frames.size(), 1u);
    EXPECT_EQ(out.frames[0], (Bytes{0x01, 0x02, 0x10, 0x41}));
    EXPECT_TRUE(out.errors.empty());
}

TEST(FrameFormat, WriterUsesTheTwoByteLengthAbove127) {
    for (std::size_t n : {127u, 128u, 255u, 256u, 1028u}) {
        const Bytes frame = FrameWriter::frame(message(n));
        EXPECT_EQ(frame, encode(message(n), FrameReader::LengthForm::Bits12)) << n;
    }
}

TEST(FrameReader, ReadsEveryLengthForm) {
    struct Case {
        FrameReader::LengthForm form;
        std::size_t size;
    };
    for (const Case c :
         {Case{FrameReader::LengthForm::Bits8, 1}, Case{FrameReader::LengthForm::Bits8, 255},
          Case{FrameReader::LengthForm::Bits12, 2}, Case{FrameReader::LengthForm::Bits12, 16},
          Case{FrameReader::LengthForm::Bits12, 127}, Case{FrameReader::LengthForm::Bits12, 128},
          Case{FrameReader::LengthForm::Bits12, 1028}, Case{FrameReader::LengthForm::Bits16, 300},
          Case{FrameReader::LengthForm::Bits16, 4000}}) {
        FrameReader reader(c.form);
        auto out = reader.feed(encode(message(c.size), c.form));
        ASSERT_EQ(out.frames.size(), 1u) << c.size;
        EXPECT_EQ(out.frames[0], message(c.size));
        EXPECT_TRUE(out.errors.empty());
        EXPECT_FALSE(reader.midFrame());
    }
}

TEST(FrameReader, ReadsFramesWithoutCrcWhenTold) {
    FrameReader reader(FrameReader::LengthForm::Bits12, false);
    Bytes stream = encode(message(5), FrameReader::LengthForm::Bits12, false);
    const Bytes second = encode(message(200), FrameReader::LengthForm::Bits12, false);
    stream.insert(stream.end(), second.begin(), second.end());
    auto out = reader.feed(stream);
    ASSERT_EQ(out.frames.size(), 2u);
    EXPECT_EQ(out.frames[1], message(200));
}

TEST(FrameReader, CompletesAFrameSplitAtEveryPosition) {
    Bytes stream = encode(message(200), FrameReader::LengthForm::Bits12);
    const Bytes small = encode(Bytes{0x1C, 0x02, 0x10, 0x02}, FrameReader::LengthForm::Bits12);
    stream.insert(stream.end(), small.begin(), small.end());
    for (std::size_t cut = 0; cut <= stream.size(); ++cut) {
        FrameReader reader;
        auto first = reader.feed(std::span(stream).first(cut));
        auto second = reader.feed(std::span(stream).subspan(cut));
        first.frames.insert(first.frames.end(), second.frames.begin(), second.frames.end());
        ASSERT_EQ(first.frames.size(), 2u) << "cut at " << cut;
        EXPECT_EQ(first.frames[0], message(200));
        EXPECT_EQ(first.frames[1], (Bytes{0x1C, 0x02, 0x10, 0x02}));
        EXPECT_TRUE(first.errors.empty() && second.errors.empty()) << "cut at " << cut;
    }
}

TEST(FrameReader, ByteByByteFeedingGivesTheSameFrames) {
    const Bytes stream = encode(message(1028), FrameReader::LengthForm::Bits12);
    FrameReader reader;
    std::size_t frames = 0;
    for (std::uint8_t b : stream) {
        frames += reader.feed(Bytes{b}).frames.size();
    }
    EXPECT_EQ(frames, 1u);
    EXPECT_EQ(reader.frameCount(), 1u);
}

TEST(FrameReaderErrors, CrcMismatchDropsTheFrameAndIsCounted) {
    Bytes frame = FrameWriter::frame(message(20), true);
    FrameReader reader;
    auto out = reader.feed(frame);
    EXPECT_TRUE(out.frames.empty());
    ASSERT_EQ(out.errors.size(), 1u);
    EXPECT_EQ(out.errors[0].kind, Kind::CrcMismatch);
    EXPECT_EQ(reader.errorCount(), 1u);
    // The next good frame is read normally.
    EXPECT_EQ(reader.feed(FrameWriter::frame(message(3))).frames.size(), 1u);
}

TEST(FrameReaderErrors, StartByteInsideAFrameResynchronises) {
    Bytes stream = encode(message(40), FrameReader::LengthForm::Bits12);
    stream.resize(15);  // cut short
    const Bytes good = encode(message(9), FrameReader::LengthForm::Bits12);
    stream.insert(stream.end(), good.begin(), good.end());
    FrameReader reader;
    auto out = reader.feed(stream);
    ASSERT_EQ(out.frames.size(), 1u);
    EXPECT_EQ(out.frames[0], message(9));
    ASSERT_EQ(out.errors.size(), 1u);
    EXPECT_EQ(out.errors[0].kind, Kind::StartInsideFrame);
}

TEST(FrameReaderErrors, BytesBeforeAStartByteAreOneErrorPerRun) {
    Bytes stream{0xAA, 0xBB, 0xCC};
    const Bytes good = encode(message(4), FrameReader::LengthForm::Bits12);
    stream.insert(stream.end(), good.begin(), good.end());
    FrameReader reader;
    auto out = reader.feed(stream);
    EXPECT_EQ(out.frames.size(), 1u);
    ASSERT_EQ(out.errors.size(), 1u);
    EXPECT_EQ(out.errors[0].kind, Kind::BytesOutsideFrame);
    EXPECT_EQ(out.errors[0].offset, 0u);
}

TEST(FrameReaderErrors, AnEscapeThatStandsForNothingDropsTheFrame) {
    FrameReader reader;
    auto out = reader.feed(Bytes{0x02, 0x04, 0x10, 0x41, 0x00, 0x00});
    EXPECT_TRUE(out.frames.empty());
    ASSERT_FALSE(out.errors.empty());
    EXPECT_EQ(out.errors[0].kind, Kind::BadEscape);
    EXPECT_EQ(reader.feed(FrameWriter::frame(message(2))).frames.size(), 1u);
}

TEST(FrameReaderErrors, ZeroLengthFrameCarriesOnlyItsCrc) {
    FrameReader reader;
    EXPECT_EQ(reader.feed(encode({}, FrameReader::LengthForm::Bits12)).frames.size(), 1u);
}

}  // namespace
}  // namespace vantoemu
