#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "emulator/PrinterDocument.hpp"
#include "emulator/ReceiptRenderer.hpp"
#include "tests/integration/IntegrationSupport.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect::integration {
namespace {

using vantoemu::Barcode;
using vantoemu::BarcodeKind;
using vantoemu::CodePage;
using vantoemu::Cut;
using vantoemu::Feed;
using vantoemu::Justification;
using vantoemu::PrinterDocument;
using vantoemu::RasterBand;
using vantoemu::ReceiptRenderer;
using vantoemu::TextLine;
using vantoemu::TextStyle;

std::shared_ptr<VantoReceiptBarcodeLine> barcode(std::int64_t type, std::string data,
                                                 std::int64_t hri, double height) {
    auto line = std::make_shared<VantoReceiptBarcodeLine>(type, std::move(data));
    line->setHri(hri);
    line->setHeight(height);
    return line;
}

// 144 x 24 pixels, the left half black and the right half white: on paper 288 raster columns
// and, stretched to twice its proportional height, four bands of 24 rows.
Image halfBlackImage() {
    constexpr int width = 144;
    constexpr int height = 24;
    std::vector<std::uint8_t> rgba(static_cast<std::size_t>(width * height * 4), 255);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width / 2; ++x) {
            const std::size_t at = static_cast<std::size_t>((y * width + x) * 4);
            rgba[at] = rgba[at + 1] = rgba[at + 2] = 0;
        }
    }
    return Image::fromRGBA(width, height, rgba);
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
    receipt->addLine(
        barcode(Vanto::BARCODE_TYPE_UPCA, "12345678901", Vanto::BARCODE_HRI_BELOW, 54.0 / 154.0));
    receipt->addLine(
        barcode(Vanto::BARCODE_TYPE_CODE39, "VANTO-39", Vanto::BARCODE_HRI_ABOVE, 0.5));
    receipt->addLine(
        barcode(Vanto::BARCODE_TYPE_PDF417, "vantoconnect", Vanto::BARCODE_HRI_BOTH, 0.75));
    receipt->addLine(std::make_shared<VantoReceiptImageLine>(halfBlackImage()));
    receipt->addLine(std::make_shared<VantoReceiptPriceLine>("Total", Vanto::TEXT_STYLE_NONE,
                                                             "2.50", Vanto::TEXT_STYLE_BOLD));
    return receipt;
}

// Runs of consecutive paper rows that do or do not carry ink, top to bottom.
struct RowRun {
    int top = 0;
    int rows = 0;
    bool inked = false;
};
std::vector<RowRun> rowRuns(const vantoemu::RenderedReceipt& paper) {
    std::vector<RowRun> runs;
    for (int y = 0; y < paper.height; ++y) {
        const bool inked = paper.darkCount(0, y, paper.width, 1) > 0;
        if (runs.empty() || runs.back().inked != inked) {
            runs.push_back({y, 0, inked});
        }
        ++runs.back().rows;
    }
    return runs;
}

using Printing = UnitTest;

class PrintedPaper : public UnitTest {
  protected:
    bool drawsPaper() const override { return true; }
};

