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
    // one has been fully reported, under the unit's lock. "Delivered" only when the report says
    // the unit acknowledged every packet.
    static void print(const SessionOptions& unit, const std::vector<std::string>& receiptFiles,
                      bool verbose);
    static void preview(const std::filesystem::path& receiptFile,
                        const std::filesystem::path& pngFile, bool showText);

    // The packets the printer controller cuts these groups into (whole groups, at most 1024
    // bytes each).
    static std::int64_t packetCount(const std::vector<vantoconnect::Bytes>& groups);
};

}  // namespace vantocli
