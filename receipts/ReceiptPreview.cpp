#include "receipts/ReceiptPreview.hpp"

#include "emulator/PrinterInterpreter.hpp"
#include "receipts/ReceiptFile.hpp"

namespace vantoreceipts {

std::vector<std::uint8_t> ReceiptPreview::bytes(const vantoconnect::VantoReceipt& receipt,
                                                const std::string& source) {
    std::vector<std::uint8_t> joined;
    for (const auto& group : ReceiptFile::compose(receipt, source)) {
        joined.insert(joined.end(), group.begin(), group.end());
    }
    return joined;
}

vantoemu::RenderedReceipt ReceiptPreview::render(const vantoconnect::VantoReceipt& receipt,
                                                 const std::string& source) {
    return vantoemu::ReceiptRenderer::renderBytes(bytes(receipt, source));
}

std::string ReceiptPreview::text(const vantoconnect::VantoReceipt& receipt,
                                 const std::string& source) {
    return vantoemu::ReceiptRenderer::textView(
        vantoemu::PrinterInterpreter::interpret(bytes(receipt, source)));
}

}  // namespace vantoreceipts