TEST_F(Printing, ReceiptWithEveryLineKindArrivesWholeAndReadsAsComposed) {
    auto receipt = everyLineKind();
    const auto expected = composed(*receipt);
    console.clear();  // composing here logged the image's size too
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receipt, callback);
    ASSERT_TRUE(callback->waitForEvents(2));
    ASSERT_TRUE(unit->waitForReceipts(1, 20s));

    const auto heard = callback->events();
    EXPECT_EQ(callback->kinds(), (std::vector<std::string>{"started", "completed"}));
    EXPECT_EQ(heard[0].detail, "127.0.0.1");
    EXPECT_EQ(heard[1].detail, "127.0.0.1");

    const auto printed = unit->receipts().at(0);
    EXPECT_EQ(printed.bytes, expected);  // every packet once, in order
    EXPECT_EQ(events("printer_data_resent"), 0u);
    const PrinterDocument& doc = printed.document;
    EXPECT_TRUE(doc.issues.empty());

    // header feed, 2 text lines, price, separator, feed, 3 barcodes, 4 bands, price, footer, cut
    ASSERT_EQ(doc.elements.size(), 16u);
    EXPECT_EQ(std::get<Feed>(doc.elements[0]).lines, 1);

    const auto& title = std::get<TextLine>(doc.elements[1]);
    EXPECT_EQ(title.justification, Justification::Center);
    ASSERT_EQ(title.runs.size(), 1u);
    EXPECT_EQ(title.runs[0].text, "RECEIPT");
    EXPECT_EQ(title.runs[0].style, (TextStyle{.bold = true, .underline = true, .wide = true}));
    EXPECT_EQ(title.runs[0].codePage, CodePage::Windows1252);

    // The accent travels as its two UTF-8 bytes, which the printer shows as two characters.
    const auto& accented = std::get<TextLine>(doc.elements[2]);
    EXPECT_EQ(accented.justification, Justification::Right);
    ASSERT_EQ(accented.runs.size(), 1u);
    EXPECT_EQ(accented.runs[0].bytes, "Café");
    EXPECT_EQ(accented.runs[0].text, "CafÃ©");
    EXPECT_EQ(accented.runs[0].style, (TextStyle{.italic = true, .inverse = true}));

    // A price line fills the 44 columns and keeps the justification in force before it.
    const auto& price = std::get<TextLine>(doc.elements[3]);
    EXPECT_EQ(price.text(), "Coffee" + std::string(34, ' ') + "2.50");
    EXPECT_EQ(price.justification, Justification::Right);
    ASSERT_EQ(price.runs.size(), 3u);
    EXPECT_EQ(price.runs[0].style, TextStyle{.bold = true});
    EXPECT_EQ(price.runs[2].style, TextStyle{});
    EXPECT_EQ(std::get<TextLine>(doc.elements[4]).text(), std::string(44, '='));
    EXPECT_EQ(std::get<Feed>(doc.elements[5]).lines, 3);

    const auto& upc = std::get<Barcode>(doc.elements[6]);
    EXPECT_EQ(upc.kind, BarcodeKind::UpcA);
    EXPECT_EQ(upc.data, "12345678901");
    EXPECT_EQ(upc.hri, 2);
    EXPECT_EQ(upc.height, 54);
    EXPECT_EQ(upc.justification, Justification::Center);
    const auto& code39 = std::get<Barcode>(doc.elements[7]);
    EXPECT_EQ(code39.kind, BarcodeKind::Code39);
    EXPECT_EQ(code39.data, "VANTO-39");
    EXPECT_EQ(code39.hri, 1);
    EXPECT_EQ(code39.height, 77);
    const auto& pdf = std::get<Barcode>(doc.elements[8]);
    EXPECT_EQ(pdf.kind, BarcodeKind::Pdf417);
    EXPECT_EQ(pdf.data, "vantoconnect");
    EXPECT_EQ(pdf.hri, 3);
    EXPECT_EQ(pdf.height, 115);

    const auto bands = doc.all<RasterBand>();
    ASSERT_EQ(bands.size(), 4u);
    for (const RasterBand& band : bands) {
        EXPECT_EQ(band.columns, 288);
        EXPECT_EQ(band.rows, 24);
        EXPECT_EQ(band.dotsPerColumn, 2);
        for (int row = 0; row < band.rows; ++row) {
            EXPECT_TRUE(band.dot(60, row));
            EXPECT_FALSE(band.dot(220, row));
        }
    }
    // The barcodes left the printer centred, and nothing in between reset it.
    const auto& total = std::get<TextLine>(doc.elements[13]);
    EXPECT_EQ(total.text(), "Total" + std::string(35, ' ') + "2.50");
    EXPECT_EQ(total.justification, Justification::Center);
    EXPECT_EQ(std::get<Feed>(doc.elements[14]).lines, 12);
    EXPECT_FALSE(std::get<Cut>(doc.elements[15]).full);

    EXPECT_EQ(console.count("Adding a new receipt..."), 1u);
    EXPECT_EQ(console.count("width : 288 pixels"), 1u);
    EXPECT_EQ(console.count("height: 96 pixels"), 1u);
    EXPECT_EQ(console.count("bits per pixel: 32"), 1u);
    EXPECT_EQ(console.count("Printer started"), 1u);
    EXPECT_EQ(console.count("Printer sent. Remaining receipts: 0"), 1u);
    EXPECT_EQ(console.count("Printer says: ACKNOWLEDGED"), printed.packets);
    EXPECT_EQ(console.count("Printer completed."), 1u);
}

