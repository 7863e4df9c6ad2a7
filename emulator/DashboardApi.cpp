#include "emulator/DashboardApi.hpp"

#include <chrono>
#include <functional>
#include <map>
#include <vector>

#include "emulator/EmulatedUnit.hpp"

namespace vantoemu {

namespace {

using nlohmann::json;

// Counts and delays are bounded so that a typo cannot stall the unit for a day.
constexpr std::int64_t MAX_COUNT = 1000000;
constexpr std::int64_t MAX_DELAY_MS = 600000;

bool inRange(const json& value, std::int64_t limit) {
    return value.is_number_integer() && value.get<std::int64_t>() >= 0 &&
           value.get<std::int64_t>() <= limit;
}

std::string outOfRange(const std::string& field, std::int64_t limit) {
    return field + " must be a whole number from 0 to " + std::to_string(limit);
}

std::int64_t millisSinceEpoch(std::chrono::system_clock::time_point at) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
}

}  // namespace

json DashboardApi::state(const EmulatedUnit& unit) {
    const UnitSnapshot s = unit.snapshot();
    json leds = json::array();
    for (const auto& led : s.diagnosticLeds) {
        leds.push_back({{"position", led.position},
                        {"name", led.name},
                        {"colour", led.colour},
                        {"colourName", led.colourName}});
    }
    return {
        {"leds", leds},
        {"cosmetic", {{"colour", s.cosmeticColour}, {"colourName", s.cosmeticColourName}}},
        {"usbPower", s.usbPower},
        {"solenoid", s.solenoid},
        {"drawer",
         {{"open", s.drawerOpen},
          {"openings", s.drawerOpenings},
          {"closeAfterMs", s.drawerCloseAfter.count()}}},
        {"faults",
         {{"printer", printerConditionWord(s.faults.printer)},
          {"printerNotReady", s.faults.printerNotReadyPolls},
          {"printerError", s.faults.printerErrorReplies},
          {"reply", replyModeName(s.faults.replyMode)},
          {"corruptCrc", s.faults.corruptCrcReplies},
          {"delayMs", s.faults.replyDelay.count()},
          {"refuse", s.faults.refuseConnections},
          {"dropNext", s.faults.dropConnections}}},
        {"unit",
         {{"address", unit.address()},
          {"port", unit.port()},
          {"listening", s.listening},
          {"restarting", s.restarting},
          {"restarts", s.restarts}}},
        {"counters",
         {{"connections", s.connections},
          {"openConnections", s.openConnections},
          {"frames", s.frames},
          {"frameErrors", s.frameErrors},
          {"replies", s.replies},
          {"receipts", s.receipts},
          {"jobBytesPending", s.jobBytesPending}}},
    };
}

json DashboardApi::receipt(const PrintedReceipt& r) {
    const std::string base = "/api/receipts/" + std::to_string(r.number);
    json out = {{"number", r.number},
                {"packets", r.packets},
                {"marks", r.marks()},
                {"complete", r.complete()},
                {"incomplete", r.incomplete},
                {"interleaved", r.interleaved},
                {"notes", r.notes},
                {"printedAtMs", millisSinceEpoch(r.printedAt)},
                {"width", r.rendered.width},
                {"height", r.rendered.height},
                {"problems", r.rendered.problems},
                {"text", r.rendered.text},
                {"txt", base + ".txt"}};
    // The picture is there while the unit keeps it in memory or on disk.
    const bool hasPng = r.rendered.width > 0 && (!r.rendered.png.empty() || !r.pngPath.empty());
    out["png"] = hasPng ? json(base + ".png") : json(nullptr);
    return out;
}

json DashboardApi::receipts(const EmulatedUnit& unit, int after) {
    auto records = unit.receiptRecords();
    json list = json::array();
    for (auto it = records.rbegin(); it != records.rend() && it->number > after; ++it) {
        list.push_back(receipt(*it));
    }
    return {{"printed", unit.snapshot().receipts},
            {"oldest", records.empty() ? 0 : records.front().number},
            {"receipts", list}};
}

