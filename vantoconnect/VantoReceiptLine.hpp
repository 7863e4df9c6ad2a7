#pragma once

#include "vantoconnect/VantoReceiptLineType.hpp"

namespace vantoconnect {

// Base of every receipt line. The composer picks the line's class from lineType, so a line whose
// type names a class it is not stops composition; a bare line says TEXT and is such a line.
// Lines are shared, not copied, when added to a receipt (std::shared_ptr). The setters of the
// line classes take the receipt model's lock; their public fields do not (see VantoReceipt).
class VantoReceiptLine {
  public:
    VantoReceiptLineType lineType = VantoReceiptLineType::TEXT;

    VantoReceiptLine() = default;
    virtual ~VantoReceiptLine() = default;

  protected:
    VantoReceiptLine(const VantoReceiptLine&) = default;
    VantoReceiptLine& operator=(const VantoReceiptLine&) = default;
};

}  // namespace vantoconnect
