#pragma once

// Colour codes the public LED operations take. A diagnostic colour is the 2-bit value written
// for one LED; a cosmetic colour is a 3-bit mix of green (bit 0), blue (bit 1) and red (bit 2)
// that the LED controller splits into three on/off lines.

#include <cstdint>

namespace vantoconnect {

class VantoColorCodes {
  public:
    static constexpr std::int64_t LED_OFF = 0;
    static constexpr std::int64_t LED_GREEN = 1;
    static constexpr std::int64_t LED_RED = 2;
    static constexpr std::int64_t LED_AMBER = 3;

    static constexpr std::int64_t COSMETIC_OFF = 0;
    static constexpr std::int64_t COSMETIC_BLUE = 1;
    static constexpr std::int64_t COSMETIC_GREEN = 2;
    static constexpr std::int64_t COSMETIC_CYAN = 3;
    static constexpr std::int64_t COSMETIC_RED = 4;
    static constexpr std::int64_t COSMETIC_MAGENTA = 5;
    static constexpr std::int64_t COSMETIC_YELLOW = 6;
    static constexpr std::int64_t COSMETIC_WHITE = 7;
};

}  // namespace vantoconnect
