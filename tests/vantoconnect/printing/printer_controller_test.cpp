#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/vantoconnect/devices/DeviceTestSupport.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

// Reaches the packing and sending steps without composing a receipt, so tests choose the exact
// byte groups.
class PrinterControllerProbe {
  public:
    static std::vector<Bytes> wrap(VantoPrinterController& controller,
                                   const std::vector<Bytes>& groups) {
        return controller.wrapContent(groups);
    }
    static void send(VantoPrinterController& controller, const std::vector<Bytes>& groups,
                     const std::shared_ptr<VantoPrinterCallback>& callback) {
        controller.printGroups(groups, callback);
    }
};

namespace testing {
namespace {

Bytes run(std::size_t size, std::int8_t fill) {
    return Bytes(size, fill);
}

class PrinterControllerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        unit.setDefaultReply(FakeUnit::Reply::bytes(printAcknowledgedReply()));
    }

    // Sends the groups as one job and returns what each connection carried.
    std::vector<UBytes> sendJob(const std::vector<Bytes>& groups,
                                const std::vector<UBytes>& expected) {
        auto callback = std::make_shared<RecordingCallback>();
        PrinterControllerProbe::send(controller, groups, callback);
        EXPECT_TRUE(callback->waitForEvents(1));
        EXPECT_EQ(callback->kinds(), std::vector<std::string>{"completed"});
        return receivedLike(unit, expected);
    }

    FakeUnit unit;
    VantoPrinterController controller{managerFor(unit)};
};

TEST_F(PrinterControllerTest, PacketsHoldWholeGroupsUpToTheLimit) {
    EXPECT_EQ(PrinterControllerProbe::wrap(controller, {run(1024, 1)}),
              std::vector<Bytes>{run(1024, 1)});
    EXPECT_EQ(PrinterControllerProbe::wrap(controller, {run(1000, 1), run(25, 2)}),
              (std::vector<Bytes>{run(1000, 1), run(25, 2)}));
    EXPECT_EQ(PrinterControllerProbe::wrap(controller, {run(3, 1), run(4, 2), run(1017, 3)}),
              std::vector<Bytes>{concat(concat(run(3, 1), run(4, 2)), run(1017, 3))});
    EXPECT_TRUE(PrinterControllerProbe::wrap(controller, {}).empty());
}

TEST_F(PrinterControllerTest, EmptyOrOversizedGroupStops) {
    EXPECT_THROW(PrinterControllerProbe::wrap(controller, {run(10, 1), Bytes{}}), FatalError);
    EXPECT_THROW(PrinterControllerProbe::wrap(controller, {run(1025, 1)}), FatalError);
    EXPECT_THROW(PrinterControllerProbe::wrap(controller, {run(10, 1), run(1025, 1)}), FatalError);
}

TEST_F(PrinterControllerTest, FullPacketGoesOutWithTagOneThenEndOfJob) {
    const std::vector<UBytes> expected = {printerFrame(1, run(1024, 0x41)), endOfJobFrame()};
    EXPECT_EQ(sendJob({run(1024, 0x41)}, expected), expected);
}

TEST_F(PrinterControllerTest, OneByteTooManySplitsAtTheGroupBoundary) {
    const std::vector<UBytes> expected = {printerFrame(1, run(1000, 0x41)),
                                          printerFrame(2, run(25, 0x42)), endOfJobFrame()};
    EXPECT_EQ(sendJob({run(1000, 0x41), run(25, 0x42)}, expected), expected);
}

TEST_F(PrinterControllerTest, TagsCycleOneToFifteenAndRestartPerJob) {
    std::vector<Bytes> groups;
    std::vector<UBytes> expected;
    for (int k = 0; k < 16; ++k) {
        groups.push_back(run(1024, static_cast<std::int8_t>(k)));
        expected.push_back(printerFrame(static_cast<std::int8_t>(k % 15 + 1), groups.back()));
    }
    expected.push_back(endOfJobFrame());
    // The second job starts again from tag 1.
    groups.push_back(run(5, 0x55));
    expected.push_back(printerFrame(1, run(5, 0x55)));
    expected.push_back(endOfJobFrame());

    auto callback = std::make_shared<RecordingCallback>();
    PrinterControllerProbe::send(controller, {groups.begin(), groups.end() - 1}, callback);
    PrinterControllerProbe::send(controller, {groups.back()}, callback);
    EXPECT_TRUE(callback->waitForEvents(2));
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(PrinterControllerTest, ConfigPageTakesTheNextTag) {
    controller.printConfigPage();
    controller.printConfigPage();
    const std::vector<UBytes> expected = {printerFrame(1, {0x1F, 0x74}), endOfJobFrame(),
                                          printerFrame(2, {0x1F, 0x74}), endOfJobFrame()};
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

TEST_F(PrinterControllerTest, OnlyAReadyPrinterIsFree) {
    unit.script(FakeUnit::Reply::bytes(printerReadyReply()));
    unit.script(FakeUnit::Reply::bytes(printerNotReadyReply()));
    unit.script(FakeUnit::Reply::bytes(portControlReply(18, 0x7F)));
    unit.script(FakeUnit::Reply::bytes(printAcknowledgedReply()));
    EXPECT_FALSE(controller.isPrinterBusy());
    EXPECT_TRUE(controller.isPrinterBusy());
    EXPECT_TRUE(controller.isPrinterBusy());
    EXPECT_TRUE(controller.isPrinterBusy());
    EXPECT_EQ(unit.received(0), printerBusyQueryFrame());
}

}  // namespace
}  // namespace testing
}  // namespace vantoconnect
