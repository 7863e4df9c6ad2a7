#pragma once

#include <string>
#include <utility>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptLine.hpp"
#include "vantoconnect/support/Character.hpp"

namespace vantoconnect {

// One character repeated across the full width of the paper, as a separator. The NUL character
// prints nothing. chr holds exactly one user-perceived character; assigning anything else (an
// empty string, two characters) stops the process.
class VantoReceiptSingleCharLine : public VantoReceiptLine {
  public:
    Character chr{"-"};

    VantoReceiptSingleCharLine() { lineType = VantoReceiptLineType::SINGLE_CHAR; }
    explicit VantoReceiptSingleCharLine(Character chr) : VantoReceiptSingleCharLine() {
        setChar(std::move(chr));
    }

    void setChar(Character chr) {
        const auto lock = VantoReceipt::lockModel();
        this->chr = std::move(chr);
    }
};

}  // namespace vantoconnect
