#include "cli/DemoCommand.hpp"

#include <chrono>
#include <cmath>
#include <functional>
#include <future>
#include <iostream>
#include <thread>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/UnitSession.hpp"
#include "emulator/EmulatedUnit.hpp"
#include "receipts/Names.hpp"
#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"

namespace vantocli {

using namespace vantoconnect;
using namespace vantoreceipts;
using vantoemu::EmulatedUnit;
using vantoemu::UnitSnapshot;

namespace {

constexpr auto STATE_TIMEOUT = std::chrono::seconds(5);

// Write requests run on the library's queue; the unit's state follows a moment later.
bool waitFor(const EmulatedUnit& unit, const std::function<bool(const UnitSnapshot&)>& done) {
    const auto deadline = std::chrono::steady_clock::now() + STATE_TIMEOUT;
    while (!done(unit.snapshot())) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

void step(const std::string& what, bool shown, const std::string& unitShows) {
    if (!shown) {
        throw CliError(CliError::FAILED, what + ": the unit did not show it within 5 s");
    }
    std::cout << what << ": unit shows " << unitShows << std::endl;
}

// A small logo drawn in code, so the demo needs no files: a ring around a bold V over a
// dashed rule.
Image demoLogo() {
    constexpr int width = 360;
    constexpr int height = 160;
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(width * height * 4), 255);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const double cx = x - width / 2.0;
            const double cy = y - 70.0;
            const double r = std::sqrt(cx * cx + cy * cy);
            const bool ring = r > 58 && r < 68;
            // The two strokes of the V, from the top corners down to the bottom centre.
            const double t = (y - 20.0) / 90.0;
            const bool inV = t >= 0 && t <= 1 &&
                             (std::abs(cx + 40 * (1 - t)) < 9 || std::abs(cx - 40 * (1 - t)) < 9);
            const bool band = y > 148 && (x / 12) % 2 == 0;
            if (ring || inV || band) {
                auto* px = &rgba[static_cast<std::size_t>((y * width + x) * 4)];
                px[0] = px[1] = px[2] = 20;
            }
        }
    }
    return Image::fromRGBA(width, height, rgba);
}

// The receipt counts as printed only when its delivery report says every packet was
// acknowledged; the library's "completed" says only that its queue got through the job.
class DemoCallback : public VantoPrinterCallback, public VantoDeliveryListener {
  public:
    void onPrinterStarted(const std::string& ipAddress) override {
        std::cout << "print: started on " << ipAddress << std::endl;
    }
    void onPrinterCompleted(const std::string& ipAddress) override {
        std::cout << "print: sending finished on " << ipAddress << std::endl;
    }
    void onPrinterError(const VantoError& error) override {
        std::cout << "print: error " << error.description() << std::endl;
    }
    void onDeliveryReport(const VantoDeliveryReport& report) override {
        std::cout << "print: delivery report: " << report.summary() << std::endl;
        mDone.set_value(report.allAcknowledged);
    }
    std::future<bool> done() { return mDone.get_future(); }

  private:
    std::promise<bool> mDone;
};

}  // namespace

std::shared_ptr<VantoReceipt> DemoCommand::demoReceipt() {
    auto receipt = std::make_shared<VantoReceipt>();
    auto text = [&](std::string s, std::int64_t style, std::int64_t size, std::int64_t position) {
        receipt->addLine(
            std::make_shared<VantoReceiptTextLine>(std::move(s), style, size, position));
    };
    auto price = [&](std::string left, std::string right, std::int64_t style) {
        receipt->addLine(std::make_shared<VantoReceiptPriceLine>(std::move(left), style,
                                                                 std::move(right), style));
    };
    auto barcode = [&](std::int64_t type, std::string data, std::int64_t hri) {
        auto line = std::make_shared<VantoReceiptBarcodeLine>(type, std::move(data));
        line->setHri(hri);
        receipt->addLine(line);
        receipt->addLine(std::make_shared<VantoReceiptFeedLine>(1));
    };

    receipt->addLine(std::make_shared<VantoReceiptImageLine>(demoLogo()));
    text("VANTO CAFE", Vanto::TEXT_STYLE_BOLD, Vanto::TEXT_SIZE_WIDE, Vanto::TEXT_POSITION_CENTER);
    text("12 Harbour Street, Portside", Vanto::TEXT_STYLE_NONE, Vanto::TEXT_SIZE_NORMAL,
         Vanto::TEXT_POSITION_CENTER);
    receipt->addLine(std::make_shared<VantoReceiptSingleCharLine>("="));
    price("Flat white", "3.20", Vanto::TEXT_STYLE_NONE);
    price("Croissant au beurre", "2.80", Vanto::TEXT_STYLE_NONE);
    price("Creme brulee", "5.50", Vanto::TEXT_STYLE_NONE);
    receipt->addLine(std::make_shared<VantoReceiptSingleCharLine>("-"));
    price("TOTAL", "11.50", Vanto::TEXT_STYLE_BOLD);
    receipt->addLine(std::make_shared<VantoReceiptFeedLine>(1));
    text("Paid by card", Vanto::TEXT_STYLE_ITALIC, Vanto::TEXT_SIZE_NORMAL,
         Vanto::TEXT_POSITION_LEFT);
    text("Loyalty points: 42", Vanto::TEXT_STYLE_UNDERLINED, Vanto::TEXT_SIZE_NORMAL,
         Vanto::TEXT_POSITION_RIGHT);
    text(" THANK YOU ", Vanto::TEXT_STYLE_INVERSE, Vanto::TEXT_SIZE_WIDE,
         Vanto::TEXT_POSITION_CENTER);
    receipt->addLine(std::make_shared<VantoReceiptFeedLine>(1));
    barcode(Vanto::BARCODE_TYPE_UPCA, "012345678905", Vanto::BARCODE_HRI_BELOW);
    barcode(Vanto::BARCODE_TYPE_CODE39, "VANTO-42", Vanto::BARCODE_HRI_BOTH);
    barcode(Vanto::BARCODE_TYPE_PDF417, "receipt 42, table 7", Vanto::BARCODE_HRI_NONE);
    receipt->setFooterFeed(4);
    receipt->setCutType(Vanto::CUT_TYPE_PARTIAL);
    return receipt;
}

