#pragma once

// Where the package meets the choice of profile, in one place. A facade is made from the
// settings of `new Vanto({...})`; the profile in effect, cancelling a waiting receipt and a
// report's word that it was cancelled are read here too.
//
// Today the library's checked facade has one form, the classic one (the C++ Vanto(), hazards
// included), so every Vanto gets it whatever it asked for, profile() says so, and nothing can
// be cancelled. Once the facade takes its options (profile, address, port, read and connect
// time limits, a log function), make() passes them on and the rest reads the facade.

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "receipts/CheckedFacade.hpp"
#include "vantoconnect/VantoDeliveryReport.hpp"

namespace vantonode {

struct FacadeSettings {
    bool classic = false;                // false: the resilient profile, the package's default
    std::optional<std::string> address;  // none: the library's default unit address
    std::int64_t port = 8080;
    std::chrono::milliseconds readTimeout{5000};
    std::chrono::milliseconds connectTimeout{3000};
    std::function<void(std::string_view line)> log;  // empty: the library's lines are dropped
};

class FacadeProfile {
  public:
    // Throws ReceiptInputError for a port outside 1...65535.
    static std::shared_ptr<vantoreceipts::CheckedFacade> make(const FacadeSettings& settings);
    // "resilient" or "classic": the profile the facade really has.
    static const char* inEffect(const vantoreceipts::CheckedFacade& facade);
    // True when the receipt was still waiting and is now withdrawn; its report says so.
    static bool cancel(vantoreceipts::CheckedFacade& facade, std::uint64_t receiptId);
    static bool cancelled(const vantoconnect::VantoDeliveryReport& report);
};

}  // namespace vantonode
