#pragma once

#include <cstdint>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// Feeds the paper by a number of lines; 0 sends nothing.
class VantoReceiptFeedLine : public VantoReceiptLine {
  public:
    std::int64_t lines = 0;

    VantoReceiptFeedLine() { lineType = VantoReceiptLineType::FEED; }
    explicit VantoReceiptFeedLine(std::int64_t lines) : VantoReceiptFeedLine() { setLines(lines); }

    void setLines(std::int64_t lines) {
        const auto lock = VantoReceipt::lockModel();
        this->lines = lines;
    }
};

}  // namespace vantoconnect
