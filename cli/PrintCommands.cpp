#include "cli/PrintCommands.hpp"

#include <chrono>
#include <future>
#include <iostream>
#include <mutex>

#include "cli/CliError.hpp"
#include "cli/LibraryConsole.hpp"
#include "cli/ReceiptFile.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantocli {

using namespace vantoconnect;

namespace {

// Prints each step of the job as it happens and hands the outcome to the waiting command.
class ProgressCallback : public VantoPrinterCallback {
  public:
    void onPrinterStarted(const std::string& ipAddress) override { say("started on " + ipAddress); }
    void onPrinterCompleted(const std::string& ipAddress) override {
        say("completed on " + ipAddress);
        mOutcome.set_value(std::nullopt);
    }
    void onPrinterError(const VantoError& error) override { mOutcome.set_value(error); }

    // The library's own lines, turned into progress.
    void onLibraryLine(std::string_view line) {
        if (line == "Adding a new receipt...") {
            say("queued");
        } else if (line == "Printer says: ACKNOWLEDGED") {
            say("packet " + std::to_string(++mAcknowledged) + " acknowledged");
        } else if (line == "Printer says: IS NOT OK!") {
            say("the printer reported an error; resending the packet");
        } else if (line.rfind("MESSAGE NOT ACKNOWLEDGED. ", 0) == 0) {
            say("unexpected answer from the unit; the library waits 200 s before resending");
        } else if (line.rfind("Rescheduling printing of remaining receipts: ", 0) == 0) {
            say("printer busy; asking again in 2 s");
        }
    }

    std::future<std::optional<VantoError>> outcome() { return mOutcome.get_future(); }

  private:
    void say(const std::string& text) {
        std::lock_guard<std::mutex> lock(mMutex);
        std::cout << "print: " << text << std::endl;
    }

    std::mutex mMutex;
    int mAcknowledged = 0;
    std::promise<std::optional<VantoError>> mOutcome;
};

}  // namespace

void PrintCommands::print(const UnitAddress& unit, const std::filesystem::path& receiptFile,
                          bool verbose, double timeScale) {
    auto receipt = ReceiptFile::load(receiptFile);
    PrinterQueue::setTimerIntervalScale(timeScale);
    auto callback = std::make_shared<ProgressCallback>();
    auto outcome = callback->outcome();
    LibraryConsole console(verbose,
                           [callback](std::string_view line) { callback->onLibraryLine(line); });
    UnitSession session(unit);
    session.vanto().print(receipt, callback);
    if (outcome.wait_for(std::chrono::seconds(OUTCOME_TIMEOUT)) != std::future_status::ready) {
        throw CliError(CliError::FAILED, "no outcome from the printer queue within " +
                                             std::to_string(OUTCOME_TIMEOUT) + " s");
    }
    if (const auto error = outcome.get()) {
        throw CliError(CliError::FAILED,
                       error->kind() == VantoError::Kind::PRINTER_NOT_RESPONDING
                           ? "the printer did not become ready; the receipt was dropped "
                             "(PRINTER_NOT_RESPONDING)"
                           : error->description());
    }
}

void PrintCommands::preview(const std::filesystem::path& receiptFile,
                            const std::filesystem::path& pngFile, bool showText) {
    auto receipt = ReceiptFile::load(receiptFile);
    std::vector<std::uint8_t> bytes;
    {
        LibraryConsole console(false);
        for (const auto& group : ReceiptComposer().compose(*receipt)) {
            bytes.insert(bytes.end(), group.begin(), group.end());
        }
    }
    vantoemu::RenderedReceipt rendered;
    try {
        rendered = vantoemu::ReceiptRenderer::renderBytesToFile(bytes, pngFile.string());
    } catch (const std::runtime_error& e) {
        throw CliError(CliError::BAD_INPUT, pngFile.string() + ": " + e.what());
    }
    std::cout << "wrote " << pngFile.string() << " (" << rendered.width << " x " << rendered.height
              << " dots)\n";
    if (showText) {
        std::cout << rendered.text;
    }
}

}  // namespace vantocli
