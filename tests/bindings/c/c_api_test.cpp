// The C API as a C caller meets it, through vanto.h and the shared library alone: no exception
// crosses, bad input is refused with a status and a reason before it reaches a fatal edge, the
// bytes are the C++ library's own, and what it reports about the unit is what the unit saw.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Receipts.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/vanto.h"

// The emulated unit draws text through fontconfig and Pango, which keep their caches for the
// life of the process. The library's own copy of this list is hidden inside the shared library.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libpango\nleak:libharfbuzz\n";
}

namespace {

using namespace std::chrono_literals;

// Owners for the handles and buffers the API hands out.
struct Free {
    void operator()(vanto_t* p) const { vanto_free(p); }
    void operator()(vanto_receipt_t* p) const { vanto_receipt_free(p); }
    void operator()(vanto_image_t* p) const { vanto_image_free(p); }
    void operator()(vanto_emulator_t* p) const { vanto_emulator_free(p); }
    void operator()(char* p) const { vanto_string_free(p); }
    void operator()(uint8_t* p) const { vanto_bytes_free(p); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

std::string lastError() {
    return vanto_last_error();
}

Owned<vanto_receipt_t> newReceipt() {
    vanto_receipt_t* receipt = nullptr;
    EXPECT_EQ(vanto_receipt_create(&receipt), VANTO_OK);
    return Owned<vanto_receipt_t>(receipt);
}

std::vector<std::uint8_t> compose(const vanto_receipt_t* receipt) {
    uint8_t* bytes = nullptr;
    size_t size = 0;
    EXPECT_EQ(vanto_receipt_compose(receipt, &bytes, &size), VANTO_OK) << lastError();
    Owned<uint8_t> owned(bytes);
    return {bytes, bytes + size};
}

// An emulated unit on a free loopback port and a facade aimed at it, both through the C API.
class UnitTest : public ::testing::Test {
  protected:
    void SetUp() override {
        vanto_emulator_t* emulator = nullptr;
        ASSERT_EQ(vanto_emulator_create("127.0.0.1", 0, nullptr, &emulator), VANTO_OK);
        unit.reset(emulator);
        ASSERT_EQ(vanto_emulator_start(emulator), VANTO_OK) << lastError();
        int32_t port = 0;
        ASSERT_EQ(vanto_emulator_port(emulator, &port), VANTO_OK);
        vanto_t* made = nullptr;
        ASSERT_EQ(vanto_create(&made), VANTO_OK);
        vanto.reset(made);
        ASSERT_EQ(vanto_set_address(made, "127.0.0.1"), VANTO_OK);
        ASSERT_EQ(vanto_set_port(made, port), VANTO_OK);
    }

    std::string paper(int64_t number) {
        char* text = nullptr;
        EXPECT_EQ(vanto_emulator_receipt_text(unit.get(), number, &text), VANTO_OK) << lastError();
        Owned<char> owned(text);
        return text != nullptr ? text : "";
    }

    // Fire-and-forget requests reach the unit a little later.
    template <typename Read>
    static bool eventually(Read&& read, std::chrono::milliseconds limit = 5s) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!read()) {
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(10ms);
        }
        return true;
    }

