#pragma once

// A barcode as the printer encodes it, before it is laid on paper: the modules zint computes
// for the data, and the human-readable text the printer prints with it. Laying out (module
// width in dots, wide-to-narrow ratio, guard bars, where the digits go) is the renderer's.

#include <string>
#include <vector>

#include "emulator/PrinterDocument.hpp"

namespace vantoemu {

class BarcodeSymbol {
  public:
    // Linear codes: widths of alternating bars and spaces, first a bar, in modules (Code 39:
    // 1 narrow, 2 wide). Empty for PDF417.
    std::vector<int> runs;
    // PDF417: rows of modules, true where dark. Empty for linear codes.
    std::vector<std::vector<bool>> rows;
    // The human-readable text: a UPC-A of 11 digits gets the check digit the printer computes.
    std::string text;
    // Why the printer cannot encode the data; empty when it can.
    std::string error;

    static BarcodeSymbol encode(BarcodeKind kind, const std::string& data);

    // The UPC-A check digit of 11 digits.
    static char upcCheckDigit(const std::string& elevenDigits);
};

}  // namespace vantoemu
