#include "Facade.hpp"

#include <utility>

#include "PrintCallbacks.hpp"
#include "ReleasedGil.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/DeviceRequestCheck.hpp"

namespace vantopy {

using vantoreceipts::DeviceRequestCheck;

Facade::Facade()
    : mVanto(std::make_unique<vantoconnect::Vanto>()),
      mManager(std::dynamic_pointer_cast<vantoconnect::GenericConnectionManager>(
          mVanto->getConnectionManager())) {}

Facade::~Facade() {
    const ReleasedGil released;
    mManager.reset();
    mVanto.reset();
}

std::string Facade::address() const {
    return mManager->getConnectionIPAddress();
}

void Facade::setAddress(const std::string& address) {
    mManager->setConnectionIPAddress(address);
}

std::int64_t Facade::port() const {
    return mManager->VantoPort.load();
}

void Facade::setPort(std::int64_t port) {
    DeviceRequestCheck::port(port);
    mManager->VantoPort = static_cast<std::int32_t>(port);
}

std::int64_t Facade::connectionStatus() {
    return mVanto->getConnectionManager()->getConnectionStatus();
}

void Facade::disconnect() {
    mVanto->getConnectionManager()->disconnect();
}

std::int64_t Facade::cashDrawerStatus() {
    return mVanto->cashDrawerStatus();
}

bool Facade::openCashDrawer(bool validate) {
    return mVanto->openCashDrawer(validate);
}

bool Facade::printerBusy() {
    return mVanto->printerBusy();
}

void Facade::setDiagnosticLed(std::int64_t position, std::int64_t colour) {
    DeviceRequestCheck::diagnosticLed(position, colour);
    mVanto->setDiagnosticLed(position, colour);
}

void Facade::setCosmeticLed(std::int64_t colour) {
    DeviceRequestCheck::cosmeticColour(colour);
    mVanto->setCosmeticLedCol(colour);
}

void Facade::enableUsb() {
    mVanto->enableUSB();
}

void Facade::disableUsb() {
    mVanto->disableUSB();
}

std::uint64_t Facade::print(const vantoreceipts::CheckedReceipt& receipt,
                            std::shared_ptr<PrintCallbacks> callbacks) {
    return mVanto->print(receipt.model(), callbacks, callbacks);
}

}  // namespace vantopy
