#pragma once

// How a facade of the resilient profile reaches its unit and how long it waits. Made in one
// expression with the facade:
//
//   vantoconnect::Vanto vanto(vantoconnect::ResilientOptions{.address = "192.168.4.1"});
//
// With the defaults, a receipt to a unit that never answers is reported not delivered within
// waitLimit (60 s), and a request that gets no answer fails after connectTimeout + readTimeout.

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vantoconnect {

struct ResilientOptions {
    // The unit's IPv4 address or host name; empty: the unit's own address on its Wi-Fi network.
    std::string address{};
    std::int32_t port = 8080;

    // Longest wait for a connection to open.
    std::chrono::milliseconds connectTimeout{3000};
    // Longest wait for an answer once a request has gone out: every read has this limit.
    std::chrono::milliseconds readTimeout{5000};

    // While a receipt waits for the printer, its polls come this far apart.
    std::chrono::milliseconds pollInterval{2000};
    // A receipt is given up (PRINTER_NOT_RESPONDING) at its 31st poll that finds the printer
    // busy or unreachable, or once it has waited waitLimit, whichever comes first. Only polls
    // made for that receipt count.
    std::int64_t maxUnavailablePolls = 30;
    std::chrono::milliseconds waitLimit{60000};

    // The library's diagnostic lines ("Printer started", "no answer from ...") go here, one
    // call per line, never two at once; an empty function drops them. Nothing of this profile
    // writes to standard output.
    std::function<void(std::string_view line)> log{};

    // The same options with every duration brought into 0 ms ... one day and the poll count
    // made non-negative, so that no deadline computed from them can overflow, whatever an
    // application passed. The facade uses these.
    ResilientOptions bounded() const;
};

}  // namespace vantoconnect
