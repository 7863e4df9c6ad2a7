#include "receipts/CheckedFacade.hpp"

#include <utility>

#include "receipts/DeviceRequestCheck.hpp"

namespace vantoreceipts {

using vantoconnect::GenericConnectionManager;

CheckedFacade::CheckedFacade()
    : mManager(std::dynamic_pointer_cast<GenericConnectionManager>(mVanto.getConnectionManager())) {
}

std::string CheckedFacade::address() const {
    return mManager->getConnectionIPAddress();
}

void CheckedFacade::setAddress(const std::string& address) {
    mManager->setConnectionIPAddress(address);
}

std::int32_t CheckedFacade::port() const {
    return mManager->VantoPort.load();
}

void CheckedFacade::setPort(std::int64_t port) {
    DeviceRequestCheck::port(port);
    mManager->VantoPort = static_cast<std::int32_t>(port);
}

std::int64_t CheckedFacade::connectionStatus() {
    return mVanto.getConnectionManager()->getConnectionStatus();
}

void CheckedFacade::disconnect() {
    mVanto.getConnectionManager()->disconnect();
}

std::int64_t CheckedFacade::cashDrawerStatus() {
    return mVanto.cashDrawerStatus();
}

bool CheckedFacade::openCashDrawer(bool validate) {
    return mVanto.openCashDrawer(validate);
}

bool CheckedFacade::printerBusy() {
    return mVanto.printerBusy();
}

void CheckedFacade::setDiagnosticLed(std::int64_t position, std::int64_t colour) {
    DeviceRequestCheck::diagnosticLed(position, colour);
    mVanto.setDiagnosticLed(position, colour);
}

void CheckedFacade::setCosmeticLed(std::int64_t colour) {
    DeviceRequestCheck::cosmeticColour(colour);
    mVanto.setCosmeticLedCol(colour);
}

void CheckedFacade::enableUsb() {
    mVanto.enableUSB();
}

void CheckedFacade::disableUsb() {
    mVanto.disableUSB();
}

std::uint64_t CheckedFacade::print(const CheckedReceipt& receipt,
                                   std::shared_ptr<vantoconnect::VantoPrinterCallback> callback,
                                   std::shared_ptr<vantoconnect::VantoDeliveryListener> listener) {
    return mVanto.print(receipt.model(), std::move(callback), std::move(listener));
}

}  // namespace vantoreceipts
