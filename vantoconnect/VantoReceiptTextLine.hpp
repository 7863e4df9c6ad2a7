#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptLine.hpp"

namespace vantoconnect {

// One line of text. style is a bit set of the TEXT_STYLE_* values, size a TEXT_SIZE_* value and
// position a TEXT_POSITION_* value; nothing is checked here, the printer bytes decide.
class VantoReceiptTextLine : public VantoReceiptLine {
  public:
    std::string text;
    std::int64_t style = 0;
    std::int64_t size = 0;
    std::int64_t position = 0;

    VantoReceiptTextLine() { lineType = VantoReceiptLineType::TEXT; }
    VantoReceiptTextLine(std::string text, std::int64_t style, std::int64_t size,
                         std::int64_t position)
        : VantoReceiptTextLine() {
        setText(std::move(text), style, size, position);
    }

    void setText(std::string text, std::int64_t style, std::int64_t size, std::int64_t position) {
        const auto lock = VantoReceipt::lockModel();
        this->text = std::move(text);
        this->style = style;
        this->size = size;
        this->position = position;
    }
};

}  // namespace vantoconnect
