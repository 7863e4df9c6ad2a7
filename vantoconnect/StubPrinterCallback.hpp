#pragma once

#include <string>

#include "vantoconnect/VantoPrinterCallback.hpp"

namespace vantoconnect {

// The silent callback that stands in when the application gives none.
class StubPrinterCallback : public VantoPrinterCallback {
  public:
    StubPrinterCallback() = default;

    void onPrinterStarted(const std::string& ipAddress) override;
    void onPrinterCompleted(const std::string& ipAddress) override;
    void onPrinterError(const VantoError& error) override;
};

}  // namespace vantoconnect
