// The C API as a C caller meets it, through vanto.h and the shared library alone: no exception
// crosses, bad input is refused with a status and a reason before it reaches a fatal edge, the
// bytes are the C++ library's own, and what it reports about the unit is what the unit saw.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/Eventually.hpp"
#include "vantoconnect/vanto.h"

// The emulated unit draws text through fontconfig and Pango, which keep their caches for the
// life of the process. The library's own copy of this list is hidden inside the shared library.
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\nleak:libpango\nleak:libharfbuzz\n";
}

namespace {

using namespace std::chrono_literals;
using vantoconnect::testing::eventually;

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
    // The cases written before the resilient profile rely on the classic one.
    virtual vanto_options facadeOptions(int32_t /*port*/) {
        vanto_options options = VANTO_OPTIONS_INIT;
        options.profile = VANTO_PROFILE_CLASSIC;
        return options;
    }

    void SetUp() override {
        vanto_emulator_t* emulator = nullptr;
        ASSERT_EQ(vanto_emulator_create("127.0.0.1", 0, nullptr, &emulator), VANTO_OK);
        unit.reset(emulator);
        ASSERT_EQ(vanto_emulator_start(emulator), VANTO_OK) << lastError();
        int32_t port = 0;
        ASSERT_EQ(vanto_emulator_port(emulator, &port), VANTO_OK);
        vanto_t* made = nullptr;
        const vanto_options options = facadeOptions(port);
        ASSERT_EQ(vanto_create_with(&options, &made), VANTO_OK) << lastError();
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

    // Declared first, destroyed last: the facade's writes have finished with the unit by then.
    Owned<vanto_emulator_t> unit;
    Owned<vanto_t> vanto;
};

TEST(CApi, NoExceptionCrossesAndEveryFailureExplainsItself) {
    vanto_receipt_t* receipt = nullptr;
    EXPECT_EQ(vanto_receipt_add_text(nullptr, "x", 0, 0, 0), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_text: receipt is NULL");
    ASSERT_EQ(vanto_receipt_create(&receipt), VANTO_OK);
    Owned<vanto_receipt_t> owned(receipt);
    EXPECT_EQ(lastError(), "") << "a success clears the last error";
    EXPECT_EQ(vanto_receipt_add_text(receipt, nullptr, 0, 0, 0), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_text: text is NULL");
    char* text = nullptr;
    EXPECT_EQ(vanto_emulator_receipt_text(nullptr, 1, &text), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_emulator_receipt_text: emulator is NULL");

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
// a reason naming the function, and changes nothing: the receipt keeps its lines, and a port in
// use is the machine's failure rather than the caller's.
TEST(CApi, RefusalsAreInvalidWithTheReasonAndChangeNothing) {
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "kept", 0, 0, 0), VANTO_OK);
    EXPECT_EQ(vanto_receipt_add_feed(receipt.get(), -1), VANTO_ERROR_INVALID);
    EXPECT_EQ(lastError(), "vanto_receipt_add_feed: line 2: lines: must lie in 0...127, not -1");
    EXPECT_EQ(vanto_receipt_set_header_feed(receipt.get(), 128), VANTO_ERROR_INVALID);
    size_t lines = 0;
    ASSERT_EQ(vanto_receipt_line_count(receipt.get(), &lines), VANTO_OK);
    EXPECT_EQ(lines, 1u);

    vanto_emulator_t* first = nullptr;
    ASSERT_EQ(vanto_emulator_create("127.0.0.1", 0, nullptr, &first), VANTO_OK);
    Owned<vanto_emulator_t> running(first);
    ASSERT_EQ(vanto_emulator_start(first), VANTO_OK);
    int32_t taken = 0;
    ASSERT_EQ(vanto_emulator_port(first, &taken), VANTO_OK);
    vanto_emulator_t* second = nullptr;
    ASSERT_EQ(vanto_emulator_create("127.0.0.1", taken, nullptr, &second), VANTO_OK);
    Owned<vanto_emulator_t> clash(second);
    EXPECT_EQ(vanto_emulator_start(second), VANTO_ERROR_IO);
    EXPECT_NE(lastError().find("vanto_emulator_start: cannot listen on"), std::string::npos)
        << lastError();
}

// The C API adds checks, never a second behaviour: a receipt built call by call composes to the
// bytes of the same receipt read from a file, so each argument lands where the file says.
TEST(CApi, ComposesWhatTheSameReceiptFileSaysAndDrawsItWithoutAUnit) {
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
    ASSERT_EQ(vanto_receipt_add_barcode(r, VANTO_BARCODE_TYPE_CODE39, "CAFE-42",
                                        VANTO_BARCODE_HRI_BOTH, 0.5),
              VANTO_OK);

    vanto_receipt_t* read = nullptr;
    ASSERT_EQ(vanto_receipt_from_json(R"({"cutType": "partial", "footerFeed": 4, "lines": [
        {"lineType": "TEXT", "text": "CORNER CAFE", "style": ["bold", "inverse"],
         "size": "wide", "position": "center"},
        {"lineType": "PRICE", "leftText": "Café crème", "rightText": "3.20",
         "rightStyle": ["bold"]},
        {"lineType": "SINGLE_CHAR", "chr": "="},
        {"lineType": "BARCODE", "type": "code39", "data": "CAFE-42", "hri": "both",
         "height": 0.5}]})",
                                      nullptr, &read),
              VANTO_OK)
        << lastError();
    Owned<vanto_receipt_t> owned(read);
    EXPECT_EQ(compose(r), compose(read));

