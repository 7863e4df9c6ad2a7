#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// A left text and a right text on one full-width line, with spaces between. The two texts
// together must leave room for at least one space; composing a longer line stops the process
// rather than silently cutting a price.
class VantoReceiptPriceLine : public VantoReceiptLine {
  public:
    std::string leftText;
    std::string rightText;
    std::int64_t leftStyle = 0;
    std::int64_t rightStyle = 0;

    VantoReceiptPriceLine() { lineType = VantoReceiptLineType::PRICE; }
    VantoReceiptPriceLine(std::string leftText, std::int64_t leftStyle, std::string rightText,
                          std::int64_t rightStyle)
        : VantoReceiptPriceLine() {
        setLeftText(std::move(leftText), leftStyle);
        setRightText(std::move(rightText), rightStyle);
    }

    void setLeftText(std::string leftText, std::int64_t style) {
        const auto lock = VantoReceipt::lockModel();
        this->leftText = std::move(leftText);
        leftStyle = style;
    }
    void setRightText(std::string rightText, std::int64_t style) {
        const auto lock = VantoReceipt::lockModel();
        this->rightText = std::move(rightText);
        rightStyle = style;
    }
};

}  // namespace vantoconnect
