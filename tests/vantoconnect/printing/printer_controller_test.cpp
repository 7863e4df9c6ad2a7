#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "tests/support/Managers.hpp"
#include "tests/support/RecordingCallback.hpp"
#include "tests/support/UnitFrames.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

// Reaches the packing and sending steps without composing a receipt, so tests choose the exact
// byte groups.
using Groups = std::vector<Bytes>;

class PrinterControllerProbe {
  public:
    static Groups wrap(VantoPrinterController& c, const Groups& groups) {
        return c.wrapContent(groups);
    }
    static void send(VantoPrinterController& c, const Groups& groups,
                     const std::shared_ptr<VantoPrinterCallback>& callback) {
        c.printGroups(groups, callback, nullptr);
    }
};

namespace testing {
namespace {

using Probe = PrinterControllerProbe;

class PrinterControllerTest : public ::testing::Test {
  protected:
    void SetUp() override { unit.setDefaultReply(FakeUnit::Reply::bytes(PRINT_ACKNOWLEDGED)); }

    FakeUnit unit;
    VantoPrinterController controller{managerFor(unit.port())};
};

TEST_F(PrinterControllerTest, PacketsHoldWholeGroupsUpToTheLimitAndNoEmptyOrOversizedOne) {
    const Bytes a(3, 1), b(4, 2), c(1017, 3);
    EXPECT_EQ(Probe::wrap(controller, {a, b, c}), Groups{concat(concat(a, b), c)});
    EXPECT_TRUE(Probe::wrap(controller, {}).empty());
    EXPECT_THROW(Probe::wrap(controller, {Bytes(10, 1), Bytes{}}), FatalError);
    EXPECT_THROW(Probe::wrap(controller, {Bytes(1025, 1)}), FatalError);
    EXPECT_THROW(Probe::wrap(controller, {Bytes(10, 1), Bytes(1025, 1)}), FatalError);
}

TEST_F(PrinterControllerTest, EachJobTagsItsPacketsFromOneCyclingToFifteenAndEndsWithTagZero) {
    // 1024 bytes fit one packet; one byte more splits at the group boundary.
    std::vector<Groups> jobs = {{Bytes(1024, 0x41)}, {Bytes(1000, 0x41), Bytes(25, 0x42)}, {}};
    std::vector<UBytes> expected = {printerFrame(1, Bytes(1024, 0x41)), END_OF_JOB,
                                    printerFrame(1, Bytes(1000, 0x41)),
                                    printerFrame(2, Bytes(25, 0x42)), END_OF_JOB};
    for (int k = 0; k < 16; ++k) {
        jobs[2].push_back(Bytes(1024, static_cast<std::int8_t>(k)));
        expected.push_back(printerFrame(static_cast<std::int8_t>(k % 15 + 1), jobs[2].back()));
    }
    // A configuration page is no job: it takes the next tag.
    const UBytes page2 = printerFrame(2, {0x1F, 0x74}), page3 = printerFrame(3, {0x1F, 0x74});
    expected.insert(expected.end(), {END_OF_JOB, page2, END_OF_JOB, page3, END_OF_JOB});

    auto callback = std::make_shared<RecordingCallback>();
    for (const Groups& job : jobs) {
        Probe::send(controller, job, callback);
    }
    controller.printConfigPage();
    controller.printConfigPage();
    EXPECT_EQ(callback->events(3), std::vector<std::string>(3, "completed 127.0.0.1"));
    EXPECT_EQ(receivedLike(unit, expected), expected);
}

}  // namespace
}  // namespace testing
}  // namespace vantoconnect