std::string DashboardApi::changeFaults(EmulatedUnit& unit, const json& body) {
    if (!body.is_object() || body.empty()) {
        return "expected a JSON object with at least one fault field";
    }
    // Counts and delays, each applied through the unit's own setter.
    using Apply = void (*)(EmulatedUnit&, std::int64_t);
    static const std::map<std::string, std::pair<std::int64_t, Apply>> NUMBERS = {
        {"printerNotReady",
         {MAX_COUNT,
          [](EmulatedUnit& u, std::int64_t n) { u.setPrinterNotReadyPolls(static_cast<int>(n)); }}},
        {"printerError",
         {MAX_COUNT,
          [](EmulatedUnit& u, std::int64_t n) { u.setPrinterErrorReplies(static_cast<int>(n)); }}},
        {"corruptCrc",
         {MAX_COUNT,
          [](EmulatedUnit& u, std::int64_t n) { u.corruptNextReplies(static_cast<int>(n)); }}},
        {"dropNext",
         {MAX_COUNT,
          [](EmulatedUnit& u, std::int64_t n) { u.dropNextConnections(static_cast<int>(n)); }}},
        {"delayMs",
         {MAX_DELAY_MS,
          [](EmulatedUnit& u, std::int64_t n) { u.setReplyDelay(std::chrono::milliseconds(n)); }}},
        {"drawerCloseAfterMs",
         {MAX_DELAY_MS,
          [](EmulatedUnit& u, std::int64_t n) {
              u.setDrawerCloseAfter(std::chrono::milliseconds(n));
          }}},
    };
    // Everything is read and checked first; only then is anything changed.
    std::vector<std::function<void()>> changes;
    for (const auto& [field, value] : body.items()) {
        const std::string word = value.is_string() ? value.get<std::string>() : "";
        if (field == "printer") {
            const auto condition = printerConditionFromWord(word);
            if (!condition) {
                return "printer must be \"ready\", \"not-ready\" or \"error\"";
            }
            changes.push_back([&unit, c = *condition] { unit.setPrinterCondition(c); });
        } else if (field == "reply") {
            const auto mode = replyModeFromWord(word);
            if (!mode) {
                return "reply must be \"normal\", \"silent\" or \"unrecognised\"";
            }
            changes.push_back([&unit, m = *mode] { unit.setReplyMode(m); });
        } else if (field == "refuse") {
            if (!value.is_boolean()) {
                return "refuse must be true or false";
            }
            changes.push_back(
                [&unit, refuse = value.get<bool>()] { unit.setRefuseConnections(refuse); });
        } else if (const auto number = NUMBERS.find(field); number != NUMBERS.end()) {
            const auto [limit, apply] = number->second;
            if (!inRange(value, limit)) {
                return outOfRange(field, limit);
            }
            changes.push_back([&unit, apply, n = value.get<std::int64_t>()] { apply(unit, n); });
        } else {
            return "unknown fault field \"" + field + "\"";
        }
    }
    for (auto& change : changes) {
        change();
    }
    return {};
}

std::string DashboardApi::restart(EmulatedUnit& unit, const json& body) {
    auto downtime = EmulatedUnit::DEFAULT_RESTART_DOWNTIME;
    if (!body.is_object()) {
        return "expected a JSON object, {} or {\"downtimeMs\": N}";
    }
    for (const auto& [field, value] : body.items()) {
        if (field != "downtimeMs") {
            return "unknown restart field \"" + field + "\"";
        }
        if (!inRange(value, MAX_DELAY_MS)) {
            return outOfRange(field, MAX_DELAY_MS);
        }
        downtime = std::chrono::milliseconds(value.get<std::int64_t>());
    }
    try {
        unit.restart(downtime);
    } catch (const std::logic_error& e) {
        return e.what();
    }
    return {};
}

std::string DashboardApi::changeDrawer(EmulatedUnit& unit, const json& body) {
    const auto action = body.is_object() && body.contains("action") && body["action"].is_string()
                            ? body["action"].get<std::string>()
                            : std::string();
    if (action == "close") {
        unit.closeDrawer();
    } else if (action == "open") {
        unit.openDrawer();
    } else {
        return "expected {\"action\": \"close\"} or {\"action\": \"open\"}";
    }
    return {};
}

}  // namespace vantoemu