    char* text = nullptr;
    ASSERT_EQ(vanto_receipt_preview_text(read, &text), VANTO_OK) << lastError();
    Owned<char> ownedText(text);
    EXPECT_NE(std::string(text).find("CORNER CAFE"), std::string::npos) << text;
    uint8_t* png = nullptr;
    size_t size = 0;
    ASSERT_EQ(vanto_receipt_preview_png(read, &png, &size), VANTO_OK) << lastError();
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
    // Transparent black, 48 x 48 so the image spans whole printer columns; the bands' dot bytes
    // tell black from white.
    const std::vector<uint8_t> big(48 * 48 * 4, 0);
    vanto_image_t* image = nullptr;
    EXPECT_EQ(vanto_image_from_rgba(48, 48, big.data(), big.size() - 1, 1, &image),
              VANTO_ERROR_INVALID);
    EXPECT_EQ(vanto_image_from_file("/nonexistent.png", 1, &image), VANTO_ERROR_INVALID);

    auto dark = [&](int flatten) {
        vanto_image_t* made = nullptr;
        EXPECT_EQ(vanto_image_from_rgba(48, 48, big.data(), big.size(), flatten, &made), VANTO_OK)
            << lastError();
        Owned<vanto_image_t> owned(made);
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
    int sent = -1;
    ASSERT_EQ(vanto_open_cash_drawer(v, 1, &sent), VANTO_OK) << lastError();
    EXPECT_EQ(sent, 1);
    EXPECT_TRUE(eventually([&] {
        int open = 0;
        return vanto_emulator_drawer_open(e, &open) == VANTO_OK && open == 1;
    }));

    // Sent to the library, this request would end the process.
    EXPECT_EQ(vanto_set_diagnostic_led(v, VANTO_LED_PED, VANTO_LED_GREEN), VANTO_ERROR_INVALID);
    EXPECT_NE(lastError().find("ped cannot be set to green"), std::string::npos) << lastError();
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
}

// The lines a console or a facade's log heard, from whichever thread.
struct Lines {
    std::mutex mutex;
    std::vector<std::string> lines;

    static void add(void* user, const char* line) {
        auto& self = *static_cast<Lines*>(user);
        std::lock_guard lock(self.mutex);
        self.lines.emplace_back(line);
    }
    bool has(const std::string& wanted) {
        std::lock_guard lock(mutex);
        return std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(wanted) != std::string::npos;
        });
    }
};

