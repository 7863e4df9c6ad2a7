#include <gtest/gtest.h>

#include "tests/support/FakeUnit.hpp"
#include "vantoconnect/connection/ResponseMatcher.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {
namespace {

using testing::FakeUnit;
using R = VantoMessageResponse;

constexpr std::int8_t kSetIO = 0x49;
constexpr std::int8_t kSwitchData = 0x4E;
constexpr std::int8_t kPortControl = 0x61;

Bytes frames(std::initializer_list<Bytes> messages) {
    Bytes all;
    for (const Bytes& message : messages) {
        const UBytes frame = FakeUnit::frame(message);
        all.insert(all.end(), frame.begin(), frame.end());
    }
    return all;
}

Bytes portControl(std::int8_t state, std::size_t size = 18) {
    Bytes content(size, 0);
    content[6] = state;
    return FakeUnit::message(kPortControl, content);
}

TEST(ResponseClassification, TypeStateByteAndOrderOfPreferenceSelectTheAnswer) {
    // A switch-data answer counts as a command when its tag and spare bits are all zero,
    // whatever its direction bit says.
    const Bytes refused = FakeUnit::message(kSwitchData, {}, true, 0);
    const Bytes tookIt = FakeUnit::message(kSwitchData, {}, true, 3);
    const Bytes setIO = FakeUnit::message(kSetIO, {1, 2});
    const Bytes other = FakeUnit::message(0x33);
    Bytes corrupted = frames({setIO});
    corrupted.back() = static_cast<std::int8_t>(corrupted.back() ^ 0x01);
    const struct {
        Bytes read;
        R expected;
    } cases[] = {
        {frames({setIO}), R::IO_CHANGE_OK},
        {frames({tookIt}), R::PRINT_ACKNOWLEDGED},
        {frames({refused}), R::ERROR_PRINTER_NOT_OK},
        {frames({FakeUnit::message(0x7A, {1, 2, 3})}), R::UNKNOWN},
        {frames({portControl(0x04)}), R::PRINTER_STATUS_OK},
        {frames({portControl(0x00)}), R::PRINTER_STATUS_NOT_READY},
        {frames({portControl(0x7F)}), R::CASH_DRAWER_STATE_1},
        {frames({portControl(0x3F)}), R::CASH_DRAWER_STATE_2},
        {frames({portControl(0x05)}), R::UNKNOWN},
        {frames({portControl(0x04, 17)}), R::UNKNOWN},
        {frames({portControl(0x04, 19)}), R::UNKNOWN},
        // A ready printer outranks everything in the same read, then acknowledgements win over
        // earlier answers, otherwise the first answer counts.
        {frames({tookIt, portControl(0x04)}), R::PRINTER_STATUS_OK},
        {frames({other, setIO}), R::IO_CHANGE_OK},
        {frames({refused, tookIt, setIO}), R::PRINT_ACKNOWLEDGED},
        {frames({portControl(0x00), refused}), R::PRINTER_STATUS_NOT_READY},
        {frames({other, refused}), R::UNKNOWN},
        // Reads without a complete valid frame.
        {{0x11, 0x22}, R::UNKNOWN},
        {corrupted, R::UNKNOWN},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        SCOPED_TRACE("case " + std::to_string(i) + ", " + std::string(toString(cases[i].expected)));
        EXPECT_EQ(ResponseMatcher().processResponseFromVanto(cases[i].read), cases[i].expected);
    }
}

TEST(ResponseFraming, AFrameSplitAcrossReadsIsClassifiedWhenItCompletes) {
    ResponseMatcher matcher;
    const Bytes whole = frames({portControl(0x7F)});
    EXPECT_EQ(matcher.processResponseFromVanto(Bytes(whole.begin(), whole.begin() + 9)),
              R::UNKNOWN);
    EXPECT_EQ(matcher.processResponseFromVanto(Bytes(whole.begin() + 9, whole.end())),
              R::CASH_DRAWER_STATE_1);
}

TEST(ResponseFraming, AFrameTooShortForAMessageHeaderIsFatal) {
    for (const Bytes& message : {Bytes{0x02, 0x12}, Bytes{0x02, 0x12, kSetIO}}) {
        EXPECT_THROW(ResponseMatcher().processResponseFromVanto(frames({message})), FatalError);
    }
}

}  // namespace
}  // namespace vantoconnect
