#pragma once

// A receipt drawn as the emulated unit's printer would print it, without any unit: composed by
// the library's own composer (each line checked to fit, as for printing) and rendered from
// those printer bytes. What the preview shows is what the bytes say, not what the model meant.

#include <cstdint>
#include <string>
#include <vector>

#include "emulator/ReceiptRenderer.hpp"
#include "vantoconnect/VantoReceipt.hpp"

namespace vantoreceipts {

class ReceiptPreview {
  public:
    // `source` names the receipt in messages. Throws ReceiptInputError for a line the printer
    // bytes cannot carry.
    static vantoemu::RenderedReceipt render(const vantoconnect::VantoReceipt& receipt,
                                            const std::string& source);
    // The plain-text view of the same paper, without drawing a dot.
    static std::string text(const vantoconnect::VantoReceipt& receipt, const std::string& source);

  private:
    static std::vector<std::uint8_t> bytes(const vantoconnect::VantoReceipt& receipt,
                                           const std::string& source);
};

}  // namespace vantoreceipts
