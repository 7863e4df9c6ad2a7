#include "receipts/CheckedReceipt.hpp"

#include <cstring>
#include <utility>
#include <vector>

#include "receipts/ReceiptLines.hpp"
#include "vantoconnect/ReceiptComposer.hpp"

namespace vantoreceipts {

using namespace vantoconnect;

CheckedReceipt::CheckedReceipt() : mModel(std::make_shared<VantoReceipt>()) {}

CheckedReceipt::CheckedReceipt(std::shared_ptr<VantoReceipt> model)
    : mModel(std::move(model)), mLines(mModel->getLines().size()) {}

template <typename Make>
void CheckedReceipt::add(Make&& make) {
    const std::string where = "line " + std::to_string(mLines.load() + 1);
    mModel->addLine(make(where));
    ++mLines;
}

void CheckedReceipt::addText(std::string text, std::int64_t style, std::int64_t size,
                             std::int64_t position) {
    add([&](const std::string& where) {
        return ReceiptLines::text(std::move(text), style, size, position, where);
    });
}

void CheckedReceipt::addPrice(std::string leftText, std::int64_t leftStyle, std::string rightText,
                              std::int64_t rightStyle) {
    add([&](const std::string& where) {
        return ReceiptLines::price(std::move(leftText), leftStyle, std::move(rightText), rightStyle,
                                   where);
    });
}

void CheckedReceipt::addSeparator(const std::string& chr) {
    add([&](const std::string& where) { return ReceiptLines::separator(chr, where); });
}

void CheckedReceipt::addFeed(std::int64_t lines) {
    add([&](const std::string& where) { return ReceiptLines::feed(lines, where); });
}

void CheckedReceipt::addBarcode(std::int64_t type, std::string data, std::int64_t hri,
                                double height) {
    add([&](const std::string& where) {
        return ReceiptLines::barcode(type, std::move(data), hri, height, where);
    });
}

void CheckedReceipt::addImage(const Image& image) {
    add([&](const std::string&) { return ReceiptLines::image(image); });
}

void CheckedReceipt::setCutType(std::int64_t cutType, const std::string& where) {
    ReceiptLines::setCutType(*mModel, cutType, where);
}

void CheckedReceipt::setHeaderFeed(std::int64_t lines, const std::string& where) {
    ReceiptLines::setHeaderFeed(*mModel, lines, where);
}

void CheckedReceipt::setFooterFeed(std::int64_t lines, const std::string& where) {
    ReceiptLines::setFooterFeed(*mModel, lines, where);
}

std::size_t CheckedReceipt::lineCount() const {
    return mModel->getLines().size();
}

std::size_t CheckedReceipt::composeInto(
    const std::function<std::uint8_t*(std::size_t)>& allocate) const {
    const std::vector<Bytes> groups = ReceiptComposer().compose(*mModel);
    std::size_t total = 0;
    for (const auto& group : groups) {
        total += group.size();
    }
    std::uint8_t* out = allocate(total);
    for (const auto& group : groups) {
        std::memcpy(out, group.data(), group.size());
        out += group.size();
    }
    return total;
}

}  // namespace vantoreceipts
