#include "emulator/UnitSnapshot.hpp"

namespace vantoemu {

int UnitSnapshot::diagnosticLed(int position) const {
    for (const auto& led : diagnosticLeds) {
        if (led.position == position) {
            return led.colour;
        }
    }
    return -1;
}

std::string diagnosticLedName(int position) {
    switch (position) {
        case 0:
            return "LED_POWER";
        case 1:
            return "LED_NETWORK";
        case 2:
            return "LED_TABLET";
        case 3:
            return "LED_PED";
        case 8:
            return "LED_PRINTER";
        case 9:
            return "LED_USB1";
        case 10:
            return "LED_USB2";
        default:
            return "position " + std::to_string(position);
    }
}

std::string ledColourName(int colour) {
    static const char* const names[] = {"LED_OFF", "LED_GREEN", "LED_RED", "LED_AMBER"};
    return colour >= 0 && colour < 4 ? names[colour] : "colour " + std::to_string(colour);
}

std::string cosmeticColourName(int colour) {
    static const char* const names[] = {"COSMETIC_OFF",    "COSMETIC_BLUE", "COSMETIC_GREEN",
                                        "COSMETIC_CYAN",   "COSMETIC_RED",  "COSMETIC_MAGENTA",
                                        "COSMETIC_YELLOW", "COSMETIC_WHITE"};
    return colour >= 0 && colour < 8 ? names[colour] : "colour " + std::to_string(colour);
}

std::string printerConditionName(PrinterCondition condition) {
    switch (condition) {
        case PrinterCondition::Ready:
            return "ready";
        case PrinterCondition::NotReady:
            return "not ready";
        case PrinterCondition::Error:
            return "error";
    }
    return "unknown";
}

std::string replyModeName(ReplyMode mode) {
    switch (mode) {
        case ReplyMode::Normal:
            return "normal";
        case ReplyMode::Silent:
            return "silent";
        case ReplyMode::Unrecognised:
            return "unrecognised";
    }
    return "unknown";
}

std::string printerConditionWord(PrinterCondition condition) {
    return condition == PrinterCondition::NotReady ? "not-ready" : printerConditionName(condition);
}

std::optional<PrinterCondition> printerConditionFromWord(std::string_view word) {
    for (const auto condition :
         {PrinterCondition::Ready, PrinterCondition::NotReady, PrinterCondition::Error}) {
        if (word == printerConditionWord(condition)) {
            return condition;
        }
    }
    return std::nullopt;
}

std::optional<ReplyMode> replyModeFromWord(std::string_view word) {
    if (word == "unrecognized") {
        return ReplyMode::Unrecognised;
    }
    for (const auto mode : {ReplyMode::Normal, ReplyMode::Silent, ReplyMode::Unrecognised}) {
        if (word == replyModeName(mode)) {
            return mode;
        }
    }
    return std::nullopt;
}

}  // namespace vantoemu
