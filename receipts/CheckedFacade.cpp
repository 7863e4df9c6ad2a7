#include "receipts/CheckedFacade.hpp"

#include <utility>

#include "receipts/DeviceRequestCheck.hpp"
#include "vantoconnect/resilient/ResilientOptions.hpp"

namespace vantoreceipts {

using vantoconnect::AbstractConnectionManager;

namespace {

// The one place a binding's choice of profile becomes a facade.
std::unique_ptr<vantoconnect::Vanto> facadeFor(const FacadeOptions& options) {
    DeviceRequestCheck::port(options.port);
    if (options.profile == Profile::Classic) {
        return std::make_unique<vantoconnect::Vanto>();
    }
    return std::make_unique<vantoconnect::Vanto>(
        vantoconnect::ResilientOptions{.address = options.address,
                                       .port = options.port,
                                       .connectTimeout = options.connectTimeout,
                                       .readTimeout = options.readTimeout,
                                       .waitLimit = options.waitLimit,
                                       .log = options.log});
}

}  // namespace

CheckedFacade::CheckedFacade(const FacadeOptions& options)
    : mProfile(options.profile),
      mVanto(facadeFor(options)),
      mManager(
          std::dynamic_pointer_cast<AbstractConnectionManager>(mVanto->getConnectionManager())) {
    // The classic facade takes its address and port afterwards, as its applications give them.
    if (!options.address.empty()) {
        mManager->setConnectionIPAddress(options.address);
    }
    mManager->setConnectionPort(options.port);
}

std::string CheckedFacade::address() const {
    return mManager->getConnectionIPAddress();
}

void CheckedFacade::setAddress(const std::string& address) {
    mManager->setConnectionIPAddress(address);
}

std::int32_t CheckedFacade::port() const {
    return mManager->getConnectionPort();
}

void CheckedFacade::setPort(std::int64_t port) {
    DeviceRequestCheck::port(port);
    mManager->setConnectionPort(static_cast<std::int32_t>(port));
}

std::int64_t CheckedFacade::connectionStatus() {
    return mVanto->getConnectionManager()->getConnectionStatus();
}

void CheckedFacade::disconnect() {
    mVanto->getConnectionManager()->disconnect();
}

std::int64_t CheckedFacade::cashDrawerStatus() {
    return mVanto->cashDrawerStatus();
}

bool CheckedFacade::openCashDrawer(bool validate) {
    return mVanto->openCashDrawer(validate);
}

bool CheckedFacade::printerBusy() {
    return mVanto->printerBusy();
}

void CheckedFacade::setDiagnosticLed(std::int64_t position, std::int64_t colour) {
    DeviceRequestCheck::diagnosticLed(position, colour);
    mVanto->setDiagnosticLed(position, colour);
}

void CheckedFacade::setCosmeticLed(std::int64_t colour) {
    DeviceRequestCheck::cosmeticColour(colour);
    mVanto->setCosmeticLedCol(colour);
}

void CheckedFacade::enableUsb() {
    mVanto->enableUSB();
}

void CheckedFacade::disableUsb() {
    mVanto->disableUSB();
}

std::uint64_t CheckedFacade::print(const CheckedReceipt& receipt,
                                   std::shared_ptr<vantoconnect::VantoPrinterCallback> callback,
                                   std::shared_ptr<vantoconnect::VantoDeliveryListener> listener) {
    return mVanto->print(receipt.model(), std::move(callback), std::move(listener));
}

bool CheckedFacade::cancel(std::uint64_t receiptId) {
    return mVanto->cancel(receiptId);
}

std::size_t CheckedFacade::waitingReceipts() {
    return mVanto->waitingReceipts();
}

}  // namespace vantoreceipts
