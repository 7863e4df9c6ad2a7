// Lines and images made in code (the way the bindings make them) are refused before they reach
// one of the library's fatal edges or print something else than was meant; lines that print
// as meant pass untouched.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "receipts/ReceiptImage.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "receipts/ReceiptLineCheck.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"

namespace {

using namespace vantoconnect;
using vantoreceipts::ReceiptImage;
using vantoreceipts::ReceiptInputError;
using vantoreceipts::ReceiptLineCheck;

std::shared_ptr<VantoReceiptLine> barcode(std::int64_t type, std::string data, double height) {
    auto line = std::make_shared<VantoReceiptBarcodeLine>(type, std::move(data));
    line->setHeight(height);
    return line;
}

std::shared_ptr<VantoReceiptLine> text(std::string s, std::int64_t style = 0,
                                       std::int64_t size = 0) {
    return std::make_shared<VantoReceiptTextLine>(std::move(s), style, size, 0);
}

// The message must name the part of the line that is wrong.
std::string refusal(const std::shared_ptr<VantoReceiptLine>& line) {
    try {
        ReceiptLineCheck::line(line, "line");
    } catch (const ReceiptInputError& e) {
        return e.what();
    }
    return "";
}

TEST(ReceiptLineCheck, RefusesWhatWouldStopOrMisprint) {
    const struct {
        std::shared_ptr<VantoReceiptLine> line;
        const char* names;
    } cases[] = {
        {std::make_shared<VantoReceiptFeedLine>(-5), "line: lines: must lie in 0...127, not -5"},
        {std::make_shared<VantoReceiptFeedLine>(128), "not 128"},
        {barcode(Vanto::BARCODE_TYPE_UPCA, "01234567890", 0.9), "line: height:"},
        {barcode(Vanto::BARCODE_TYPE_UPCA, "01234567890", 0.0), "line: height:"},
        {barcode(Vanto::BARCODE_TYPE_UPCA, "0123456789A", 0.5), "line: data:"},
        {barcode(Vanto::BARCODE_TYPE_CODE39, "abc", 0.5), "line: data:"},
        {barcode(Vanto::BARCODE_TYPE_PDF417, "", 0.5), "without data"},
        {barcode(7, "1", 0.5), "line: type:"},
        {barcode(Vanto::BARCODE_TYPE_CODE39, std::string(1025, 'A'), 0.5), "has 1025 bytes"},
        {[] {
             auto line = barcode(Vanto::BARCODE_TYPE_PDF417, "x", 0.5);
             std::static_pointer_cast<VantoReceiptBarcodeLine>(line)->setHri(9);
             return line;
         }(),
         "line: hri: must lie in 0...3, not 9"},
        {std::make_shared<VantoReceiptPriceLine>(std::string(30, 'a'), 0, std::string(14, '1'), 0),
         "44 characters"},
        {text(std::string(1014, 'x')), "1024"},
        {text(std::string(1013, 'x'), Vanto::TEXT_STYLE_BOLD), "1024"},
        {text("tab\there"), "U+0009"},
        {text("ok", 16), "line: style:"},
        {text("ok", 0, 2), "line: size:"},
        {std::make_shared<VantoReceiptSingleCharLine>(Character("\x1b")), "U+001B"},
    };
    for (const auto& c : cases) {
        const std::string message = refusal(c.line);
        EXPECT_NE(message.find(c.names), std::string::npos) << "got \"" << message << "\"";
    }
}

TEST(ReceiptLineCheck, PassesLinesThatPrintAsMeant) {
    const std::shared_ptr<VantoReceiptLine> lines[] = {
        std::make_shared<VantoReceiptFeedLine>(127),
        barcode(Vanto::BARCODE_TYPE_UPCA, "012345678905", 0.8246),
        barcode(Vanto::BARCODE_TYPE_CODE39, "ABC-123 $/+%.", 0.0065),
        std::make_shared<VantoReceiptPriceLine>(std::string(30, 'a'), 0, std::string(13, '1'), 0),
        text(std::string(1013, 'x')),
        std::make_shared<VantoReceiptSingleCharLine>(Character(std::string(1, '\0'))),
    };
    for (const auto& line : lines) {
        EXPECT_EQ(refusal(line), "");
    }
}

TEST(ReceiptImage, BytesAndPixelsMeetTheLimitsOfFiles) {
    const std::vector<std::uint8_t> clear(4 * 4, 0);  // 2 x 2, fully transparent black
    const auto flat = ReceiptImage::fromRGBA(2, 2, clear, "img");
    EXPECT_EQ(flat.rgba()[0], 255) << "transparent pixels are laid on white paper";
    const auto kept = ReceiptImage::fromRGBA(2, 2, clear, "img", false);
    EXPECT_EQ(kept.rgba()[0], 0);

    const std::function<void()> refused[] = {
        [&] { ReceiptImage::fromRGBA(2, 2, std::vector<std::uint8_t>(15), "img"); },
        [&] { ReceiptImage::fromRGBA(0, 2, {}, "img"); },
        [&] { ReceiptImage::fromRGBA(ReceiptImage::MAX_SIDE + 1, 1, clear, "img"); },
        [&] { ReceiptImage::fromEncoded({}, "img"); },
        [&] {
            ReceiptImage::fromEncoded(std::vector<std::uint8_t>{'n', 'o', 't'}, "img");
        },
    };
    for (const auto& call : refused) {
        EXPECT_THROW(call(), ReceiptInputError);
    }
}

}  // namespace
