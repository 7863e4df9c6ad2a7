#pragma once

#include <utility>

#include "vantoconnect/VantoReceiptLine.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect {

// An image printed as black and white dots across the paper. There is deliberately no
// parameterless constructor: an image line exists only with an image, and the compiler refuses
// VantoReceiptImageLine{}. An image that cannot be decoded fails when the Image is made, so it
// never reaches a receipt.
class VantoReceiptImageLine : public VantoReceiptLine {
  public:
    Image image;

    explicit VantoReceiptImageLine(Image image) : image(std::move(image)) {
        lineType = VantoReceiptLineType::IMAGE;
    }
};

}  // namespace vantoconnect
