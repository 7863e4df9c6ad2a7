#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"
#include "tests/emulator/PrinterBytes.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"

namespace vantoemu {
namespace {

using testing::Bytes;
using testing::operator+;
using Form = FrameReader::LengthForm;
using Kind = FrameReader::Error::Kind;

Bytes message(std::size_t n) {
    Bytes m(n);
    for (std::size_t i = 0; i < n; ++i) {
        m[i] = static_cast<std::uint8_t>(i * 7 + 1);  // includes 0x02 and 0x10 at some sizes
    }
    return m;
}

// The library's own framing of a message, in any length form.
Bytes encode(const Bytes& m, Form form, bool crc = true) {
    vantoconnect::testing::ConsoleCapture quiet;
    vantoconnect::LinkEncoder encoder;
    encoder.setLengthSize(static_cast<std::int64_t>(form));
    encoder.setCRCEnable(crc);
    const auto frame =
        encoder.processByteLump(vantoconnect::ByteLump(vantoconnect::Bytes(m.begin(), m.end())), 0)
            .at(0)
            .toByteArray();
    return Bytes(frame.begin(), frame.end());
}

TEST(FrameFormat, WriterMatchesTheLibrarysEncodingEscapesAndLengthForms) {
    // The frame of 01 02 10 41 with CRC 0xCA44, escapes included.
    const Bytes frame{0x02, 0x04, 0x01, 0x10, 0x42, 0x10, 0x50, 0x41, 0xCA, 0x44};
    EXPECT_EQ(FrameWriter::frame(Bytes{0x01, 0x02, 0x10, 0x41}), frame);
    EXPECT_EQ(FrameReader().feed(FrameWriter::frame(Bytes{})).frames, std::vector<Bytes>(1));
    for (std::size_t n : {127u, 128u, 255u, 256u, 1028u}) {
        EXPECT_EQ(FrameWriter::frame(message(n)), encode(message(n), Form::Bits12)) << n;
    }
}

TEST(FrameReader, ReadsEveryLengthFormWithAndWithoutCrc) {
    struct Case {
        Form form;
        std::size_t size;
        bool crc = true;
    };
    for (const Case c : {Case{Form::Bits8, 1}, Case{Form::Bits8, 255}, Case{Form::Bits12, 2},
                         Case{Form::Bits12, 16}, Case{Form::Bits12, 127}, Case{Form::Bits12, 128},
                         Case{Form::Bits12, 1028}, Case{Form::Bits12, 200, false},
                         Case{Form::Bits16, 300}, Case{Form::Bits16, 4000}}) {
        SCOPED_TRACE(c.size);
        FrameReader reader(c.form, c.crc);
        const auto out = reader.feed(encode(message(c.size), c.form, c.crc));
        EXPECT_EQ(out.frames, std::vector<Bytes>{message(c.size)});
        EXPECT_TRUE(out.errors.empty());
        EXPECT_FALSE(reader.midFrame());
    }
}

TEST(FrameReaderErrors, EachFaultIsReportedWhereSeenAndTheNextGoodFrameStillRead) {
    const Bytes badCrc = FrameWriter::frame(message(20), true);
    Bytes cutShort = encode(message(40), Form::Bits12);
    cutShort.resize(15);
    using Seen = std::vector<std::pair<Kind, std::uint64_t>>;  // kind and stream offset
    struct Case {
        Bytes before;
        Seen errors;
    };
    for (const Case& c : {Case{badCrc, {{Kind::CrcMismatch, badCrc.size() - 1}}},
                          Case{cutShort, {{Kind::StartInsideFrame, 15}}},
                          Case{{0xAA, 0xBB, 0xCC}, {{Kind::BytesOutsideFrame, 0}}},
                          Case{{0x02, 0x04, 0x10, 0x41, 0x00, 0x00},
                               {{Kind::BadEscape, 3}, {Kind::BytesOutsideFrame, 4}}}}) {
        SCOPED_TRACE(FrameReader::kindName(c.errors[0].first));
        FrameReader reader;
        const auto out = reader.feed(c.before + encode(message(9), Form::Bits12));
        EXPECT_EQ(out.frames, std::vector<Bytes>{message(9)});
        Seen seen;
        for (const auto& error : out.errors) {
            seen.emplace_back(error.kind, error.offset);
        }
        EXPECT_EQ(seen, c.errors);
        EXPECT_EQ(reader.errorCount(), c.errors.size());
    }
}

}  // namespace
}  // namespace vantoemu
