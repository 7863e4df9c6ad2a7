#include "vantoconnect/Vanto.hpp"

#include <utility>

#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/StubPrinterCallback.hpp"
#include "vantoconnect/VantoConfigurationController.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoLedController.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"
#include "vantoconnect/resilient/LogSink.hpp"
#include "vantoconnect/resilient/ResilientConnectionManager.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"
#include "vantoconnect/resilient/ResilientPrinterQueue.hpp"
#include "vantoconnect/resilient/StopSignal.hpp"
#include "vantoconnect/support/Console.hpp"

namespace vantoconnect {
namespace {

// Lines written while a facade call runs on the caller's thread go where the facade's go.
ConsoleRedirect linesOf(const std::shared_ptr<const LogSink>& log) {
    return ConsoleRedirect(log ? &log->consoleSink() : nullptr);
}

}  // namespace

Vanto::Vanto()
    : mPort(std::make_shared<GenericConnectionManager>()),
      vantoLedController(std::make_shared<VantoLedController>(mPort)),
      vantoPrinterController(std::make_shared<VantoPrinterController>(mPort)),
      vantoConfigurationController(std::make_shared<VantoConfigurationController>(mPort)),
      printerQueue(std::make_shared<PrinterQueue>(vantoPrinterController)) {}

// The resilient profile: its own connection manager and printer queue, one stop signal that
// ends both at once, and the same controllers, which build the same messages for either.
Vanto::Vanto(const ResilientOptions& given) : mLog(std::make_shared<LogSink>(given.log)) {
    const ResilientOptions options = given.bounded();
    auto stop = std::make_shared<StopSignal>();
    auto port = std::make_shared<ResilientConnectionManager>(options, mLog, stop);
    mPort = port;
    vantoLedController = std::make_shared<VantoLedController>(mPort);
    vantoPrinterController = std::make_shared<VantoPrinterController>(mPort);
    vantoConfigurationController = std::make_shared<VantoConfigurationController>(mPort);
    printerQueue = std::make_shared<ResilientPrinterQueue>(port, options, mLog, std::move(stop));
}

Vanto::~Vanto() = default;

std::shared_ptr<VantoConnectionManager> Vanto::getConnectionManager() {
    return mPort;
}

std::int64_t Vanto::cashDrawerStatus() {
    const auto lines = linesOf(mLog);
    return vantoConfigurationController->cashDrawerStatus();
}

bool Vanto::openCashDrawer() {
    return openCashDrawer(true);
}

bool Vanto::openCashDrawer(bool validateCashDrawerStatus) {
    const auto lines = linesOf(mLog);
    if (!validateCashDrawerStatus) {
        vantoConfigurationController->openCashDrawer();
        return true;
    }
    if (vantoConfigurationController->cashDrawerStatus() == CASH_DRAWER_STATUS_CLOSED) {
        vantoConfigurationController->openCashDrawer();
        return true;
    }
    return false;
}

void Vanto::setDiagnosticLed(std::int64_t position, std::int64_t colour) {
    const auto lines = linesOf(mLog);
    vantoLedController->setDiagnosticLed(position, colour);
}

void Vanto::setCosmeticLedCol(std::int64_t colour) {
    const auto lines = linesOf(mLog);
    vantoLedController->setCosmeticLedCol(colour);
}

bool Vanto::printerBusy() {
    const auto lines = linesOf(mLog);
    try {
        return vantoPrinterController->isPrinterBusy();
    } catch (const VantoError&) {
        return true;
    }
}

void Vanto::print(std::shared_ptr<VantoReceipt> receipt,
                  std::shared_ptr<VantoPrinterCallback> callback) {
    print(std::move(receipt), std::move(callback), nullptr);
}

std::uint64_t Vanto::print(std::shared_ptr<VantoReceipt> receipt,
                           std::shared_ptr<VantoPrinterCallback> callback,
                           std::shared_ptr<VantoDeliveryListener> listener) {
    const auto lines = linesOf(mLog);
    return printerQueue->addToQueue(std::move(receipt), std::move(callback), std::move(listener));
}

void Vanto::print(std::shared_ptr<VantoReceipt> receipt) {
    print(std::move(receipt), std::make_shared<StubPrinterCallback>());
}

void Vanto::enableUSB() {
    const auto lines = linesOf(mLog);
    vantoConfigurationController->enableUSB();
}

void Vanto::disableUSB() {
    const auto lines = linesOf(mLog);
    vantoConfigurationController->disableUSB();
}

bool Vanto::cancel(std::uint64_t receiptId) {
    const auto lines = linesOf(mLog);
    return printerQueue->cancel(receiptId);
}

std::size_t Vanto::waitingReceipts() {
    return printerQueue->waitingReceipts();
}

}  // namespace vantoconnect
