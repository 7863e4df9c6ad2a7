#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/FatalMessage.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;

TEST(CheckedConversion, SignedByteKeepsInRangeValuesAndStopsOutside) {
    EXPECT_EQ(toInt8Checked(127), 127);
    EXPECT_EQ(toInt8Checked(-128), -128);
    EXPECT_EQ(fatalMessage([] { toInt8Checked(128); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([] { toInt8Checked(-129); }), fatal::NOT_ENOUGH_BITS);
    EXPECT_EQ(fatalMessage([] { toUInt8Checked(-1); }), fatal::NEGATIVE_NOT_REPRESENTABLE);
}

TEST(CheckedConversion, DoubleToIntegerUsesTheRuntimeMessages) {
    EXPECT_EQ(toInt64Checked(77.9), 77);
    EXPECT_EQ(toInt64Checked(-77.9), -77);
    EXPECT_EQ(toInt64Checked(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(fatalMessage([] { toInt64Checked(std::nan("")); }), fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(INFINITY); }), fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(9223372036854775808.0); }), fatal::DOUBLE_TOO_LARGE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(-1e19); }), fatal::DOUBLE_TOO_SMALL);
}

TEST(CheckedArithmetic, OverflowAndShiftsStop) {
    constexpr auto max = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(fatalMessage([] { addChecked(max, 1); }), fatal::ARITHMETIC_OVERFLOW);
    EXPECT_EQ(fatalMessage([] { multiplyChecked(max, 2); }), fatal::ARITHMETIC_OVERFLOW);
    EXPECT_EQ(shiftLeftChecked(3, 62), static_cast<std::int64_t>(0xC000000000000000ULL));
    EXPECT_EQ(fatalMessage([] { shiftLeftChecked(3, 64); }), fatal::OVERWIDE_SHIFT);
}

TEST(CheckedIndexing, OutOfRangeStopsInsteadOfReadingPastTheEnd) {
    std::vector<int> v{1, 2, 3};
    EXPECT_EQ(checkedAt(v, 2), 3);
    EXPECT_EQ(fatalMessage([&] { checkedAt(v, 3); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([&] { checkedAt(v, -1); }), fatal::INDEX_OUT_OF_RANGE);
    EXPECT_EQ(fatalMessage([] { requireRange(0, -1); }), fatal::EMPTY_RANGE);
    EXPECT_EQ(fatalMessage([] { requireCount(-1); }), fatal::NEGATIVE_COUNT);
}

TEST(Errors, BridgeLikeThePlatform) {
    const auto generic = VantoError::GENERIC("no route");
    EXPECT_EQ(generic.code(), 0);
    EXPECT_EQ(generic.message(), "no route");
    EXPECT_STREQ(VantoError::domain(), "vantoconnect.VantoError");
    const auto notResponding = VantoError::PRINTER_NOT_RESPONDING();
    EXPECT_EQ(notResponding.code(), 1);
    EXPECT_EQ(notResponding.description(), "PRINTER_NOT_RESPONDING");
    EXPECT_EQ(notResponding.localizedDescription(),
              "The operation couldn\u2019t be completed. (vantoconnect.VantoError error 1.)");
}

}  // namespace
}  // namespace vantoconnect
