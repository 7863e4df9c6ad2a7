#pragma once

// Positions of the unit's diagnostic LEDs. Each position owns two bits of the IO mask and
// value words; positions 4 to 7 have no LED behind them.

#include <cstdint>

namespace vantoconnect {

class VantoDiagnosticLEDS {
  public:
    static constexpr std::int64_t LED_POWER = 0;
    static constexpr std::int64_t LED_NETWORK = 1;
    static constexpr std::int64_t LED_TABLET = 2;
    static constexpr std::int64_t LED_PED = 3;
    static constexpr std::int64_t LED_PRINTER = 8;
    static constexpr std::int64_t LED_USB1 = 9;
    static constexpr std::int64_t LED_USB2 = 10;
};

}  // namespace vantoconnect
