#pragma once

// Receipt lines made from plain values, the way the language bindings make them: each line is
// built with the library's own constructor and setters, exactly as a C++ application would
// build it, and then checked (ReceiptLineCheck) before the caller adds it to a receipt. So a
// line from C or Python is refused with the same message as the same line in a receipt file,
// and one that passes prints exactly as its C++ twin.
//
// `where` names the line in messages ("line 3"). Every function throws ReceiptInputError.

#include <cstdint>
#include <memory>
#include <string>

#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoreceipts {

class ReceiptLines {
  public:
    static std::shared_ptr<vantoconnect::VantoReceiptTextLine> text(std::string text,
                                                                    std::int64_t style,
                                                                    std::int64_t size,
                                                                    std::int64_t position,
                                                                    const std::string& where);
    static std::shared_ptr<vantoconnect::VantoReceiptPriceLine> price(std::string leftText,
                                                                      std::int64_t leftStyle,
                                                                      std::string rightText,
                                                                      std::int64_t rightStyle,
                                                                      const std::string& where);
    // One user-perceived character repeated across the paper; "\0" prints nothing.
    static std::shared_ptr<vantoconnect::VantoReceiptSingleCharLine> separator(
        const std::string& chr, const std::string& where);
    static std::shared_ptr<vantoconnect::VantoReceiptFeedLine> feed(std::int64_t lines,
                                                                    const std::string& where);
    // Made with the (type, data) constructor and then setHri and setHeight: the constructor
    // that takes hri and height leaves them unused.
    static std::shared_ptr<vantoconnect::VantoReceiptBarcodeLine> barcode(std::int64_t type,
                                                                          std::string data,
                                                                          std::int64_t hri,
                                                                          double height,
                                                                          const std::string& where);
    // The image's limits were checked when it was made (ReceiptImage): every band of it fits a
    // packet, so the line is not composed here, which would scale the image a second time.
    static std::shared_ptr<vantoconnect::VantoReceiptImageLine> image(vantoconnect::Image image);

    // The receipt-wide settings, under the limits of receipt files.
    static void setCutType(vantoconnect::VantoReceipt& receipt, std::int64_t cutType,
                           const std::string& where);
    static void setHeaderFeed(vantoconnect::VantoReceipt& receipt, std::int64_t lines,
                              const std::string& where);
    static void setFooterFeed(vantoconnect::VantoReceipt& receipt, std::int64_t lines,
                              const std::string& where);
};

}  // namespace vantoreceipts
