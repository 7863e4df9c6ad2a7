#pragma once

// The unit's observable state at one moment, and the faults it has been told to show. Values
// use the library's codes (LED positions and colours, cosmetic colours) so that a test can
// compare them with what it asked the library to do.

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantoemu {

// How the unit answers frames that want an answer.
enum class ReplyMode {
    Normal,
    Silent,        // reads everything, answers nothing
    Unrecognised,  // answers every request with a well-formed frame of an unknown type
};

enum class PrinterCondition {
    Ready,
    NotReady,  // every busy query answers "not ready"
    Error,     // print data is answered with the printer-error frame
};

struct Faults {
    int printerNotReadyPolls = 0;  // the next N busy queries answer "not ready"
    int printerErrorReplies = 0;   // the next N data packets are answered with an error
    PrinterCondition printer = PrinterCondition::Ready;
    ReplyMode replyMode = ReplyMode::Normal;
    int corruptCrcReplies = 0;  // the next N replies carry a wrong CRC
    std::chrono::milliseconds replyDelay{0};
    bool refuseConnections = false;  // accepted connections are closed at once
    // The next N connections that carry a request are closed as soon as it has been read,
    // without an answer, as when the Wi-Fi drops: the request took effect (print data is in
    // the job), only its answer is lost.
    int dropConnections = 0;
};

struct DiagnosticLedState {
    int position = 0;
    std::string name;  // LED_POWER ...
    int colour = 0;    // LED_OFF 0, LED_GREEN 1, LED_RED 2, LED_AMBER 3
    std::string colourName;
};

struct UnitSnapshot {
    static constexpr std::array<int, 7> DIAGNOSTIC_POSITIONS = {0, 1, 2, 3, 8, 9, 10};

    std::array<DiagnosticLedState, 7> diagnosticLeds;
    int cosmeticColour = 0;  // COSMETIC_OFF 0 ... COSMETIC_WHITE 7
    std::string cosmeticColourName;
    bool usbPower = false;
    bool solenoid = false;
    std::uint32_t outputLines = 0;  // every output line as last driven
    bool drawerOpen = false;
    std::uint64_t drawerOpenings = 0;
    std::chrono::milliseconds drawerCloseAfter{0};
    Faults faults;
    std::size_t jobBytesPending = 0;  // print data received for a job not yet ended
    std::uint64_t connections = 0;
    std::uint64_t openConnections = 0;
    std::uint64_t frames = 0;
    std::uint64_t frameErrors = 0;
    std::uint64_t replies = 0;
    std::uint64_t receipts = 0;
    bool listening = false;  // false while stopped, restarting or at the connection cap
    bool restarting = false;
    std::uint64_t restarts = 0;

    // The colour of the LED at a library position; -1 for a position without an LED.
    int diagnosticLed(int position) const;
};

std::string diagnosticLedName(int position);
std::string ledColourName(int colour);
std::string cosmeticColourName(int colour);
std::string printerConditionName(PrinterCondition condition);
std::string replyModeName(ReplyMode mode);
// The words the command line and the dashboard take: ready, not-ready, error; normal, silent,
// unrecognised (or unrecognized). Nothing for any other word.
std::string printerConditionWord(PrinterCondition condition);
std::optional<PrinterCondition> printerConditionFromWord(std::string_view word);
std::optional<ReplyMode> replyModeFromWord(std::string_view word);

}  // namespace vantoemu
