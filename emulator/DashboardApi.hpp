#pragma once

// What the dashboard's JSON API says and does, apart from HTTP: the unit's state and its
// receipts as JSON, and fault and drawer changes read from JSON and applied through the same
// EmulatedUnit calls the command line makes.

#include <nlohmann/json.hpp>
#include <string>

#include "emulator/ReceiptPipeline.hpp"
#include "emulator/UnitSnapshot.hpp"

namespace vantoemu {

class EmulatedUnit;

class DashboardApi {
  public:
    static nlohmann::json state(const EmulatedUnit& unit);
    // Newest first, without pixels; the text view is included. Only receipts numbered above
    // `after`, so a page that has some already fetches just the new ones; "oldest" says which
    // it may drop.
    static nlohmann::json receipts(const EmulatedUnit& unit, int after = 0);
    static nlohmann::json receipt(const PrintedReceipt& receipt);

    // Applies every field of `body` or, when any is wrong, none of them; returns the reason
    // for refusing, or an empty string. Fields: printer ("ready", "not-ready", "error"),
    // printerNotReady, printerError, corruptCrc, dropNext (counts), reply ("normal", "silent",
    // "unrecognised"), delayMs, refuse (bool), drawerCloseAfterMs.
    static std::string changeFaults(EmulatedUnit& unit, const nlohmann::json& body);
    // {} or {"downtimeMs": N}: restarts the unit, back after N ms (default 2000).
    static std::string restart(EmulatedUnit& unit, const nlohmann::json& body);
    // {"action": "close"} or {"action": "open"}.
    static std::string changeDrawer(EmulatedUnit& unit, const nlohmann::json& body);
};

}  // namespace vantoemu
