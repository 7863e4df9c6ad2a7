#pragma once

// One receipt's callbacks, forwarded from the library's threads to a C caller's function
// pointers. The library holds this object until the receipt's last callback, so the caller's
// struct need not outlive vanto_print(); only its `user` pointer must. The struct is read as far
// as its struct_size reaches: the callbacks it does not reach are absent.

#include <string>

#include "vantoconnect/VantoDeliveryListener.hpp"
#include "vantoconnect/VantoPrinterCallback.hpp"
#include "vantoconnect/vanto.h"

namespace vantoc {

class CPrintCallbacks : public vantoconnect::VantoPrinterCallback,
                        public vantoconnect::VantoDeliveryListener {
  public:
    // Throws CApiError when the struct's size was never set.
    explicit CPrintCallbacks(const vanto_print_callbacks& callbacks);

    void onPrinterStarted(const std::string& ipAddress) override;
    void onPrinterCompleted(const std::string& ipAddress) override;
    void onPrinterError(const vantoconnect::VantoError& error) override;
    void onDeliveryReport(const vantoconnect::VantoDeliveryReport& report) override;

  private:
    const vanto_print_callbacks mCallbacks;
};

}  // namespace vantoc