    // Declared first, destroyed last: the facade's writes have finished with the unit by then.
    Owned<vanto_emulator_t> unit;
    Owned<vanto_t> vanto;
};

TEST(CApi, NoExceptionCrossesAndEveryFailureExplainsItself) {
    vanto_receipt_t* receipt = nullptr;
    EXPECT_EQ(vanto_receipt_create(nullptr), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_create: receipt is NULL");
    EXPECT_EQ(vanto_receipt_add_text(nullptr, "x", 0, 0, 0), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_text: receipt is NULL");
    ASSERT_EQ(vanto_receipt_create(&receipt), VANTO_OK);
    Owned<vanto_receipt_t> owned(receipt);
    EXPECT_EQ(lastError(), "") << "a success clears the last error";
    EXPECT_EQ(vanto_receipt_add_text(receipt, nullptr, 0, 0, 0), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_text: text is NULL");
    EXPECT_EQ(vanto_print(nullptr, receipt, nullptr, nullptr), VANTO_ERROR_INVALID);
    char* text = nullptr;
    EXPECT_EQ(vanto_emulator_receipt_text(nullptr, 1, &text), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_emulator_receipt_text: emulator is NULL");
    EXPECT_EQ(text, nullptr);

    // The reason belongs to the thread that failed.
    std::string elsewhere;
    std::thread([&] {
        vanto_receipt_add_feed(nullptr, 1);
        elsewhere = vanto_last_error();
    }).join();
    EXPECT_EQ(elsewhere, "vanto_receipt_add_feed: receipt is NULL");
    EXPECT_EQ(lastError(), "vanto_emulator_receipt_text: emulator is NULL");

    EXPECT_STREQ(vanto_status_name(VANTO_ERROR_NOT_DELIVERED), "VANTO_ERROR_NOT_DELIVERED");
    EXPECT_STREQ(vanto_status_name(static_cast<vanto_status>(99)), "VANTO_STATUS_UNKNOWN");
    EXPECT_STREQ(vanto_version(), "1.0.0");
    vanto_string_free(nullptr);
    vanto_receipt_free(nullptr);
}

// Each refusal is proven in the receipts layer; here, that the C API reports one as a status and
// a reason naming the function, and changes nothing: the receipt keeps its lines, the facade
// sends nothing (aimed at loopback, where nothing listens on port 1), and a port in use is the
// machine's failure rather than the caller's.
TEST(CApi, RefusalsAreInvalidWithTheReasonAndChangeNothing) {
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "kept", 0, 0, 0), VANTO_OK);
    EXPECT_EQ(vanto_receipt_add_feed(receipt.get(), -1), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_feed: line 2: lines: must lie in 0...127, not -1");
    EXPECT_EQ(vanto_receipt_set_header_feed(receipt.get(), 128), VANTO_ERROR_INVALID);
    size_t lines = 0;
    ASSERT_EQ(vanto_receipt_line_count(receipt.get(), &lines), VANTO_OK);
    EXPECT_EQ(lines, 1u);
    int64_t cut = -1;
    int64_t header = -1;
    int64_t footer = -1;
    ASSERT_EQ(vanto_receipt_settings(receipt.get(), &cut, &header, &footer), VANTO_OK);
    EXPECT_EQ(cut, VANTO_CUT_TYPE_FULL);
    EXPECT_EQ(header, 0);
    EXPECT_EQ(footer, 12);

    vanto_t* vanto = nullptr;
    ASSERT_EQ(vanto_create(&vanto), VANTO_OK);
    Owned<vanto_t> facade(vanto);
    ASSERT_EQ(vanto_set_address(vanto, "127.0.0.1"), VANTO_OK);
    ASSERT_EQ(vanto_set_port(vanto, 1), VANTO_OK);
    EXPECT_EQ(vanto_set_diagnostic_led(vanto, VANTO_LED_PED, VANTO_LED_GREEN), VANTO_ERROR_INVALID);
    EXPECT_NE(lastError().find("ped cannot be set to green"), std::string::npos) << lastError();

    vanto_emulator_t* first = nullptr;
    ASSERT_EQ(vanto_emulator_create("127.0.0.1", 0, nullptr, &first), VANTO_OK);
    Owned<vanto_emulator_t> running(first);
    ASSERT_EQ(vanto_emulator_start(first), VANTO_OK);
    EXPECT_EQ(vanto_emulator_set_printer_state(first, 9), VANTO_ERROR_INVALID);
    int32_t taken = 0;
    ASSERT_EQ(vanto_emulator_port(first, &taken), VANTO_OK);
    vanto_emulator_t* second = nullptr;
    ASSERT_EQ(vanto_emulator_create("127.0.0.1", taken, nullptr, &second), VANTO_OK);
    Owned<vanto_emulator_t> clash(second);
    EXPECT_EQ(vanto_emulator_start(second), VANTO_ERROR_IO);
    EXPECT_NE(lastError().find("vanto_emulator_start: cannot listen on"), std::string::npos)
        << lastError();
}

// The C API adds checks, never a second behaviour: its bytes are the C++ library's.
TEST(CApi, ComposesTheBytesOfTheSameReceiptBuiltInCpp) {
    using namespace vantoconnect;
    auto receipt = newReceipt();
    vanto_receipt_t* r = receipt.get();
    ASSERT_EQ(vanto_receipt_set_cut_type(r, VANTO_CUT_TYPE_PARTIAL), VANTO_OK);
    ASSERT_EQ(vanto_receipt_set_footer_feed(r, 4), VANTO_OK);
    ASSERT_EQ(
        vanto_receipt_add_text(r, "CORNER CAFE", VANTO_TEXT_STYLE_BOLD | VANTO_TEXT_STYLE_INVERSE,
                               VANTO_TEXT_SIZE_WIDE, VANTO_TEXT_POSITION_CENTER),
        VANTO_OK);
    ASSERT_EQ(vanto_receipt_add_price(r, "Café crème", VANTO_TEXT_STYLE_NONE, "3.20",
                                      VANTO_TEXT_STYLE_BOLD),
              VANTO_OK);
    ASSERT_EQ(vanto_receipt_add_separator(r, "="), VANTO_OK);
    ASSERT_EQ(vanto_receipt_add_feed(r, 2), VANTO_OK);
    ASSERT_EQ(vanto_receipt_add_barcode(r, VANTO_BARCODE_TYPE_CODE39, "CAFE-42",
                                        VANTO_BARCODE_HRI_BOTH, 0.5),
              VANTO_OK);

    VantoReceipt same;
    same.setCutType(Vanto::CUT_TYPE_PARTIAL);
    same.setFooterFeed(4);
    same.addLine(std::make_shared<VantoReceiptTextLine>(
        "CORNER CAFE", Vanto::TEXT_STYLE_BOLD | Vanto::TEXT_STYLE_INVERSE, Vanto::TEXT_SIZE_WIDE,
        Vanto::TEXT_POSITION_CENTER));
    same.addLine(std::make_shared<VantoReceiptPriceLine>("Café crème", Vanto::TEXT_STYLE_NONE,
                                                         "3.20", Vanto::TEXT_STYLE_BOLD));
    same.addLine(std::make_shared<VantoReceiptSingleCharLine>(Character("=")));
    same.addLine(std::make_shared<VantoReceiptFeedLine>(2));
    auto barcode = std::make_shared<VantoReceiptBarcodeLine>(Vanto::BARCODE_TYPE_CODE39, "CAFE-42");
    barcode->setHri(Vanto::BARCODE_HRI_BOTH);
    barcode->setHeight(0.5);
    same.addLine(barcode);

    EXPECT_EQ(compose(r), vantoconnect::testing::composed(same));
}

TEST(CApi, ReadsReceiptFilesAndDrawsThemWithoutAUnit) {
    vanto_receipt_t* receipt = nullptr;
    ASSERT_EQ(vanto_receipt_from_json(
                  R"({"footerFeed": 2, "lines": [{"lineType": "TEXT", "text": "HELLO"},
                      {"lineType": "PRICE", "leftText": "Tea", "rightText": "1.10"}]})",
                  nullptr, &receipt),
              VANTO_OK)
        << lastError();
    Owned<vanto_receipt_t> owned(receipt);
    size_t lines = 0;
    ASSERT_EQ(vanto_receipt_line_count(receipt, &lines), VANTO_OK);
    EXPECT_EQ(lines, 2u);
    ASSERT_EQ(vanto_receipt_add_text(receipt, "added after", 0, 0, 0), VANTO_OK);

    char* text = nullptr;
    ASSERT_EQ(vanto_receipt_preview_text(receipt, &text), VANTO_OK) << lastError();
    Owned<char> ownedText(text);
    EXPECT_NE(std::string(text).find("HELLO"), std::string::npos) << text;
    EXPECT_NE(std::string(text).find("added after"), std::string::npos) << text;

    uint8_t* png = nullptr;
    size_t size = 0;
    ASSERT_EQ(vanto_receipt_preview_png(receipt, &png, &size), VANTO_OK) << lastError();
    Owned<uint8_t> ownedPng(png);
    ASSERT_GT(size, 8u);
    EXPECT_EQ(std::memcmp(png, "\x89PNG\r\n\x1a\n", 8), 0);

    vanto_receipt_t* bad = nullptr;
    EXPECT_EQ(vanto_receipt_from_json("{\"lines\": [", nullptr, &bad), VANTO_ERROR_INVALID);
    EXPECT_NE(lastError().find("json:1:12: malformed JSON"), std::string::npos) << lastError();
    EXPECT_EQ(bad, nullptr) << "results are written only on success";
    EXPECT_EQ(vanto_receipt_from_file("/nonexistent/receipt.json", &bad), VANTO_ERROR_INVALID);
    EXPECT_NE(lastError().find("no such receipt file"), std::string::npos) << lastError();
}

TEST(CApi, ImagesAreCheckedAndLaidOnWhitePaperUnlessAskedNotTo) {
    const std::vector<uint8_t> clear(2 * 2 * 4, 0);  // fully transparent black
    vanto_image_t* image = nullptr;
    EXPECT_EQ(vanto_image_from_rgba(2, 2, clear.data(), clear.size() - 1, 1, &image),
              VANTO_ERROR_INVALID);
    EXPECT_EQ(vanto_image_from_encoded(reinterpret_cast<const uint8_t*>("not"), 3, 1, &image),
              VANTO_ERROR_INVALID);
    EXPECT_EQ(vanto_image_from_file("/nonexistent.png", 1, &image), VANTO_ERROR_INVALID);
    EXPECT_EQ(image, nullptr);

    // 48 x 48 so the image spans whole printer columns; the bands' dot bytes tell black from
    // white.
    const std::vector<uint8_t> big(48 * 48 * 4, 0);
    auto dark = [&](int flatten) {
        vanto_image_t* made = nullptr;
        EXPECT_EQ(vanto_image_from_rgba(48, 48, big.data(), big.size(), flatten, &made), VANTO_OK)
            << lastError();
        Owned<vanto_image_t> owned(made);
        int64_t w = 0;
        int64_t h = 0;
        EXPECT_EQ(vanto_image_size(made, &w, &h), VANTO_OK);
        EXPECT_EQ(w, 48);
        EXPECT_EQ(h, 48);
        auto receipt = newReceipt();
        EXPECT_EQ(vanto_receipt_add_image(receipt.get(), made), VANTO_OK) << lastError();
        owned.reset();  // the receipt shares the pixels
        std::size_t set = 0;
        for (const uint8_t byte : compose(receipt.get())) {
            set += static_cast<std::size_t>(__builtin_popcount(byte));
        }
        return set;
    };
    const std::size_t flattened = dark(1);
    const std::size_t asIs = dark(0);
    EXPECT_GT(asIs, flattened + 1000) << "transparent black prints black only when kept as is";
}

TEST_F(UnitTest, DrawerLedsAndUsbDoWhatTheUnitShows) {
    vanto_t* v = vanto.get();
    vanto_emulator_t* e = unit.get();
    ASSERT_EQ(vanto_emulator_set_drawer_close_after(e, 0), VANTO_OK);
    int64_t status = -1;
    ASSERT_EQ(vanto_cash_drawer_status(v, &status), VANTO_OK) << lastError();
    EXPECT_EQ(status, VANTO_CASH_DRAWER_STATUS_CLOSED);
    int sent = -1;
    ASSERT_EQ(vanto_open_cash_drawer(v, 1, &sent), VANTO_OK) << lastError();
    EXPECT_EQ(sent, 1);
    EXPECT_TRUE(eventually([&] {
        int open = 0;
        return vanto_emulator_drawer_open(e, &open) == VANTO_OK && open == 1;
    }));
    ASSERT_EQ(vanto_open_cash_drawer(v, 1, &sent), VANTO_OK) << lastError();
    EXPECT_EQ(sent, 0) << "an open drawer is not pulsed again";

    ASSERT_EQ(vanto_set_diagnostic_led(v, VANTO_LED_PRINTER, VANTO_LED_AMBER), VANTO_OK);
    ASSERT_EQ(vanto_set_cosmetic_led(v, VANTO_COSMETIC_CYAN), VANTO_OK);
    ASSERT_EQ(vanto_enable_usb(v), VANTO_OK);
    EXPECT_TRUE(eventually([&] {
        int64_t led = -1;
        int64_t light = -1;
        int usb = 0;
        return vanto_emulator_diagnostic_led(e, VANTO_LED_PRINTER, &led) == VANTO_OK &&
               led == VANTO_LED_AMBER && vanto_emulator_cosmetic_colour(e, &light) == VANTO_OK &&
               light == VANTO_COSMETIC_CYAN && vanto_emulator_usb_power(e, &usb) == VANTO_OK &&
               usb == 1;
    }));
    int busy = -1;
    ASSERT_EQ(vanto_printer_busy(v, &busy), VANTO_OK);
    EXPECT_EQ(busy, 0);
}

// What each print reports, in order and from where, with the caller's own pointer.
struct Heard {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<std::thread::id> threads;
    std::vector<std::string> console;
    vanto_delivery_report report{};
    std::atomic<bool> done{false};

