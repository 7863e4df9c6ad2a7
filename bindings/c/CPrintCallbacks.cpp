#include "CPrintCallbacks.hpp"

#include "CallGuard.hpp"
#include "DeliveryReports.hpp"
#include "StructSize.hpp"
#include "vantoconnect/VantoError.hpp"

namespace vantoc {

namespace {

vanto_print_callbacks held(const vanto_print_callbacks& given) {
    using C = vanto_print_callbacks;
    vanto_print_callbacks callbacks = VANTO_PRINT_CALLBACKS_INIT;
    copyHeld(checkedSize(given.struct_size, "callbacks"), given, callbacks, &C::user,
             &C::on_started, &C::on_completed, &C::on_error, &C::on_report);
    return callbacks;
}

}  // namespace

CPrintCallbacks::CPrintCallbacks(const vanto_print_callbacks& callbacks)
    : mCallbacks(held(callbacks)) {}

void CPrintCallbacks::onPrinterStarted(const std::string& ipAddress) {
    if (mCallbacks.on_started != nullptr) {
        mCallbacks.on_started(mCallbacks.user, ipAddress.c_str());
    }
}

void CPrintCallbacks::onPrinterCompleted(const std::string& ipAddress) {
    if (mCallbacks.on_completed != nullptr) {
        mCallbacks.on_completed(mCallbacks.user, ipAddress.c_str());
    }
}

void CPrintCallbacks::onPrinterError(const vantoconnect::VantoError& error) {
    if (mCallbacks.on_error != nullptr) {
        mCallbacks.on_error(mCallbacks.user, statusOf(error), error.description().c_str());
    }
}

void CPrintCallbacks::onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) {
    if (mCallbacks.on_report != nullptr) {
        const vanto_delivery_report c = toC(report);
        mCallbacks.on_report(mCallbacks.user, &c);
    }
}

}  // namespace vantoc
