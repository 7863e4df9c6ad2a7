#pragma once

// One IO line of the unit, described for display, and the vocabulary of line values. Equal
// numbers in different groups are deliberate: each group is read on its own.

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace vantoconnect {

class LineState {
  public:
    // Which value of a line is meant.
    static constexpr std::int64_t LINEMASKVALUE = 0;
    static constexpr std::int64_t LINEACTUALVALUE = 1;
    static constexpr std::int64_t LINEEVENTVALUE = 2;
    // Event.
    static constexpr std::int64_t LINENOTCHANGED = 0;
    static constexpr std::int64_t LINECHANGED = 1;
    // Level.
    static constexpr std::int64_t LINELOW = 0;
    static constexpr std::int64_t LINEHIGH = 1;
    // Monitoring.
    static constexpr std::int64_t LINENOMONITOR = 0;
    static constexpr std::int64_t LINEMONITOR = 1;
    // Access.
    static constexpr std::int64_t LINEREADONLY = 0;
    static constexpr std::int64_t LINEREADWRITE = 1;
    // Port kind.
    static constexpr std::int64_t LINESERIAL = 0;
    static constexpr std::int64_t LINERADIOMODEM = 1;
    // Value markers.
    static constexpr std::int64_t LINEINVALIDVALUE = 2;
    static constexpr std::int64_t LINENAORUNKNOWN = 3;

    // How line values read on screen.
    static constexpr std::string_view TEXT_HIGH = "high";
    static constexpr std::string_view TEXT_INVALID = "invalid";
    static constexpr std::string_view TEXT_AS_IS = "as is";
    static constexpr std::string_view TEXT_IGNORE = "ignore";
    static constexpr std::string_view TEXT_MONITOR = "monitor";
    static constexpr std::string_view TEXT_NO_CHANGE = "no change";
    static constexpr std::string_view TEXT_CHANGED = "changed";

    std::string lineName;
    bool lineAccessable = false;
    std::int64_t boxFunction = 0;

    // rw is an access value: only LINEREADWRITE makes the line accessible.
    LineState(std::string n, std::int64_t rw, std::int64_t f)
        : lineName(std::move(n)), lineAccessable(rw == LINEREADWRITE), boxFunction(f) {}

    void setAccessable(bool b) { lineAccessable = b; }
};

}  // namespace vantoconnect