// What each print reports, in order and from where, with the caller's own pointer.
struct Heard {
    std::mutex mutex;
    std::vector<std::string> calls;
    std::vector<std::thread::id> threads;
    Lines console;
    vanto_delivery_report report = VANTO_DELIVERY_REPORT_INIT;
    std::atomic<bool> done{false};

    void add(std::string call) {
        std::lock_guard lock(mutex);
        calls.push_back(std::move(call));
        threads.push_back(std::this_thread::get_id());
    }
    static Heard& of(void* user) { return *static_cast<Heard*>(user); }
    static vanto_print_callbacks callbacks(Heard& heard) {
        vanto_print_callbacks c = VANTO_PRINT_CALLBACKS_INIT;
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

// A receipt delivered whole reports so on the library's threads; one the printer refused in part
// is no delivery to print_and_wait, whatever got through.
TEST_F(UnitTest, PrintsOnTheLibrarysThreadsAndCallsOnlyAWholeReceiptDelivered) {
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "PRINTED FROM C", 0, 0, 0), VANTO_OK);
    auto heard = std::make_unique<Heard>();
    const vanto_print_callbacks callbacks = Heard::callbacks(*heard);
    ASSERT_EQ(vanto_set_console(Lines::add, &heard->console), VANTO_OK);
    uint64_t id = 0;
    ASSERT_EQ(vanto_print(vanto.get(), receipt.get(), &callbacks, &id), VANTO_OK) << lastError();
    receipt.reset();  // the queue holds its own reference
    // The library holds `heard` and talks to the unit until the report: should it never come,
    // both are left alive rather than pulled from under it.
    if (!eventually([&] { return heard->done.load(); }, 60s)) {
        heard.release();
        unit.release();
        FAIL() << "no delivery report within 60 s";
    }
    ASSERT_EQ(vanto_set_console(nullptr, nullptr), VANTO_OK);
    EXPECT_TRUE(heard->console.has("Printer completed."));
    // No call comes after the report, which `done` published.
    EXPECT_EQ(heard->calls,
              (std::vector<std::string>{"started 127.0.0.1", "completed 127.0.0.1", "report"}));
    for (const auto& thread : heard->threads) {
        EXPECT_NE(thread, std::this_thread::get_id());
    }
    EXPECT_EQ(heard->report.receipt_id, id);
    EXPECT_EQ(heard->report.all_acknowledged, 1);
    // Drawing the first receipt loads the fonts, which takes seconds under the race checker.
    ASSERT_EQ(vanto_emulator_wait_for_receipts(unit.get(), 1, 60000), VANTO_OK) << lastError();
    EXPECT_NE(paper(1).find("PRINTED FROM C"), std::string::npos);
    int complete = 0;
    ASSERT_EQ(vanto_emulator_receipt_complete(unit.get(), 1, &complete), VANTO_OK);
    EXPECT_EQ(complete, 1);

    // The printer refuses every attempt at one packet: sent, but not whole.
    ASSERT_EQ(vanto_emulator_set_printer_error(unit.get(), 5), VANTO_OK);
    receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_price(receipt.get(), "Tea", 0, "1.10", 0), VANTO_OK);
    vanto_delivery_report report = VANTO_DELIVERY_REPORT_INIT;
    ASSERT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 60000, &report),
              VANTO_ERROR_NOT_DELIVERED);
    EXPECT_EQ(report.packets_refused, 1);
    EXPECT_NE(lastError().find("the unit refused 1 of"), std::string::npos) << lastError();
    char* summary = nullptr;
    ASSERT_EQ(vanto_delivery_report_summary(&report, &summary), VANTO_OK);
    Owned<char> owned(summary);
    EXPECT_NE(std::string(summary).find("the receipt is incomplete"), std::string::npos);
}