    void add(std::string call) {
        std::lock_guard lock(mutex);
        calls.push_back(std::move(call));
        threads.push_back(std::this_thread::get_id());
    }
    static Heard& of(void* user) { return *static_cast<Heard*>(user); }
    static vanto_print_callbacks callbacks(Heard& heard) {
        vanto_print_callbacks c{};
        c.user = &heard;
        c.on_started = [](void* user, const char* address) {
            of(user).add(std::string("started ") + address);
        };
        c.on_completed = [](void* user, const char* address) {
            of(user).add(std::string("completed ") + address);
        };
        c.on_error = [](void* user, vanto_status status, const char* description) {
            of(user).add(std::string("error ") + vanto_status_name(status) + " " + description);
        };
        c.on_report = [](void* user, const vanto_delivery_report* report) {
            Heard& heard = of(user);
            heard.add("report");
            heard.report = *report;
            heard.done = true;
        };
        return c;
    }
};

TEST_F(UnitTest, PrintsAndReportsOnTheLibrarysThreadsWithTheConsoleWhereTheCallerSays) {
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "PRINTED FROM C", 0, 0, 0), VANTO_OK);
    auto heard = std::make_unique<Heard>();
    const vanto_print_callbacks callbacks = Heard::callbacks(*heard);
    ASSERT_EQ(vanto_set_console(
                  [](void* user, const char* line) {
                      Heard& heard = Heard::of(user);
                      std::lock_guard lock(heard.mutex);
                      heard.console.emplace_back(line);
                  },
                  heard.get()),
              VANTO_OK);
    uint64_t id = 0;
    ASSERT_EQ(vanto_print(vanto.get(), receipt.get(), &callbacks, &id), VANTO_OK) << lastError();
    receipt.reset();  // the queue holds its own reference
    EXPECT_GT(id, 0u);
    // The library holds `heard` and talks to the unit until the report: should it never come,
    // both are left alive rather than pulled from under it.
    if (!eventually([&] { return heard->done.load(); }, 60s)) {
        heard.release();
        unit.release();
        FAIL() << "no delivery report within 60 s";
    }
    ASSERT_EQ(vanto_set_console(nullptr, nullptr), VANTO_OK);
    std::lock_guard lock(heard->mutex);
    EXPECT_NE(std::find(heard->console.begin(), heard->console.end(), "Printer completed."),
              heard->console.end());
    EXPECT_EQ(heard->calls,
              (std::vector<std::string>{"started 127.0.0.1", "completed 127.0.0.1", "report"}));
    for (const auto& thread : heard->threads) {
        EXPECT_NE(thread, std::this_thread::get_id());
    }
    EXPECT_EQ(heard->report.receipt_id, id);
    EXPECT_EQ(heard->report.all_acknowledged, 1);
    EXPECT_EQ(heard->report.packets_acknowledged, heard->report.packets_sent);
    // Drawing the first receipt loads the fonts, which takes seconds under the race checker.
    ASSERT_EQ(vanto_emulator_wait_for_receipts(unit.get(), 1, 60000), VANTO_OK) << lastError();
    EXPECT_NE(paper(1).find("PRINTED FROM C"), std::string::npos);
    int complete = 0;
    ASSERT_EQ(vanto_emulator_receipt_complete(unit.get(), 1, &complete), VANTO_OK);
    EXPECT_EQ(complete, 1);
}

