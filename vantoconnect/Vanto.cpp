#include "vantoconnect/Vanto.hpp"

#include <utility>

#include "vantoconnect/PrinterQueue.hpp"
#include "vantoconnect/StubPrinterCallback.hpp"
#include "vantoconnect/VantoConfigurationController.hpp"
#include "vantoconnect/VantoError.hpp"
#include "vantoconnect/VantoLedController.hpp"
#include "vantoconnect/VantoPrinterController.hpp"
#include "vantoconnect/connection/GenericConnectionManager.hpp"

namespace vantoconnect {

Vanto::Vanto()
    : mPort(std::make_shared<GenericConnectionManager>()),
      vantoLedController(std::make_shared<VantoLedController>(mPort)),
      vantoPrinterController(std::make_shared<VantoPrinterController>(mPort)),
      vantoConfigurationController(std::make_shared<VantoConfigurationController>(mPort)),
      printerQueue(std::make_shared<PrinterQueue>(vantoPrinterController)) {}

Vanto::~Vanto() = default;

std::shared_ptr<VantoConnectionManager> Vanto::getConnectionManager() {
    return mPort;
}

std::int64_t Vanto::cashDrawerStatus() {
    return vantoConfigurationController->cashDrawerStatus();
}

bool Vanto::openCashDrawer() {
    return openCashDrawer(true);
}

bool Vanto::openCashDrawer(bool validateCashDrawerStatus) {
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
    vantoLedController->setDiagnosticLed(position, colour);
}

void Vanto::setCosmeticLedCol(std::int64_t colour) {
    vantoLedController->setCosmeticLedCol(colour);
}

bool Vanto::printerBusy() {
    try {
        return vantoPrinterController->isPrinterBusy();
    } catch (const VantoError&) {
        return true;
    }
}

void Vanto::print(std::shared_ptr<VantoReceipt> receipt,
                  std::shared_ptr<VantoPrinterCallback> callback) {
    printerQueue->addToQueue(std::move(receipt), std::move(callback));
}

std::uint64_t Vanto::print(std::shared_ptr<VantoReceipt> receipt,
                           std::shared_ptr<VantoPrinterCallback> callback,
                           std::shared_ptr<VantoDeliveryListener> listener) {
    return printerQueue->addToQueue(std::move(receipt), std::move(callback), std::move(listener));
}

void Vanto::print(std::shared_ptr<VantoReceipt> receipt) {
    print(std::move(receipt), std::make_shared<StubPrinterCallback>());
}

void Vanto::enableUSB() {
    vantoConfigurationController->enableUSB();
}

void Vanto::disableUSB() {
    vantoConfigurationController->disableUSB();
}

}  // namespace vantoconnect
