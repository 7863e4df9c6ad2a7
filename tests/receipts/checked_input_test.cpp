// Every door (receipt files, the command line, the C API, the Python package) makes lines,
// receipt settings and device requests through these classes, so each refusal is proven here,
// once: what the library would stop the process on or print otherwise than meant is refused
// with a message naming the line and the field, and nothing changes. The doors' own suites keep
// one case each, for the way they report it.

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "receipts/CheckedFacade.hpp"
#include "receipts/CheckedReceipt.hpp"
#include "receipts/ReceiptImage.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "vantoconnect/Vanto.hpp"

namespace {

using vantoconnect::Vanto;
using vantoreceipts::CheckedFacade;
using vantoreceipts::CheckedReceipt;
using vantoreceipts::ReceiptImage;
using vantoreceipts::ReceiptInputError;

template <typename Target>
std::string refusal(Target& target, const std::function<void(Target&)>& call) {
    try {
        call(target);
    } catch (const ReceiptInputError& e) {
        return e.what();
    }
    return "";
}

TEST(CheckedReceipt, RefusesWhatWouldStopOrMisprintAndKeepsTheReceiptAsItWas) {
    using Call = std::function<void(CheckedReceipt&)>;
    constexpr auto UPCA = Vanto::BARCODE_TYPE_UPCA;
    constexpr auto CODE39 = Vanto::BARCODE_TYPE_CODE39;
    const struct {
        Call call;
        const char* names;
    } cases[] = {
        {[](auto& r) { r.addFeed(-5); }, "line 2: lines: must lie in 0...127, not -5"},
        {[](auto& r) { r.addFeed(128); }, "not 128"},
        {[](auto& r) { r.addBarcode(UPCA, "01234567890", 2, 0.9); }, "line 2: height: must be"},
        {[](auto& r) { r.addBarcode(UPCA, "01234567890", 2, 0.0); }, "1...127 dots"},
        {[](auto& r) { r.addBarcode(UPCA, "CAFE42", 2, 0.5); }, "line 2: data: a UPC-A barcode"},
        {[](auto& r) { r.addBarcode(CODE39, "abc", 2, 0.5); }, "capital letters"},
        {[](auto& r) { r.addBarcode(Vanto::BARCODE_TYPE_PDF417, "", 2, 0.5); }, "without data"},
        {[](auto& r) { r.addBarcode(7, "1", 2, 0.5); }, "line 2: type:"},
        {[](auto& r) { r.addBarcode(CODE39, std::string(1025, 'A'), 2, 0.5); }, "has 1025 bytes"},
        {[](auto& r) { r.addBarcode(CODE39, "A", 9, 0.5); }, "line 2: hri: must lie in 0...3"},
        {[](auto& r) { r.addPrice(std::string(30, 'a'), 0, std::string(14, '1'), 0); },
         "left and right text together have 44 characters"},
        {[](auto& r) { r.addText(std::string(1014, 'x'), 0, 0, 0); }, "at most 1024"},
        {[](auto& r) { r.addText(std::string(1013, 'x'), Vanto::TEXT_STYLE_BOLD, 0, 0); },
         "the text composes to 1030 bytes"},
        {[](auto& r) {
             r.addText(
                 "total\x1b"
                 "E",
                 0, 0, 0);
         },
         "control character U+001B"},
        {[](auto& r) { r.addText("x", 16, 0, 0); }, "line 2: style:"},
        {[](auto& r) { r.addText("x", 0, 2, 0); }, "line 2: size:"},
        {[](auto& r) { r.addText("x", 0, 0, 3); }, "line 2: position:"},
        {[](auto& r) { r.addPrice("x", 0, "tab\t", 0); }, "right text: contains"},
        {[](auto& r) { r.addSeparator("\t"); }, "U+0009"},
        {[](auto& r) { r.addSeparator("=="); }, "must be exactly one character, not \"==\""},
        {[](auto& r) { r.addSeparator(""); }, "must be exactly one character"},
        {[](auto& r) { r.setHeaderFeed(128, "header_feed"); }, "header_feed: must lie in 0...127"},
        {[](auto& r) { r.setFooterFeed(-3, "footer_feed"); }, "footer_feed: must lie in"},
        {[](auto& r) { r.setCutType(2, "cut_type"); }, "cut_type: must lie in 0...1"},
    };
    CheckedReceipt receipt;
    receipt.addText("kept", 0, 0, 0);
    for (const auto& c : cases) {
        const std::string message = refusal(receipt, c.call);
        EXPECT_NE(message.find(c.names), std::string::npos) << "got \"" << message << "\"";
    }
    EXPECT_EQ(receipt.lineCount(), 1u);
    const auto& model = *receipt.model();
    EXPECT_EQ(model.getCutType(), Vanto::CUT_TYPE_FULL);
    EXPECT_EQ(model.getHeaderFeed(), 0);
    EXPECT_EQ(model.getFooterFeed(), 12);
}

TEST(CheckedReceipt, AddsLinesThatPrintAsMeantUpToEveryLimit) {
    CheckedReceipt receipt;
    receipt.addFeed(127);
    receipt.addBarcode(Vanto::BARCODE_TYPE_UPCA, "012345678905", 0, 0.8246);
    receipt.addBarcode(Vanto::BARCODE_TYPE_CODE39, "ABC-123 $/+%.", 3, 0.0065);
    receipt.addPrice(std::string(30, 'a'), 15, std::string(13, '1'), 0);
    receipt.addText(std::string(1013, 'x'), 0, 0, 0);
    receipt.addSeparator(std::string(1, '\0'));  // prints nothing
    receipt.addSeparator("\u00e9");
    EXPECT_EQ(receipt.lineCount(), 7u);
}

// Aimed at loopback, where nothing listens on port 1, should a check ever let a request through.
TEST(CheckedFacade, RefusesLedRequestsThatWouldStopOrMisleadAndPortsNoUnitHas) {
    using Call = std::function<void(CheckedFacade&)>;
    const struct {
        Call call;
        const char* names;
    } cases[] = {
        {[](auto& v) { v.setDiagnosticLed(3, 1); }, "ped cannot be set to green"},
        {[](auto& v) { v.setDiagnosticLed(5, 1); }, "unknown LED position 5"},
        {[](auto& v) { v.setDiagnosticLed(0, 4); }, "unknown LED colour 4"},
        {[](auto& v) { v.setCosmeticLed(99); }, "unknown cosmetic colour 99"},
        {[](auto& v) { v.setPort(0); }, "port must lie in 1...65535, not 0"},
        {[](auto& v) { v.setPort(70000); }, "not 70000"},
    };
    CheckedFacade facade;
    facade.setAddress("127.0.0.1");
    facade.setPort(1);
    for (const auto& c : cases) {
        const std::string message = refusal(facade, c.call);
        EXPECT_NE(message.find(c.names), std::string::npos) << "got \"" << message << "\"";
    }
    EXPECT_EQ(facade.port(), 1);
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
