#pragma once

// Receipts as JSON files whose fields mirror the receipt model:
//
//   { "cutType": "partial", "headerFeed": 0, "footerFeed": 12,
//     "lines": [ { "lineType": "TEXT", "text": "Hello", "style": ["bold"], "position": "center" },
//                { "lineType": "IMAGE", "image": "logo.png" } ] }
//
// Image paths are relative to the file. Everything the printer bytes cannot carry as the user
// meant it (a negative feed the printer would read as 200-odd lines, a control character that
// would become a printer command, a line longer than one packet, a barcode the printer cannot
// draw) is refused here, with the file, the line and the field named, before anything is sent
// or drawn. The limits keep the largest accepted receipt well inside a gigabyte of memory.

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "receipts/ReceiptLineCheck.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoreceipts {

class ReceiptFile {
  public:
    static constexpr std::uintmax_t MAX_FILE_BYTES = 1u << 20;
    static constexpr std::size_t MAX_LINES = 1000;
    static constexpr std::size_t MAX_IMAGES = 16;
    static constexpr std::size_t MAX_BARCODES = 100;
    // Paper the whole receipt may take, in the printer's dots (8 per mm): 12.5 m. Drawing a
    // preview costs memory in proportion to it. Each line is counted at its most: wrapped text at
    // 44 columns (22 when wide, half that for non-ASCII text), barcodes at 300 dots.
    static constexpr std::int64_t MAX_PAPER_DOTS = 100000;
    // One line's printer commands must fit one packet of the printer's.
    static constexpr std::size_t MAX_LINE_BYTES = ReceiptLineCheck::MAX_LINE_BYTES;

    // Throws ReceiptInputError with a one-line message.
    static std::shared_ptr<vantoconnect::VantoReceipt> load(const std::filesystem::path& path);

    // `source` names the text in messages; `baseDir` resolves image paths.
    static std::shared_ptr<vantoconnect::VantoReceipt> parse(std::string_view json,
                                                             const std::string& source,
                                                             const std::filesystem::path& baseDir);

    // The receipt's printer bytes, composed line by line by the library's own composer, so that
    // a line the printer bytes cannot carry is reported by its index instead of stopping the
    // process later on the printing thread. Throws ReceiptInputError.
    static std::vector<vantoconnect::Bytes> compose(const vantoconnect::VantoReceipt& receipt,
                                                    const std::string& source);
};

}  // namespace vantoreceipts
