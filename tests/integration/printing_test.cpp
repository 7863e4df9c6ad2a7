#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <tuple>

#include "emulator/PrinterDocument.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect::integration {
namespace {

using namespace vantoemu;

// 144 x 24 pixels, the left half black and the right half white: on paper 288 raster columns
// and, stretched to twice its proportional height, four bands of 24 rows.
Image halfBlackImage() {
    std::vector<std::uint8_t> rgba(144 * 24 * 4, 255);
    for (std::size_t at = 0; at < rgba.size(); at += 4) {
        if (at / 4 % 144 < 72) {
            rgba[at] = rgba[at + 1] = rgba[at + 2] = 0;
        }
    }
    return Image::fromRGBA(144, 24, rgba);
}

// One line of every kind.
std::shared_ptr<VantoReceipt> everyLineKind() {
    auto receipt = std::make_shared<VantoReceipt>();
    receipt->setHeaderFeed(1);
    receipt->setCutType(Vanto::CUT_TYPE_PARTIAL);
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "RECEIPT", Vanto::TEXT_STYLE_BOLD | Vanto::TEXT_STYLE_UNDERLINED, Vanto::TEXT_SIZE_WIDE,
        Vanto::TEXT_POSITION_CENTER));
    receipt->addLine(std::make_shared<VantoReceiptTextLine>(
        "Café", Vanto::TEXT_STYLE_ITALIC | Vanto::TEXT_STYLE_INVERSE, Vanto::TEXT_SIZE_NORMAL,
        Vanto::TEXT_POSITION_RIGHT));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Coffee", Vanto::TEXT_STYLE_BOLD,
                                                             "2.50", Vanto::TEXT_STYLE_NONE));
    receipt->addLine(std::make_shared<VantoReceiptSingleCharLine>("="));
    receipt->addLine(std::make_shared<VantoReceiptFeedLine>(3));
    // The barcode constructor ignores the position and height it is given; the setters do not.
    for (const auto& [type, data, hri, height] :
         {std::tuple{Vanto::BARCODE_TYPE_UPCA, "12345678901", Vanto::BARCODE_HRI_BELOW,
                     54.0 / 154.0},
          std::tuple{Vanto::BARCODE_TYPE_CODE39, "VANTO-39", Vanto::BARCODE_HRI_ABOVE, 0.5},
          std::tuple{Vanto::BARCODE_TYPE_PDF417, "vantoconnect", Vanto::BARCODE_HRI_BOTH, 0.75}}) {
        auto line = std::make_shared<VantoReceiptBarcodeLine>(type, data);
        line->setHri(hri);
        line->setHeight(height);
        receipt->addLine(line);
    }
    receipt->addLine(std::make_shared<VantoReceiptImageLine>(halfBlackImage()));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Total", Vanto::TEXT_STYLE_NONE,
                                                             "2.50", Vanto::TEXT_STYLE_BOLD));
    return receipt;
}

// The receipt as the paper shows it: header feed, the wide title centred, the accented line on
// the right, a price line, the separator, the three-line feed, the barcodes centred, the image,
// the total, the footer feed and the cut.
const std::string TEXT_VIEW =
    "\n" + std::string(15, ' ') + "RECEIPT\n" + std::string(39, ' ') + "CafÃ©\nCoffee" +
    std::string(34, ' ') + "2.50\n" + std::string(44, '=') + "\n\n\n\n" + std::string(12, ' ') +
    "[UPC-A 123456789012]\n" + std::string(13, ' ') + "[Code 39 VANTO-39]\n" +
    std::string(11, ' ') + "[PDF417 vantoconnect]\n[image 288x96]\nTotal" + std::string(35, ' ') +
    "2.50" + std::string(13, '\n') + std::string(15, '-') + " partial cut " + std::string(16, '-') +
    "\n";

class Printing : public UnitTest {
  protected:
    bool drawsPaper() const override { return true; }
};

TEST_F(Printing, ReceiptWithEveryLineKindArrivesWholeReadsAsComposedAndInksThePaper) {
    auto receipt = everyLineKind();
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receipt, callback);
    ASSERT_TRUE(callback->waitForEvents(2));
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    EXPECT_EQ(callback->events(), PRINTED);

    const auto printed = unit->receipts().at(0);
    EXPECT_EQ(printed.bytes, composed(*receipt));  // every packet once, in order
    EXPECT_EQ(events("printer_data_resent"), 0u);
    const PrinterDocument& doc = printed.document;
    EXPECT_TRUE(doc.issues.empty());
    EXPECT_EQ(ReceiptRenderer::textView(doc), TEXT_VIEW);
    // Elements: header feed, 2 text lines, price, separator, feed, 3 barcodes, 4 bands, price,
    // footer feed, cut. A price line keeps the justification in force before it: right, then
    // the barcodes' centre.
    auto line = [&](std::size_t k) { return std::get<TextLine>(doc.elements.at(k)); };
    EXPECT_EQ(line(3).justification, Justification::Right);
    EXPECT_EQ(line(13).justification, Justification::Center);

    const auto title = line(1).runs.at(0);
    EXPECT_EQ(title.style, (TextStyle{.bold = true, .underline = true, .wide = true}));
    EXPECT_EQ(title.codePage, CodePage::Windows1252);
    // The accent travels as its two UTF-8 bytes, which the text view shows as two characters.
    EXPECT_EQ(line(2).runs.at(0).style, (TextStyle{.italic = true, .inverse = true}));
    EXPECT_EQ(line(3).runs.at(0).style, TextStyle{.bold = true});
    EXPECT_EQ(line(3).runs.at(2).style, TextStyle{});

    // Kind, human-readable text position and bar height in dots of each barcode.
    std::vector<std::tuple<BarcodeKind, int, int>> barcodes;
    for (const Barcode& b : doc.all<Barcode>()) {
        barcodes.emplace_back(b.kind, b.hri, b.height);
    }
    EXPECT_EQ(barcodes,
              (std::vector<std::tuple<BarcodeKind, int, int>>{{BarcodeKind::UpcA, 2, 54},
                                                              {BarcodeKind::Code39, 1, 77},
                                                              {BarcodeKind::Pdf417, 3, 115}}));

    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), printed.packets);

    const auto& paper = printed.rendered;
    ASSERT_EQ(paper.width, 576);
    std::ifstream png(printed.pngPath, std::ios::binary);
    EXPECT_EQ(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(png), {}), paper.png);
    // The image is the only thing that inks the whole left half of a row and none of the
    // right: each raster column is two dots wide, so its black half covers 288 dots.
    int imageRows = 0;
    for (int y = 0; y < paper.height; ++y) {
        imageRows += paper.darkCount(0, y, 280, 1) >= 270 && paper.darkCount(296, y, 280, 1) == 0;
    }
    EXPECT_GE(imageRows, 90);  // 4 bands of 24 rows, less what the resampling softens
    EXPECT_LE(imageRows, 96);
}

}  // namespace
}  // namespace vantoconnect::integration