TEST_F(UnitTest, PrintAndWaitCallsAReceiptDeliveredOnlyWhenEveryPacketWasAcknowledged) {
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_price(receipt.get(), "Tea", 0, "1.10", 0), VANTO_OK);
    vanto_delivery_report report{};
    ASSERT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 60000, &report), VANTO_OK)
        << lastError();
    EXPECT_EQ(report.all_acknowledged, 1);
    EXPECT_EQ(report.packets_acknowledged, report.packets_sent);

    // The printer refuses every attempt at one packet: sent, but not whole.
    ASSERT_EQ(vanto_emulator_set_printer_error(unit.get(), 5), VANTO_OK);
    ASSERT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 60000, &report),
              VANTO_ERROR_NOT_DELIVERED);
    EXPECT_EQ(report.all_acknowledged, 0);
    EXPECT_EQ(report.packets_refused, 1);
    EXPECT_NE(lastError().find("the unit refused 1 of"), std::string::npos) << lastError();
    char* summary = nullptr;
    ASSERT_EQ(vanto_delivery_report_summary(&report, &summary), VANTO_OK);
    Owned<char> owned(summary);
    EXPECT_NE(std::string(summary).find("the receipt is incomplete"), std::string::npos);
}

TEST_F(UnitTest, AWaitThatRunsOutSaysSoAndLosesNothing) {
    // A printer that is not ready holds the receipt in the queue, polled every 2 s.
    ASSERT_EQ(vanto_emulator_set_printer_state(unit.get(), VANTO_EMULATOR_PRINTER_NOT_READY),
              VANTO_OK);
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "printed later", 0, 0, 0), VANTO_OK);
    vanto_delivery_report report{};
    report.receipt_id = 77;
    EXPECT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 300, &report), VANTO_ERROR_TIMEOUT);
    EXPECT_NE(lastError().find("it may still be printed later"), std::string::npos) << lastError();
    EXPECT_EQ(report.receipt_id, 77u) << "no report came, so none is written";

    // Still queued: once the printer is ready, the next poll prints it.
    ASSERT_EQ(vanto_emulator_set_printer_state(unit.get(), VANTO_EMULATOR_PRINTER_READY), VANTO_OK);
    ASSERT_EQ(vanto_emulator_wait_for_receipts(unit.get(), 1, 60000), VANTO_OK) << lastError();
    EXPECT_NE(paper(1).find("printed later"), std::string::npos);
}

