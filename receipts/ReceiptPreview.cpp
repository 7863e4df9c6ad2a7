#include "receipts/ReceiptPreview.hpp"

#include <cstdint>
#include <vector>

#include "receipts/ReceiptFile.hpp"

namespace vantoreceipts {

vantoemu::RenderedReceipt ReceiptPreview::render(const vantoconnect::VantoReceipt& receipt,
                                                 const std::string& source) {
    std::vector<std::uint8_t> bytes;
    for (const auto& group : ReceiptFile::compose(receipt, source)) {
        bytes.insert(bytes.end(), group.begin(), group.end());
    }
    return vantoemu::ReceiptRenderer::renderBytes(bytes);
}

}  // namespace vantoreceipts
