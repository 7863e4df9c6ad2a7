#pragma once

#include "vantoconnect/VantoDeliveryReport.hpp"

namespace vantoconnect {

// Hears the delivery report of a receipt submitted with Vanto::print(receipt, callback,
// listener). The report arrives once per receipt, right after the callback's
// onPrinterCompleted (on the connection's work queue) or onPrinterError (on the printer queue's
// timer thread), on the same thread. A unit that accepts a packet and never answers holds the
// connection's read, which has no time limit, so no report arrives then: applications that
// must not wait for ever keep their own watchdog. Like the printer callbacks, it must return
// quickly and must not throw.
class VantoDeliveryListener {
  public:
    virtual ~VantoDeliveryListener() = default;
    virtual void onDeliveryReport(const VantoDeliveryReport& report) = 0;
};

}  // namespace vantoconnect
