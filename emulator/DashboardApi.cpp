#include "emulator/DashboardApi.hpp"

#include <chrono>
#include <functional>
#include <limits>
#include <vector>

#include "emulator/EmulatedUnit.hpp"

namespace vantoemu {

namespace {

using nlohmann::json;

// Counts and delays are bounded so that a typo cannot stall the unit for a day.
constexpr std::int64_t MAX_COUNT = 1000000;
constexpr std::int64_t MAX_DELAY_MS = 600000;

std::string readCount(const json& body, const char* field, std::int64_t limit, std::int64_t& out) {
    const auto& value = body.at(field);
    if (!value.is_number_integer() || value.get<std::int64_t>() < 0 ||
        value.get<std::int64_t>() > limit) {
        return std::string(field) + " must be a whole number from 0 to " + std::to_string(limit);
    }
    out = value.get<std::int64_t>();
    return {};
}

std::int64_t millisSinceEpoch(std::chrono::system_clock::time_point at) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(at.time_since_epoch()).count();
}

}  // namespace

std::string DashboardApi::printerWord(PrinterCondition condition) {
    switch (condition) {
        case PrinterCondition::Ready:
            return "ready";
        case PrinterCondition::NotReady:
            return "not-ready";
        case PrinterCondition::Error:
            return "error";
    }
    return "unknown";
}

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
         {{"printer", printerWord(s.faults.printer)},
          {"printerNotReady", s.faults.printerNotReadyPolls},
          {"printerError", s.faults.printerErrorReplies},
          {"reply", replyModeName(s.faults.replyMode)},
          {"corruptCrc", s.faults.corruptCrcReplies},
          {"delayMs", s.faults.replyDelay.count()},
          {"refuse", s.faults.refuseConnections}}},
        {"unit", {{"address", unit.address()}, {"port", unit.port()}}},
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
    // Everything is read and checked first; only then is anything changed.
    std::vector<std::function<void()>> changes;
    for (const auto& [field, value] : body.items()) {
        std::int64_t n = 0;
        std::string problem;
        if (field == "printer") {
            const std::string word = value.is_string() ? value.get<std::string>() : "";
            PrinterCondition condition;
            if (word == "ready") {
                condition = PrinterCondition::Ready;
            } else if (word == "not-ready") {
                condition = PrinterCondition::NotReady;
            } else if (word == "error") {
                condition = PrinterCondition::Error;
            } else {
                return "printer must be \"ready\", \"not-ready\" or \"error\"";
            }
            changes.push_back([&unit, condition] { unit.setPrinterCondition(condition); });
        } else if (field == "reply") {
            const std::string word = value.is_string() ? value.get<std::string>() : "";
            ReplyMode mode;
            if (word == "normal") {
                mode = ReplyMode::Normal;
            } else if (word == "silent") {
                mode = ReplyMode::Silent;
            } else if (word == "unrecognised" || word == "unrecognized") {
                mode = ReplyMode::Unrecognised;
            } else {
                return "reply must be \"normal\", \"silent\" or \"unrecognised\"";
            }
            changes.push_back([&unit, mode] { unit.setReplyMode(mode); });
        } else if (field == "printerNotReady") {
            if (!(problem = readCount(body, "printerNotReady", MAX_COUNT, n)).empty()) {
                return problem;
            }
            changes.push_back([&unit, n] { unit.setPrinterNotReadyPolls(static_cast<int>(n)); });
        } else if (field == "printerError") {
            if (!(problem = readCount(body, "printerError", MAX_COUNT, n)).empty()) {
                return problem;
            }
            changes.push_back([&unit, n] { unit.setPrinterErrorReplies(static_cast<int>(n)); });
        } else if (field == "corruptCrc") {
            if (!(problem = readCount(body, "corruptCrc", MAX_COUNT, n)).empty()) {
                return problem;
            }
            changes.push_back([&unit, n] { unit.corruptNextReplies(static_cast<int>(n)); });
        } else if (field == "delayMs") {
            if (!(problem = readCount(body, "delayMs", MAX_DELAY_MS, n)).empty()) {
                return problem;
            }
            changes.push_back([&unit, n] { unit.setReplyDelay(std::chrono::milliseconds(n)); });
        } else if (field == "drawerCloseAfterMs") {
            if (!(problem = readCount(body, "drawerCloseAfterMs", MAX_DELAY_MS, n)).empty()) {
                return problem;
            }
            changes.push_back(
                [&unit, n] { unit.setDrawerCloseAfter(std::chrono::milliseconds(n)); });
        } else if (field == "refuse") {
            if (!value.is_boolean()) {
                return "refuse must be true or false";
            }
            const bool refuse = value.get<bool>();
            changes.push_back([&unit, refuse] { unit.setRefuseConnections(refuse); });
        } else {
            return "unknown fault field \"" + field + "\"";
        }
    }
    for (auto& change : changes) {
        change();
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