TEST_F(UnitTest, AnUnreachableUnitIsAnErrorAndAHangUpIsSurvivedOnTheCallersThread) {
    vanto_t* v = vanto.get();
    // A port nothing listens on: the connect is refused at once.
    ASSERT_EQ(vanto_set_port(v, 1), VANTO_OK);
    int64_t status = -1;
    EXPECT_EQ(vanto_cash_drawer_status(v, &status), VANTO_ERROR_UNIT);
    EXPECT_NE(lastError().find("Cash drawer status message not received"), std::string::npos)
        << lastError();
    int busy = -1;
    EXPECT_EQ(vanto_printer_busy(v, &busy), VANTO_OK);
    EXPECT_EQ(busy, 1) << "a printer that cannot be asked counts as busy";

    // A unit that accepts and closes at once: the library's read comes back empty.
    int32_t port = 0;
    ASSERT_EQ(vanto_emulator_port(unit.get(), &port), VANTO_OK);
    ASSERT_EQ(vanto_set_port(v, port), VANTO_OK);
    ASSERT_EQ(vanto_emulator_set_refuse_connections(unit.get(), 1), VANTO_OK);
    EXPECT_EQ(vanto_printer_busy(v, &busy), VANTO_ERROR_FATAL);
    EXPECT_NE(lastError().find("closed the connection instead of answering"), std::string::npos)
        << lastError();
    ASSERT_EQ(vanto_emulator_set_refuse_connections(unit.get(), 0), VANTO_OK);
    EXPECT_EQ(vanto_printer_busy(v, &busy), VANTO_OK) << "the process and the facade go on";
}

}  // namespace
