// The other checked conversions, arithmetic and indexing stop the suites of the classes that use
// them; here are the edges no other suite reaches.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "tests/support/FatalMessage.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {
namespace {

using testing::fatalMessage;

TEST(CheckedConversion, DoubleToIntegerUsesTheRuntimeMessages) {
    EXPECT_EQ(toInt64Checked(77.9), 77);
    EXPECT_EQ(toInt64Checked(-77.9), -77);
    EXPECT_EQ(toInt64Checked(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
    EXPECT_EQ(fatalMessage([] { toInt64Checked(std::nan("")); }), fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(INFINITY); }), fatal::DOUBLE_NOT_FINITE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(9223372036854775808.0); }), fatal::DOUBLE_TOO_LARGE);
    EXPECT_EQ(fatalMessage([] { toInt64Checked(-1e19); }), fatal::DOUBLE_TOO_SMALL);
    EXPECT_EQ(fatalMessage([] { toUInt8Checked(-1); }), fatal::NEGATIVE_NOT_REPRESENTABLE);
    EXPECT_EQ(fatalMessage([] { multiplyChecked(std::numeric_limits<std::int64_t>::max(), 2); }),
              fatal::ARITHMETIC_OVERFLOW);
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
