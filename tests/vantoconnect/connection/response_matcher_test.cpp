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
constexpr std::int8_t kSysInfo = 0x7A;

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
    if (size > 6) {
        content[6] = state;
    }
    return FakeUnit::message(kPortControl, content);
}

// A switch-data answer counts as a command when its tag and spare bits are all zero, whatever
// its direction bit says.
const Bytes kPrinterRefused = FakeUnit::message(kSwitchData, {}, true, 0);
const Bytes kPrinterTookIt = FakeUnit::message(kSwitchData, {}, true, 3);

R classify(const Bytes& bytes) {
    ResponseMatcher matcher;
    return matcher.processResponseFromVanto(bytes);
}

TEST(ResponseClassification, EachMessageTypeMapsToItsAnswer) {
    EXPECT_EQ(classify(frames({FakeUnit::message(kSetIO, {1, 2})})), R::IO_CHANGE_OK);
    EXPECT_EQ(classify(frames({kPrinterTookIt})), R::PRINT_ACKNOWLEDGED);
    EXPECT_EQ(classify(frames({kPrinterRefused})), R::ERROR_PRINTER_NOT_OK);
    EXPECT_EQ(classify(frames({FakeUnit::message(kSwitchData, {}, false, 0)})),
              R::ERROR_PRINTER_NOT_OK);
    EXPECT_EQ(classify(frames({FakeUnit::message(kSysInfo, {1, 2, 3})})), R::UNKNOWN);
    EXPECT_EQ(classify(frames({FakeUnit::message(0x45, {0})})), R::UNKNOWN);
}

TEST(ResponseClassification, PortControlStateByteSelectsTheAnswer) {
    EXPECT_EQ(classify(frames({portControl(0x04)})), R::PRINTER_STATUS_OK);
    EXPECT_EQ(classify(frames({portControl(0x00)})), R::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(classify(frames({portControl(0x7F)})), R::CASH_DRAWER_STATE_1);
    EXPECT_EQ(classify(frames({portControl(0x3F)})), R::CASH_DRAWER_STATE_2);
    EXPECT_EQ(classify(frames({portControl(0x05)})), R::UNKNOWN);
    EXPECT_EQ(classify(frames({portControl(0x04, 17)})), R::UNKNOWN);
    EXPECT_EQ(classify(frames({portControl(0x04, 19)})), R::UNKNOWN);
}

TEST(ResponsePreference, PrinterReadyOutranksEverythingInTheSameRead) {
    EXPECT_EQ(classify(frames({kPrinterRefused, portControl(0x04)})), R::PRINTER_STATUS_OK);
    EXPECT_EQ(classify(frames({kPrinterTookIt, portControl(0x04)})), R::PRINTER_STATUS_OK);
}

TEST(ResponsePreference, AnAcknowledgementWinsOverEarlierAnswers) {
    EXPECT_EQ(classify(frames({FakeUnit::message(0x33), FakeUnit::message(kSetIO)})),
              R::IO_CHANGE_OK);
    EXPECT_EQ(classify(frames({kPrinterRefused, kPrinterTookIt, FakeUnit::message(kSetIO)})),
              R::PRINT_ACKNOWLEDGED);
}

TEST(ResponsePreference, OtherwiseTheFirstAnswerCounts) {
    EXPECT_EQ(classify(frames({portControl(0x00), kPrinterRefused})), R::PRINTER_STATUS_NOT_READY);
    EXPECT_EQ(classify(frames({FakeUnit::message(0x33), kPrinterRefused})), R::UNKNOWN);
}

TEST(ResponseFraming, ReadsWithoutACompleteValidFrameAreUnknown) {
    EXPECT_EQ(classify({}), R::UNKNOWN);
    EXPECT_EQ(classify({0x11, 0x22}), R::UNKNOWN);
    Bytes corrupted = frames({FakeUnit::message(kSetIO)});
    corrupted.back() = static_cast<std::int8_t>(corrupted.back() ^ 0x01);
    EXPECT_EQ(classify(corrupted), R::UNKNOWN);
}

TEST(ResponseFraming, AFrameSplitAcrossReadsIsClassifiedWhenItCompletes) {
    ResponseMatcher matcher;
    const Bytes whole = frames({portControl(0x7F)});
    const Bytes head(whole.begin(), whole.begin() + 9);
    const Bytes tail(whole.begin() + 9, whole.end());
    EXPECT_EQ(matcher.processResponseFromVanto(head), R::UNKNOWN);
    EXPECT_EQ(matcher.processResponseFromVanto(tail), R::CASH_DRAWER_STATE_1);
}

TEST(ResponseFraming, AFrameTooShortForAMessageHeaderIsFatal) {
    EXPECT_THROW(classify(frames({Bytes{0x02, 0x12}})), FatalError);
    EXPECT_THROW(classify(frames({Bytes{0x02, 0x12, kSetIO}})), FatalError);
}

}  // namespace
}  // namespace vantoconnect
