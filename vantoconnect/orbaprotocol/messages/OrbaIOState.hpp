#pragma once

// The desired state of every output line group, from which a set-IO-state message is filled.
// Settings are indexes into the value tables, not values; each defaults to the "N/A" index,
// whose value NA_NUMBER leaves the output as it is, so a fresh state changes nothing.
// An index outside its table stops the process when the message is filled.
//
// The string tables are labels only: RGAColourStrings calls value 1 "Red" although the public
// colour code for 1 is LED_GREEN.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantoconnect {

class OrbaIOState {
  public:
    static constexpr std::int64_t NA_NUMBER = 100;

    static constexpr std::array<std::int64_t, 5> RGAColourVals = {0, 1, 2, 3, NA_NUMBER};
    // Writable, as the other value tables are class-wide settings; only RGAColourVals is fixed.
    static inline std::vector<std::int64_t> BRGColourVals = {0, 2, 1, 4, NA_NUMBER};
    static inline std::vector<std::int64_t> ButtonVals = {0, 1, NA_NUMBER};
    static inline std::vector<std::int64_t> SolenoidVals = {0, 1, NA_NUMBER};

    static constexpr std::array<std::string_view, 5> RGAColourStrings = {"Black", "Red", "Green",
                                                                         "Amber", "N/A"};
    std::vector<std::int64_t> diagnosticSetting = {4, 4, 4};
    std::vector<std::string> BRGColourStrings = {"Black", "Blue", "Red", "Green", "N/A"};
    std::int64_t cosmeticSetting = 4;
    std::vector<std::string> ButtonStrings = {"Not Pressed", "Pressed", "N/A"};
    std::int64_t buttonSetting = 2;
    std::vector<std::string> SolenoidStrings = {"Quiet", "Buzzing", "N/A"};
    std::int64_t solenoidSetting = 2;
};

}  // namespace vantoconnect
