#pragma once

// Receipts as JSON files whose fields mirror the receipt model:
//
//   { "cutType": "partial", "headerFeed": 0, "footerFeed": 12,
//     "lines": [ { "lineType": "TEXT", "text": "Hello", "style": ["bold"], "position": "center" },
//                { "lineType": "IMAGE", "image": "logo.png" } ] }
//
// Image paths are relative to the file. Everything the library would refuse at print time (a
// feed that does not fit a byte, a price line wider than the paper, a barcode too tall) is
// refused here, with the file, the line and the field named, before anything is sent.

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "vantoconnect/VantoReceipt.hpp"

namespace vantocli {

class ReceiptFile {
  public:
    // Throws CliError(BAD_INPUT) with a one-line message.
    static std::shared_ptr<vantoconnect::VantoReceipt> load(const std::filesystem::path& path);

    // `source` names the text in messages; `baseDir` resolves image paths.
    static std::shared_ptr<vantoconnect::VantoReceipt> parse(std::string_view json,
                                                             const std::string& source,
                                                             const std::filesystem::path& baseDir);

    // Composes the receipt once, line by line, so that a line the printer bytes cannot carry is
    // reported by its index instead of stopping the process later on the printing thread.
    static void checkPrintable(const vantoconnect::VantoReceipt& receipt,
                               const std::string& source);
};

}  // namespace vantocli