TEST_F(UnitTest, AnUnreachableUnitIsAnErrorAndAHangUpIsSurvivedOnTheCallersThread) {
    vanto_t* v = vanto.get();
    // A port nothing listens on: the connect is refused at once.
    ASSERT_EQ(vanto_set_port(v, 1), VANTO_OK);
    int64_t status = -1;
    EXPECT_EQ(vanto_cash_drawer_status(v, &status), VANTO_ERROR_UNIT);
    EXPECT_NE(lastError().find("Cash drawer status message not received"), std::string::npos)
        << lastError();

    // A unit that hangs up instead of answering: the library's read comes back empty. The
    // process and the facade go on.
    int32_t port = 0;
    ASSERT_EQ(vanto_emulator_port(unit.get(), &port), VANTO_OK);
    ASSERT_EQ(vanto_set_port(v, port), VANTO_OK);
    ASSERT_EQ(vanto_emulator_drop_next_connections(unit.get(), 1), VANTO_OK);
    int busy = -1;
    EXPECT_EQ(vanto_printer_busy(v, &busy), VANTO_ERROR_FATAL);
    EXPECT_NE(lastError().find("closed the connection instead of answering"), std::string::npos)
        << lastError();
    ASSERT_EQ(vanto_emulator_restart(unit.get(), 0), VANTO_OK) << lastError();
    EXPECT_TRUE(eventually([&] { return vanto_printer_busy(v, &busy) == VANTO_OK && busy == 0; }));
}

// ---------------------------------------------------------------------------------------------
// The resilient profile, what vanto_create() makes: whatever the unit does is a status, never the
// end of the process; waiting receipts can be withdrawn; lines go to the caller's log alone.

class ResilientUnitTest : public UnitTest {
  protected:
    vanto_options facadeOptions(int32_t port) override {
        vanto_options options = VANTO_OPTIONS_INIT;
        options.address = "127.0.0.1";
        options.port = port;
        options.connect_timeout_ms = 500;
        options.read_timeout_ms = 300;
        options.wait_limit_ms = 1000;
        options.log = Lines::add;
        options.log_user = &lines;
        return options;
    }
    // The base's facade would outlive the lines it writes to.
    void TearDown() override { vanto.reset(); }

    Lines lines;
};

// A unit that stops answering gives the call a status that says so, and once it answers again
// the next call goes through on the same facade.
TEST_F(ResilientUnitTest, AMisbehavingUnitGivesAStatusAndTheNextCallGoesOn) {
    vanto_t* v = vanto.get();
    ASSERT_EQ(vanto_emulator_set_reply_mode(unit.get(), VANTO_EMULATOR_REPLY_SILENT), VANTO_OK);
    int64_t drawer = -1;
    EXPECT_EQ(vanto_cash_drawer_status(v, &drawer), VANTO_ERROR_CONNECTION_LOST) << lastError();
    EXPECT_TRUE(lines.has("no answer from 127.0.0.1:")) << "a blocking call's lines too";

    ASSERT_EQ(vanto_emulator_set_reply_mode(unit.get(), VANTO_EMULATOR_REPLY_NORMAL), VANTO_OK);
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "x", 0, 0, 0), VANTO_OK);
    EXPECT_EQ(vanto_print_and_wait(v, receipt.get(), 60000, nullptr), VANTO_OK) << lastError();
    EXPECT_TRUE(lines.has("Printer completed."));
}

