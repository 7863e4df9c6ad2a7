#pragma once

// `vanto print` sends receipt files to a unit, one after another, and reports how each was
// delivered; `vanto preview` draws a receipt as the unit's printer would, with no unit at all.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "cli/UnitSession.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantocli {

class PrintCommands {
  public:
    // Every file is checked before anything is sent. Each receipt is submitted once the previous
    // one has been fully reported, under the unit's lock. timeScale shortens the printer queue's
    // waits (tests only; 1.0 is the product's timing).
    static void print(const UnitAddress& unit, const std::vector<std::string>& receiptFiles,
                      bool verbose, double timeScale = 1.0);
    static void preview(const std::filesystem::path& receiptFile,
                        const std::filesystem::path& pngFile, bool showText);

    // The packets the printer controller cuts these groups into (whole groups, at most 1024
    // bytes each).
    static std::int64_t packetCount(const std::vector<vantoconnect::Bytes>& groups);
};

}  // namespace vantocli
