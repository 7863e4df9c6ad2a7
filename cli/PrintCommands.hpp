#pragma once

// `vanto print` sends a receipt file to a unit and follows the job to its end; `vanto preview`
// draws the same receipt as the unit's printer would, with no unit at all.

#include <filesystem>

#include "cli/UnitSession.hpp"

namespace vantocli {

class PrintCommands {
  public:
    // Seconds to wait for the printer queue's verdict: it gives up after about a minute.
    static constexpr int OUTCOME_TIMEOUT = 180;

    // timeScale shortens the printer queue's waits (tests only; 1.0 is the product's timing).
    static void print(const UnitAddress& unit, const std::filesystem::path& receiptFile,
                      bool verbose, double timeScale = 1.0);
    static void preview(const std::filesystem::path& receiptFile,
                        const std::filesystem::path& pngFile, bool showText);
};

}  // namespace vantocli