void DemoCommand::run(const std::filesystem::path& outDir, Profile profile) {
    vantoemu::UnitOptions options;
    options.bind = "127.0.0.1";
    options.port = 0;
    options.outDir = (outDir / "unit").string();
    options.drawerCloseAfter = std::chrono::milliseconds(0);  // closed by the demo itself
    EmulatedUnit unit(options);
    unit.start();
    std::cout << "emulated unit listening on 127.0.0.1:" << unit.port() << std::endl;

    LibraryConsole console(false);
    // The demo also waits on its unit's own work (drawing the receipt takes seconds in a debug
    // build), which no library line marks: a fixed bound, not the resilient backstop.
    UnitSession session(SessionOptions{.ip = "127.0.0.1",
                                       .port = unit.port(),
                                       .profile = profile,
                                       .timeoutSeconds = SessionOptions::DEFAULT_TIMEOUT});
    std::cout << "library profile: " << (session.classic() ? "classic" : "resilient") << std::endl;
    Vanto& vanto = session.vanto();

    const std::int64_t colours[] = {VantoColorCodes::LED_GREEN, VantoColorCodes::LED_AMBER,
                                    VantoColorCodes::LED_RED};
    int next = 0;
    for (const auto& entry : Names::diagnosticPositions()) {
        if (entry.value == VantoDiagnosticLEDS::LED_PED) {
            std::cout << "diagnostic LED ped: skipped (its mask byte 0xC0 cannot be carried)\n";
            continue;
        }
        const auto colour = colours[next++ % 3];
        vanto.setDiagnosticLed(entry.value, colour);
        step("diagnostic LED " + std::string(entry.word) + " -> " +
                 Names::nameOf(Names::ledColours(), colour),
             waitFor(unit,
                     [&](const UnitSnapshot& s) {
                         return s.diagnosticLed(static_cast<int>(entry.value)) == colour;
                     }),
             Names::nameOf(Names::ledColours(), colour));
    }
    for (const auto colour : {VantoColorCodes::COSMETIC_CYAN, VantoColorCodes::COSMETIC_MAGENTA}) {
        vanto.setCosmeticLedCol(colour);
        step("cosmetic light -> " + Names::nameOf(Names::cosmeticColours(), colour),
             waitFor(unit, [&](const UnitSnapshot& s) { return s.cosmeticColour == colour; }),
             Names::nameOf(Names::cosmeticColours(), colour));
    }
    vanto.enableUSB();
    step("USB power on", waitFor(unit, [](const UnitSnapshot& s) { return s.usbPower; }), "on");
    vanto.disableUSB();
    step("USB power off", waitFor(unit, [](const UnitSnapshot& s) { return !s.usbPower; }), "off");

    auto drawer = [&] {
        return vanto.cashDrawerStatus() == Vanto::CASH_DRAWER_STATUS_CLOSED ? "closed" : "open";
    };
    std::cout << "cash drawer status: " << drawer() << std::endl;
    const bool sent = vanto.openCashDrawer();
    step(std::string("open cash drawer (validated): ") + (sent ? "pulse sent" : "nothing sent"),
         waitFor(unit, [](const UnitSnapshot& s) { return s.drawerOpen; }), "the drawer open");
    std::cout << "cash drawer status: " << drawer() << std::endl;
    std::cout << "open cash drawer (validated) again: "
              << (vanto.openCashDrawer() ? "pulse sent" : "already open, nothing sent")
              << std::endl;
    unit.closeDrawer();
    std::cout << "cash drawer closed by hand; status: " << drawer() << std::endl;

    std::cout << "printer status: " << (vanto.printerBusy() ? "busy" : "ready") << std::endl;

    auto callback = std::make_shared<DemoCallback>();
    auto done = callback->done();
    std::cout << "print: a receipt with text, prices, separators, feeds, an image and three "
                 "barcodes"
              << std::endl;
    vanto.print(demoReceipt(), callback, callback);
    if (done.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        throw CliError(CliError::UNREACHABLE,
                       "no delivery report for the demo receipt within 30 s");
    }
    if (!done.get()) {
        throw CliError(CliError::FAILED,
                       "the demo receipt was not fully delivered; it is not called printed");
    }
    if (!unit.waitForReceipts(1, std::chrono::seconds(30))) {
        throw CliError(CliError::FAILED, "the unit did not render the demo receipt");
    }
    const auto printed = unit.receipts().back();
    const auto png = outDir / "receipt.png";
    std::filesystem::copy_file(printed.pngPath, png,
                               std::filesystem::copy_options::overwrite_existing);
    std::cout << "unit rendered the receipt: " << printed.rendered.width << " x "
              << printed.rendered.height << " dots, " << printed.packets << " packets -> "
              << png.string() << "\n\n"
              << printed.rendered.text << std::endl;
    session.drain();
    unit.stop();
}

}  // namespace vantocli