// A printer that is not ready holds every receipt in the queue: a wait that runs out loses
// nothing, and what waits can be withdrawn.
TEST_F(ResilientUnitTest, WaitingReceiptsCanBeCancelledAndHearSoBeforeTheCallReturns) {
    vanto_t* v = vanto.get();
    ASSERT_EQ(vanto_emulator_set_printer_state(unit.get(), VANTO_EMULATOR_PRINTER_NOT_READY),
              VANTO_OK);
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "never printed", 0, 0, 0), VANTO_OK);
    Heard second;
    uint64_t secondId = 0;
    const vanto_print_callbacks secondCalls = Heard::callbacks(second);
    ASSERT_EQ(vanto_print(v, receipt.get(), nullptr, nullptr), VANTO_OK) << lastError();
    ASSERT_EQ(vanto_print(v, receipt.get(), &secondCalls, &secondId), VANTO_OK) << lastError();
    vanto_delivery_report report = VANTO_DELIVERY_REPORT_INIT;
    report.receipt_id = 77;
    EXPECT_EQ(vanto_print_and_wait(v, receipt.get(), 1, &report), VANTO_ERROR_TIMEOUT);
    EXPECT_NE(lastError().find("it may still be printed later"), std::string::npos) << lastError();
    EXPECT_EQ(report.receipt_id, 77u) << "no report came, so none is written";
    size_t waiting = 0;
    ASSERT_EQ(vanto_waiting_receipts(v, &waiting), VANTO_OK);
    EXPECT_EQ(waiting, 3u);

    int cancelled = -1;
    ASSERT_EQ(vanto_cancel(v, secondId, &cancelled), VANTO_OK);
    EXPECT_EQ(cancelled, 1);
    EXPECT_EQ(second.calls, (std::vector<std::string>{
                                "error VANTO_ERROR_CANCELLED CANCELLED(message: \"cancelled "
                                "before it was sent\")",
                                "report"}));
    EXPECT_EQ(second.threads, std::vector<std::thread::id>(2, std::this_thread::get_id()));

    // A receipt someone waits for, withdrawn from another thread.
    vanto_status waited = VANTO_OK;
    std::thread waiter([&] { waited = vanto_print_and_wait(v, receipt.get(), 30000, &report); });
    EXPECT_TRUE(eventually(
        [&] { return vanto_waiting_receipts(v, &waiting) == VANTO_OK && waiting == 3; }));
    ASSERT_EQ(vanto_cancel(v, secondId + 2, &cancelled), VANTO_OK);
    waiter.join();
    EXPECT_EQ(waited, VANTO_ERROR_CANCELLED);
    EXPECT_EQ(report.cancelled, 1);
    int64_t printed = -1;
    ASSERT_EQ(vanto_emulator_receipt_count(unit.get(), &printed), VANTO_OK);
    EXPECT_EQ(printed, 0);
}

// ---------------------------------------------------------------------------------------------
// The structs' size field: a caller built against an older vanto.h passes smaller structs.

