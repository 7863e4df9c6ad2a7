#pragma once

// The configuration of one serial port of the unit. Settings hold wire values, not table
// indexes; the last value of each table means "not available". The five set... operations
// accept their argument and change nothing: a decoded reply therefore always reads back as
// not available, and a setting is changed through its public field instead.

#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

namespace vantoconnect {

class PortControlState {
  public:
    std::int64_t speedSetting = std::numeric_limits<std::int64_t>::max();
    std::int64_t charSizeSetting = 7;
    std::int64_t stopSizeSetting = 0xC0;
    std::int64_t paritySetting = 0x38;
    std::int64_t flowSetting = 0xF0;
    bool writeable = false;
    std::int64_t serial_or_radio = 0;

    PortControlState(bool w, std::int64_t t) : writeable(w), serial_or_radio(t) {}

    void setSpeed(std::int64_t /*s*/) {}
    void setCharSize(std::int64_t /*sz*/) {}
    void setStopSize(std::int64_t /*sp*/) {}
    void setParity(std::int64_t /*par*/) {}
    void setFlowControl(std::int64_t /*fw*/) {}

  private:
    // speedVals is one entry short of speedStrings: "error" pairs with 5, "N/A" with nothing,
    // because speed marks N/A with the largest integer instead of a table value.
    static constexpr std::array<std::string_view, 10> speedStrings = {
        "1200", "2400", "4800", "9600", "19200", "38400", "57600", "115200", "error", "N/A"};
    static constexpr std::array<std::int64_t, 9> speedVals = {1200,  2400,  4800,   9600, 19200,
                                                              38400, 57600, 115200, 5};
    // Character size, parity and stop bits share one configuration byte: bits 0-2, 3-5, 6-7.
    static constexpr std::array<std::string_view, 6> charSizeStrings = {"5char", "6char", "7char",
                                                                        "8char", "error", "N/A"};
    static constexpr std::array<std::int64_t, 6> charSizeVals = {0, 1, 2, 3, 5, 7};
    static constexpr std::array<std::string_view, 4> stopSizeStrings = {"1stop", "1.5stop", "2stop",
                                                                        "N/A"};
    static constexpr std::array<std::int64_t, 4> stopSizeVals = {0x00, 0x40, 0x80, 0xC0};
    static constexpr std::array<std::string_view, 7> parityStrings = {
        "none", "odd", "even", "mark", "space", "error", "N/A"};
    static constexpr std::array<std::int64_t, 7> parityVals = {0x00, 0x08, 0x10, 0x18,
                                                               0x20, 0x28, 0x38};
    // Flow control uses bits 4-7 of its own byte.
    static constexpr std::array<std::string_view, 5> flowControlStrings = {
        "None", "xon_xoff", "rts_cts", "dtr_dsr", "N/A"};
    static constexpr std::array<std::int64_t, 5> flowControlVals = {0x00, 0x10, 0x20, 0x30, 0xF0};
};

}  // namespace vantoconnect