TEST_F(PrintedPaper, ShowsBarcodesAndImageAndLeavesFeedsBlank) {
    vanto->print(everyLineKind());
    ASSERT_TRUE(unit->waitForReceipts(1, 60s));
    const auto printed = unit->receipts().at(0);
    const auto& paper = printed.rendered;
    ASSERT_EQ(paper.width, 576);
    ASSERT_TRUE(std::filesystem::exists(printed.pngPath));
    const PngSize png = pngSize(printed.pngPath);
    EXPECT_EQ(png.width, 576u);
    EXPECT_EQ(png.height, static_cast<std::uint32_t>(paper.height));

    // The image is the only thing that inks the whole left half of a row and none of the
    // right: each raster column is two dots wide, so its black half covers 288 dots.
    int imageTop = -1;
    int imageRows = 0;
    for (int y = 0; y < paper.height; ++y) {
        if (paper.darkCount(0, y, 280, 1) >= 270 && paper.darkCount(296, y, 280, 1) == 0) {
            imageTop = imageTop < 0 ? y : imageTop;
            ++imageRows;
        }
    }
    EXPECT_GE(imageRows, 90);  // 4 bands of 24 rows, less what the resampling softens
    EXPECT_LE(imageRows, 96);
    ASSERT_GT(imageTop, 0);

    // Above it: the three-line feed, blank, and then the three barcodes, whose bars are the only
    // ink at least 50 rows tall.
    const auto runs = rowRuns(paper);
    std::size_t feed = runs.size();
    for (std::size_t k = 0; k < runs.size() && runs[k].top < imageTop; ++k) {
        if (!runs[k].inked && runs[k].rows >= 3 * ReceiptRenderer::LINE_DOTS) {
            feed = k;
        }
    }
    ASSERT_LT(feed, runs.size()) << "no blank feed before the image";
    std::vector<int> bars;
    for (std::size_t k = feed + 1; k < runs.size() && runs[k].top < imageTop; ++k) {
        if (runs[k].inked && runs[k].rows >= 50) {
            bars.push_back(runs[k].rows);
        }
    }
    ASSERT_EQ(bars.size(), 3u);
    EXPECT_GE(bars[0], 54);  // the bar heights commanded for UPC-A and Code 39
    EXPECT_GE(bars[1], 77);
}

TEST_F(Printing, ReceiptsPrintInSubmissionOrder) {
    auto callback = std::make_shared<RecordingCallback>();
    vanto->print(receiptSaying("first"), callback);
    vanto->print(receiptSaying("second"), callback);
    vanto->print(receiptSaying("third"), callback);
    ASSERT_TRUE(callback->waitForEvents(6));
    ASSERT_TRUE(unit->waitForReceipts(3, 20s));
    EXPECT_EQ(callback->kinds(), (std::vector<std::string>{"started", "completed", "started",
                                                           "completed", "started", "completed"}));
    const auto printed = unit->receipts();
    ASSERT_EQ(printed.size(), 3u);
    EXPECT_EQ(std::get<TextLine>(printed[0].document.elements.at(1)).text(), "first");
    EXPECT_EQ(std::get<TextLine>(printed[1].document.elements.at(1)).text(), "second");
    EXPECT_EQ(std::get<TextLine>(printed[2].document.elements.at(1)).text(), "third");
}

}  // namespace
}  // namespace vantoconnect::integration
