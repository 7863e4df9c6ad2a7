#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::integration {
namespace {

using Clock = std::chrono::steady_clock;
using vantoemu::PrinterCondition;
using vantoemu::ReplyMode;

// The callback's events once its report (always the last) is in.
std::vector<std::string> reported(const RecordingCallback& callback) {
    callback.waitForReport(10s);
    return callback.events();
}

// Whether the receipt was reported, every packet acknowledged.
bool delivered(const RecordingCallback& callback) {
    return callback.waitForReport(10s) && callback.reports().at(0).allAcknowledged;
}

// A receipt saying `text`, printed with a callback of its own.
std::shared_ptr<RecordingCallback> print(Vanto& vanto, const std::string& text) {
    auto callback = std::make_shared<RecordingCallback>();
    vanto.print(receiptSaying(text), callback, callback);
    return callback;
}

// Emulated units on ports of their own, and resilient facades aimed at them with short limits.
class Resilient : public ::testing::Test {
  protected:
    vantoemu::EmulatedUnit& startUnit() {
        units.push_back(std::make_unique<vantoemu::EmulatedUnit>(
            vantoemu::UnitOptions{.port = 0, .outDir = "", .renderReceipts = false, .faults = {}}));
        units.back()->start();
        return *units.back();
    }

    ResilientOptions optionsFor(const vantoemu::EmulatedUnit& unit) {
        return ResilientOptions{.address = "127.0.0.1",
                                .port = unit.port(),
                                .connectTimeout = 500ms,
                                .readTimeout = 300ms,
                                .pollInterval = 20ms,
                                .maxUnavailablePolls = 30,
                                .waitLimit = 3s,
                                .log = lines.sink()};
    }

