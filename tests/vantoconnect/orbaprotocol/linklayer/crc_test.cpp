#include <gtest/gtest.h>

#include <random>
#include <span>
#include <string_view>

#include "tests/vantoconnect/orbaprotocol/linklayer/LinkTestSupport.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"

namespace vantoconnect {
namespace {

using linktest::wire;

int valueOf(const CRC& crc) {
    return (static_cast<std::uint8_t>(crc.getUpperByte()) << 8) |
           static_cast<std::uint8_t>(crc.getLowerByte());
}

CRC bytewise(const Bytes& data) {
    CRC crc;
    for (std::int8_t b : data) {
        crc.addToCRC(b);
    }
    return crc;
}

TEST(CrcValue, MatchesTheKnownCheckValues) {
    CRC fresh;
    EXPECT_EQ(valueOf(fresh), 0);

    const std::string_view digits = "123456789";
    const CRC check = bytewise(Bytes(digits.begin(), digits.end()));
    EXPECT_EQ(valueOf(check), 0x31C3);
    EXPECT_EQ(check.getUpperByte(), 0x31);
    EXPECT_EQ(check.getLowerByte(), -61);

    EXPECT_EQ(valueOf(bytewise(wire({0x04, 0x01, 0x02, 0x10, 0x41}))), 0xCA44);
    EXPECT_EQ(fresh.lsbMask, 0xFF);
    EXPECT_EQ(fresh.msbMask, 0xFF00);
}

TEST(CrcValue, HighBytesCountByTheirBitPattern) {
    // 0xFF is the one byte whose value from 0 is 0x1EF0; -1 must not be sign-spread.
    EXPECT_EQ(valueOf(bytewise(wire({0xFF}))), 0x1EF0);
    CRC viaSpan;
    const Bytes high = wire({0x80, 0xC8, 0xFF});
    viaSpan.addToCRC(std::span<const std::int8_t>(high));
    EXPECT_TRUE(viaSpan.equals(bytewise(high)));
}

TEST(CrcSetters, EachReplacesOneByteAndTogetherTheWholeValue) {
    CRC crc = bytewise(wire({0x31, 0x32, 0x33}));
    crc.setUpperByte(-1);
    crc.setLowerByte(0x00);
    EXPECT_EQ(valueOf(crc), 0xFF00);

    crc.setLowerByte(-61);
    EXPECT_EQ(valueOf(crc), 0xFFC3);
    crc.setUpperByte(0x31);
    EXPECT_EQ(valueOf(crc), 0x31C3);

    const std::string_view digits = "123456789";
    EXPECT_TRUE(crc.equals(bytewise(Bytes(digits.begin(), digits.end()))));
    crc.setLowerByte(0x44);
    EXPECT_FALSE(crc.equals(bytewise(Bytes(digits.begin(), digits.end()))));

    CRC negative;
    negative.setUpperByte(-54);
    negative.setLowerByte(0x44);
    EXPECT_TRUE(negative.equals(bytewise(wire({0x04, 0x01, 0x02, 0x10, 0x41}))));
}

// Restores automatic path choice however the test ends.
struct PortableGuard {
    explicit PortableGuard(bool portable) { CRC::forcePortableBulkPath(portable); }
    ~PortableGuard() { CRC::forcePortableBulkPath(false); }
};

class CrcBulk : public ::testing::TestWithParam<bool> {};

TEST_P(CrcBulk, AgreesWithBytewiseOnRandomDataLengthsAndSplits) {
    const PortableGuard guard(GetParam());
    std::mt19937 rng(20240611);
    std::uniform_int_distribution<int> byte(-128, 127);
    std::vector<std::size_t> lengths;
    for (std::size_t n = 0; n <= 300; ++n) {
        lengths.push_back(n);
    }
    for (std::size_t n : {511u, 1024u, 4099u, 65536u + 7u}) {
        lengths.push_back(n);
    }
    for (std::size_t n : lengths) {
        Bytes data(n);
        for (auto& b : data) {
            b = static_cast<std::int8_t>(byte(rng));
        }
        const CRC expected = bytewise(data);

        CRC whole;
        whole.addToCRC(std::span<const std::int8_t>(data));
        ASSERT_TRUE(whole.equals(expected)) << "length " << n;

        // Split points exercise a non-zero running value entering the bulk path.
        std::uniform_int_distribution<std::size_t> at(0, n);
        for (int trial = 0; trial < 3; ++trial) {
            const std::size_t cut = at(rng);
            CRC parts;
            parts.addToCRC(std::span<const std::int8_t>(data.data(), cut));
            parts.addToCRC(std::span<const std::int8_t>(data.data() + cut, n - cut));
            ASSERT_TRUE(parts.equals(expected)) << "length " << n << " cut " << cut;
        }
    }
}

TEST_P(CrcBulk, AllEscapeBytesAndAllOnesAgree) {
    const PortableGuard guard(GetParam());
    for (std::int8_t fill : {std::int8_t{0x02}, std::int8_t{0x10}, std::int8_t{-1}}) {
        const Bytes data(1000, fill);
        CRC bulk;
        bulk.addToCRC(std::span<const std::int8_t>(data));
        EXPECT_TRUE(bulk.equals(bytewise(data)));
    }
}

INSTANTIATE_TEST_SUITE_P(Paths, CrcBulk, ::testing::Values(false, true),
                         [](const auto& info) { return info.param ? "Portable" : "Automatic"; });

}  // namespace
}  // namespace vantoconnect