// The library reads and writes only what an older caller's structs hold (past their size lies
// garbage that would be refused, or crash, if it were touched), and tells a newer caller how far
// it filled a report. A struct nobody initialised, or options that cannot be meant, are refused
// before anything is made or queued.
TEST_F(ResilientUnitTest, StructsAreUsedAsFarAsTheirSizeReachesAndUninitialisedOnesRefused) {
    vanto_options older;
    std::memset(&older, 0xAB, sizeof older);
    older.struct_size = offsetof(vanto_options, address);
    older.profile = VANTO_PROFILE_CLASSIC;
    older.port = 4242;
    vanto_t* made = nullptr;
    ASSERT_EQ(vanto_create_with(&older, &made), VANTO_OK) << lastError();
    Owned<vanto_t> classic(made);
    int profile = -1;
    int32_t port = 0;
    ASSERT_EQ(vanto_profile(made, &profile), VANTO_OK);
    ASSERT_EQ(vanto_get_port(made, &port), VANTO_OK);
    EXPECT_EQ(profile, VANTO_PROFILE_CLASSIC);
    EXPECT_EQ(port, 4242);

    // Receipts given up for a printer in error: reports without drawing a receipt, which is slow
    // under the race checker.
    ASSERT_EQ(vanto_emulator_set_printer_state(unit.get(), VANTO_EMULATOR_PRINTER_ERROR), VANTO_OK);
    auto receipt = newReceipt();
    ASSERT_EQ(vanto_receipt_add_text(receipt.get(), "x", 0, 0, 0), VANTO_OK);
    Heard heard;
    vanto_print_callbacks callbacks = Heard::callbacks(heard);
    std::memset(&callbacks.on_report, 0xAB, sizeof callbacks.on_report);
    callbacks.struct_size = offsetof(vanto_print_callbacks, on_report);
    ASSERT_EQ(vanto_print(vanto.get(), receipt.get(), &callbacks, nullptr), VANTO_OK);

    // The queue goes in order: this report comes after the receipt above would have had its own.
    vanto_delivery_report report;
    std::memset(&report, 0x5A, sizeof report);
    report.struct_size = offsetof(vanto_delivery_report, packets_unanswered);
    ASSERT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 30000, &report),
              VANTO_ERROR_PRINTER_NOT_RESPONDING)
        << lastError();
    ASSERT_EQ(heard.calls.size(), 1u);
    EXPECT_EQ(heard.calls[0].rfind("error VANTO_ERROR_PRINTER_NOT_RESPONDING", 0), 0u);
    EXPECT_EQ(report.receipt_id, 2u);
    EXPECT_EQ(report.packets_unanswered, 0x5A5A5A5A5A5A5A5A);
    EXPECT_EQ(report.struct_size, offsetof(vanto_delivery_report, packets_unanswered));

    struct {
        vanto_delivery_report report = VANTO_DELIVERY_REPORT_INIT;
        int64_t later = 7;
    } newer;
    newer.report.struct_size = sizeof newer;
    newer.report.cancelled = 9;
    ASSERT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 30000, &newer.report),
              VANTO_ERROR_PRINTER_NOT_RESPONDING);
    EXPECT_EQ(newer.report.struct_size, sizeof(vanto_delivery_report)) << "filled this far";
    EXPECT_EQ(newer.report.cancelled, 0);
    EXPECT_EQ(newer.later, 7);

    const auto with = [](auto change) {
        vanto_options options = VANTO_OPTIONS_INIT;
        change(options);
        return options;
    };
    const struct {
        vanto_options options;
        const char* names;
    } refused[] = {
        {with([](auto& o) { o.struct_size = 0; }),
         "options->struct_size is 0: start the struct from its _INIT macro"},
        {with([](auto& o) { o.struct_size = 5000; }), "options->struct_size is 5000"},
        {with([](auto& o) { o.profile = 7; }), "options->profile must be"},
        {with([](auto& o) { o.read_timeout_ms = 0; }), "options->read_timeout_ms must lie in"},
        {with([](auto& o) {
             o.profile = VANTO_PROFILE_CLASSIC;
             o.log = Lines::add;
         }),
         "options->log is for the resilient profile"},
    };
    for (const auto& c : refused) {
        made = nullptr;
        EXPECT_EQ(vanto_create_with(&c.options, &made), VANTO_ERROR_INVALID);
        EXPECT_NE(lastError().find(c.names), std::string::npos) << lastError();
        EXPECT_EQ(made, nullptr);
    }

    // A receipt that could not report is not queued: the printer holds anything queued.
    ASSERT_EQ(vanto_emulator_set_printer_state(unit.get(), VANTO_EMULATOR_PRINTER_NOT_READY),
              VANTO_OK);
    callbacks = VANTO_PRINT_CALLBACKS_INIT;
    callbacks.struct_size = 0;
    EXPECT_EQ(vanto_print(vanto.get(), receipt.get(), &callbacks, nullptr), VANTO_ERROR_INVALID);
    EXPECT_NE(lastError().find("callbacks->struct_size is 0"), std::string::npos) << lastError();
    report = VANTO_DELIVERY_REPORT_INIT;
    report.struct_size = 3;
    EXPECT_EQ(vanto_print_and_wait(vanto.get(), receipt.get(), 1000, &report), VANTO_ERROR_INVALID);
    size_t waiting = 9;
    ASSERT_EQ(vanto_waiting_receipts(vanto.get(), &waiting), VANTO_OK);
    EXPECT_EQ(waiting, 0u);
    char* summary = nullptr;
    EXPECT_EQ(vanto_delivery_report_summary(&report, &summary), VANTO_ERROR_INVALID);

    ASSERT_EQ(vanto_create(&made), VANTO_OK);
    Owned<vanto_t> byDefault(made);
    ASSERT_EQ(vanto_profile(made, &profile), VANTO_OK);
    EXPECT_EQ(profile, VANTO_PROFILE_RESILIENT);
}

}  // namespace
