#include "receipts/ReceiptLines.hpp"

#include <utility>

#include "receipts/ReceiptInputError.hpp"
#include "receipts/ReceiptLineCheck.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/support/Character.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoreceipts {

using namespace vantoconnect;

namespace {

template <typename Line>
std::shared_ptr<Line> checked(std::shared_ptr<Line> line, const std::string& where) {
    ReceiptLineCheck::line(line, where);
    return line;
}

}  // namespace

std::shared_ptr<VantoReceiptTextLine> ReceiptLines::text(std::string text, std::int64_t style,
                                                         std::int64_t size, std::int64_t position,
                                                         const std::string& where) {
    return checked(std::make_shared<VantoReceiptTextLine>(std::move(text), style, size, position),
                   where);
}

std::shared_ptr<VantoReceiptPriceLine> ReceiptLines::price(std::string leftText,
                                                           std::int64_t leftStyle,
                                                           std::string rightText,
                                                           std::int64_t rightStyle,
                                                           const std::string& where) {
    return checked(std::make_shared<VantoReceiptPriceLine>(std::move(leftText), leftStyle,
                                                           std::move(rightText), rightStyle),
                   where);
}

std::shared_ptr<VantoReceiptSingleCharLine> ReceiptLines::separator(const std::string& chr,
                                                                    const std::string& where) {
    ReceiptLineCheck::text(chr, where + ": character", true);
    // Character itself stops the process on anything but one character.
    if (GraphemeCounter::count(chr) != 1) {
        throw ReceiptInputError(where + ": character: must be exactly one character, not \"" + chr +
                                "\"");
    }
    return checked(std::make_shared<VantoReceiptSingleCharLine>(Character(chr)), where);
}

std::shared_ptr<VantoReceiptFeedLine> ReceiptLines::feed(std::int64_t lines,
                                                         const std::string& where) {
    return checked(std::make_shared<VantoReceiptFeedLine>(lines), where);
}

std::shared_ptr<VantoReceiptBarcodeLine> ReceiptLines::barcode(std::int64_t type, std::string data,
                                                               std::int64_t hri, double height,
                                                               const std::string& where) {
    auto line = std::make_shared<VantoReceiptBarcodeLine>(type, std::move(data));
    line->setHri(hri);
    line->setHeight(height);
    return checked(std::move(line), where);
}

std::shared_ptr<VantoReceiptImageLine> ReceiptLines::image(Image image) {
    return std::make_shared<VantoReceiptImageLine>(std::move(image));
}

void ReceiptLines::setCutType(VantoReceipt& receipt, std::int64_t cutType,
                              const std::string& where) {
    ReceiptLineCheck::range(cutType, Vanto::CUT_TYPE_FULL, Vanto::CUT_TYPE_PARTIAL, where);
    receipt.setCutType(cutType);
}

void ReceiptLines::setHeaderFeed(VantoReceipt& receipt, std::int64_t lines,
                                 const std::string& where) {
    ReceiptLineCheck::feed(lines, where);
    receipt.setHeaderFeed(lines);
}

void ReceiptLines::setFooterFeed(VantoReceipt& receipt, std::int64_t lines,
                                 const std::string& where) {
    ReceiptLineCheck::feed(lines, where);
    receipt.setFooterFeed(lines);
}

}  // namespace vantoreceipts
