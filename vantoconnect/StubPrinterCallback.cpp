#include "vantoconnect/StubPrinterCallback.hpp"

namespace vantoconnect {

void StubPrinterCallback::onPrinterStarted(const std::string& /*ipAddress*/) {}

void StubPrinterCallback::onPrinterCompleted(const std::string& /*ipAddress*/) {}

void StubPrinterCallback::onPrinterError(const VantoError& /*error*/) {}

}  // namespace vantoconnect
