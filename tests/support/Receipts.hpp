#pragma once

// Receipts as most tests need them: plain text lines, and the printer bytes the unit should
// collect for one (every group of the composer, in order).

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace vantoconnect::testing {

inline std::shared_ptr<VantoReceipt> receiptSaying(std::initializer_list<std::string> lines) {
    auto receipt = std::make_shared<VantoReceipt>();
    for (const auto& line : lines) {
        receipt->addLine(std::make_shared<VantoReceiptTextLine>(line, 0, 0, 0));
    }
    return receipt;
}

inline std::shared_ptr<VantoReceipt> receiptSaying(const std::string& line) {
    return receiptSaying({line});
}

inline std::vector<std::uint8_t> composed(const VantoReceipt& receipt) {
    std::vector<std::uint8_t> all;
    for (const Bytes& group : ReceiptComposer().compose(receipt)) {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

}  // namespace vantoconnect::testing