    testing::ConsoleCapture console;
    testing::LineLog lines;  // the facades' own log
    std::vector<std::unique_ptr<vantoemu::EmulatedUnit>> units;
};

// What a unit that misbehaves costs each request: an error or an honest answer, and the next
// request, once the unit behaves again, goes through.
TEST_F(Resilient, AMisbehavingUnitGivesErrorsAndTheNextRequestGoesOn) {
    auto& unit = startUnit();
    struct Case {
        const char* name;
        std::function<void(vantoemu::EmulatedUnit&)> fault;
        std::string receiptError;
        bool busy;
        std::optional<VantoError::Kind> drawerError;
    } cases[] = {
        {"refusing connections", [](auto& u) { u.setRefuseConnections(true); },
         "error PRINTER_NOT_RESPONDING", true, VantoError::Kind::CONNECTION_LOST},
        {"answering with something unrecognised",
         [](auto& u) { u.setReplyMode(ReplyMode::Unrecognised); }, "error PRINTER_NOT_RESPONDING",
         true, VantoError::Kind::GENERIC},
        {"printer in error", [](auto& u) { u.setPrinterCondition(PrinterCondition::Error); },
         "error PRINTER_NOT_RESPONDING", true, std::nullopt},
        {"refusing print data", [](auto& u) { u.setPrinterErrorReplies(5); },
         "error GENERIC(message: \"packet 1 of 1: the printer at 127.0.0.1", false, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        auto options = optionsFor(unit);
        options.waitLimit = 500ms;
        Vanto vanto(options);
        c.fault(unit);
        const auto callback = print(vanto, c.name);
        const auto events = reported(*callback);
        EXPECT_TRUE(events.at(events.size() - 2).starts_with(c.receiptError))
            << events.at(events.size() - 2);
        EXPECT_FALSE(delivered(*callback));
        EXPECT_EQ(vanto.printerBusy(), c.busy);
        try {
            vanto.cashDrawerStatus();
            EXPECT_FALSE(c.drawerError) << "the drawer's status came from a misbehaving unit";
        } catch (const VantoError& error) {
            EXPECT_EQ(error.kind(), c.drawerError) << error.description();
        }

        unit.setFaults({});
        EXPECT_FALSE(vanto.printerBusy());
        EXPECT_EQ(vanto.cashDrawerStatus(), Vanto::CASH_DRAWER_STATUS_CLOSED);
        EXPECT_TRUE(delivered(*print(vanto, "next")));
    }
    EXPECT_TRUE(console.lines().empty()) << console.lines().front();
}

// Receipts submitted at once all print, in order; one submitted to an idle queue goes out at once
// rather than at the next poll (a poll interval of a minute would show any wait for a timer).
TEST_F(Resilient, ABurstPrintsEveryReceiptInOrderAndAnIdleQueueStartsAtOnce) {
    auto& unit = startUnit();
    auto options = optionsFor(unit);
    options.pollInterval = 60s;
    Vanto vanto(options);
    ASSERT_TRUE(delivered(*print(vanto, "alone"))) << "the receipt waited for a timer";

    constexpr int BURST = 100;
    std::vector<std::shared_ptr<VantoReceipt>> receipts;
    auto callback = std::make_shared<RecordingCallback>();
    for (int k = 0; k < BURST; ++k) {
        receipts.push_back(receiptSaying("receipt " + std::to_string(k)));
        vanto.print(receipts.back(), callback, callback);
    }
    ASSERT_TRUE(callback->waitForEvents(3 * BURST, 60s));
    ASSERT_TRUE(unit.waitForReceipts(BURST + 1, 10s));
    const auto reports = callback->reports();
    for (int k = 0; k < BURST; ++k) {
        EXPECT_TRUE(reports.at(k).allAcknowledged);
        EXPECT_EQ(reports.at(k).receiptId, static_cast<std::uint64_t>(k + 2));
    }
    // The unit keeps the newest receipts in memory, numbered as they came off the paper.
    for (const auto& paper : unit.receipts()) {
        const int k = paper.number - 2;
        if (k >= 0) {
            EXPECT_EQ(paper.bytes, composed(*receipts.at(k))) << "receipt " << k;
            EXPECT_TRUE(paper.complete());
        }
    }
}

// Polls count against the receipt they are made for only: the first receipt is given up after
// its own polls, the second starts from nothing and prints. Two units print independently: a
// receipt waiting for one does not hold the other.
TEST_F(Resilient, PollsCountPerReceiptAndTwoUnitsPrintIndependently) {
    auto& busy = startUnit();
    auto& free = startUnit();
    auto options = optionsFor(busy);
    options.maxUnavailablePolls = 3;
    Vanto waiting(options);
    Vanto other(optionsFor(free));

    busy.setPrinterNotReadyPolls(5);
    const auto given = print(waiting, "given up");
    const auto next = print(waiting, "printed");
    EXPECT_EQ(reported(*given).at(0), "error PRINTER_NOT_RESPONDING");
    EXPECT_TRUE(delivered(*next));
    EXPECT_EQ(busy.eventCount("printer_status"), 6u);

    busy.setPrinterCondition(PrinterCondition::NotReady);
    const auto held = print(waiting, "held");
    EXPECT_TRUE(delivered(*print(other, "through")));
    EXPECT_EQ(waiting.waitingReceipts(), 1u);
    EXPECT_TRUE(held->events().empty());
}

// A waiting receipt can be withdrawn, and hears so before cancel() returns; one that has gone
// cannot. The classic queue cannot withdraw anything. A receipt the composer cannot take fails on
// the caller's thread, and nothing is queued.
TEST_F(Resilient, WaitingReceiptsCanBeCancelledAndBadOnesNeverQueue) {
    auto& unit = startUnit();
    unit.setPrinterCondition(PrinterCondition::NotReady);
    Vanto vanto(optionsFor(unit));
    std::vector<std::shared_ptr<RecordingCallback>> callbacks;
    std::vector<std::uint64_t> ids;
    for (const char* text : {"head", "middle", "tail"}) {
        callbacks.push_back(std::make_shared<RecordingCallback>());
        ids.push_back(vanto.print(receiptSaying(text), callbacks.back(), callbacks.back()));
    }
    EXPECT_EQ(vanto.waitingReceipts(), 3u);
    EXPECT_TRUE(vanto.cancel(ids[1]));
    EXPECT_EQ(
        callbacks[1]->events(),
        (std::vector<std::string>{"error CANCELLED(message: \"cancelled before it was sent\")",
                                  "report 0/0/0/0 of 0, end not sent, cancelled"}));
    EXPECT_FALSE(vanto.cancel(ids[1]));
    EXPECT_TRUE(vanto.cancel(ids[0])) << "the head is waiting too while it is polled for";
    EXPECT_EQ(vanto.waitingReceipts(), 1u);

    auto tooWide = std::make_shared<VantoReceipt>();
    tooWide->addLine(
        std::make_shared<VantoReceiptPriceLine>(std::string(40, 'x'), 0, std::string(10, '9'), 0));
    EXPECT_THROW(vanto.print(tooWide), FatalError);
    EXPECT_EQ(vanto.waitingReceipts(), 1u);

    unit.setPrinterCondition(PrinterCondition::Ready);
    EXPECT_TRUE(delivered(*callbacks[2]));
    EXPECT_FALSE(vanto.cancel(ids[2]));

    Vanto classic;
    EXPECT_FALSE(classic.cancel(1));
}

// Closing a facade never waits on its unit: a silent unit with a long read limit holds neither
// the destructor nor the receipts, which are reported cancelled. Nothing of the profile reaches
// standard output; its lines reach the log.
TEST_F(Resilient, ClosingNeverWaitsOnTheUnitAndLinesGoOnlyToTheLog) {
    auto& unit = startUnit();
    auto options = optionsFor(unit);
    {
        Vanto vanto(options);
        ASSERT_TRUE(delivered(*print(vanto, "printed")));
    }
    EXPECT_EQ(lines.count("Printer started"), 1u);
    EXPECT_EQ(lines.count("Printer completed."), 1u);

    unit.setReplyMode(ReplyMode::Silent);
    options.readTimeout = 60s;
    std::shared_ptr<RecordingCallback> inFlight;
    std::shared_ptr<RecordingCallback> queued;
    const auto start = Clock::now();
    {
        Vanto vanto(options);
        inFlight = print(vanto, "in flight");
        queued = print(vanto, "queued");
        ASSERT_TRUE(unit.waitForEvents("printer_status", 1, 5s));
    }
    EXPECT_LT(Clock::now() - start, 5s);
    for (const auto& callback : {inFlight, queued}) {
        ASSERT_EQ(callback->reports().size(), 1u);
        EXPECT_TRUE(callback->reports().at(0).cancelled);
    }
    EXPECT_TRUE(console.lines().empty()) << console.lines().front();
}

// Behind a unit that says nothing, the queued receipts are all reported within the wait limit,
// not one limit after another.
TEST_F(Resilient, AQueueBehindASilentUnitIsReportedWithinOneLimit) {
    auto& unit = startUnit();
    unit.setReplyMode(ReplyMode::Silent);
    auto options = optionsFor(unit);
    options.readTimeout = 100ms;
    options.waitLimit = 600ms;
    Vanto vanto(options);
    std::vector<std::shared_ptr<RecordingCallback>> callbacks;
    const auto start = Clock::now();
    for (int k = 0; k < 4; ++k) {
        callbacks.push_back(print(vanto, "queued"));
    }
    for (const auto& callback : callbacks) {
        EXPECT_EQ(reported(*callback).front(), "error PRINTER_NOT_RESPONDING");
    }
    EXPECT_LT(Clock::now() - start, 1500ms);
}

// A unit that reboots in the middle of receipts, whenever it falls: every receipt reported
// delivered is on paper whole and as composed, the one cut off is reported not delivered, and
// the next receipt prints once the unit is back.
TEST_F(Resilient, AReportAlwaysMatchesThePaperAcrossAReboot) {
    auto& unit = startUnit();
    Vanto vanto(optionsFor(unit));
    std::vector<std::shared_ptr<VantoReceipt>> receipts;
    std::vector<std::shared_ptr<RecordingCallback>> callbacks;
    for (int k = 0; k < 6; ++k) {
        auto receipt = std::make_shared<VantoReceipt>();
        for (int line = 0; line < 60; ++line) {
            receipt->addLine(std::make_shared<VantoReceiptTextLine>(
                "receipt " + std::to_string(k) + " line " + std::to_string(line) +
                    " long enough to need three packets",
                0, 0, 0));
        }
        receipts.push_back(receipt);
        callbacks.push_back(std::make_shared<RecordingCallback>());
        vanto.print(receipt, callbacks.back(), callbacks.back());
        if (k == 1) {
            ASSERT_TRUE(unit.waitForEvents("printer_data", 4, 10s));
            unit.restart(100ms);
        }
    }
    std::size_t printed = 0;
    for (const auto& callback : callbacks) {
        reported(*callback);
        ASSERT_EQ(callback->reports().size(), 1u);
        printed += callback->reports().at(0).allAcknowledged ? 1 : 0;
    }
    EXPECT_GE(printed, 4u) << "the receipts after the reboot print once the unit is back";
    EXPECT_TRUE(callbacks.back()->reports().at(0).allAcknowledged);
    ASSERT_TRUE(unit.waitForReceipts(printed, 10s));
    std::this_thread::sleep_for(200ms);  // any cut-off paper comes out meanwhile
    const auto papers = unit.receipts();
    for (std::size_t k = 0; k < receipts.size(); ++k) {
        const auto expected = composed(*receipts[k]);
        const auto whole = std::count_if(papers.begin(), papers.end(), [&](const auto& paper) {
            return paper.complete() && paper.bytes == expected;
        });
        EXPECT_EQ(whole, callbacks[k]->reports().at(0).allAcknowledged ? 1 : 0) << "receipt " << k;
    }
}

}  // namespace
}  // namespace vantoconnect::integration
