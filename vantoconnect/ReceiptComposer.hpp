#pragma once

// Turns a receipt into the receipt printer's command bytes: a list of byte groups, one or more
// per receipt element, which the printer controller concatenates and cuts into packets. Images
// become 24-dot bit-image bands. Composition keeps no state between receipts.
//
// Misuse stops the process (FatalError) rather than printing something else: a feed or hri
// outside a signed byte, a barcode height past 127 dots, a price line with no room for a space,
// a line whose class does not match its type, an image with no pixels.
//
// compose() holds the receipt model's lock (VantoReceipt::lockModel) for the whole
// composition, so it may run on the printer's thread while the application calls setters.

#include <array>
#include <cstdint>
#include <string_view>
#include <vector>

#include "vantoconnect/Pixel.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class Image;
class VantoReceiptTextLine;
class VantoReceiptPriceLine;
class VantoReceiptSingleCharLine;
class VantoReceiptBarcodeLine;
class VantoReceiptFeedLine;
class VantoReceiptImageLine;

class ReceiptComposer {
  public:
    ReceiptComposer() = default;

    std::vector<Bytes> compose(const VantoReceipt& receipt);

  private:
    template <std::size_t N>
    using Command = std::array<std::int8_t, N>;

    static constexpr std::int8_t MULTI_LINE_FEED = 0x14;
    static constexpr std::int64_t RECEIPT_COLS = 44;
    static constexpr Command<1> LINE_FEED = {0x0A};
    static constexpr Command<3> SELECT_BIT_IMAGE_MODE_LOW = {0x1B, 0x2A, 0x20};
    static constexpr Command<3> SET_CODE_PAGE_1252 = {0x1B, 0x52, 0x08};
    static constexpr Command<3> SET_CODE_PAGE_DEFAULT = {0x1B, 0x52, 0x00};
    static constexpr Command<1> SET_SIZE_NORMAL = {0x13};
    static constexpr Command<1> SET_SIZE_WIDE = {0x12};
    static constexpr Command<3> SET_BOLD = {0x1B, 0x45, 0x01};
    static constexpr Command<3> CANCEL_BOLD = {0x1B, 0x45, 0x00};
    static constexpr Command<3> SET_ITALIC = {0x1B, 0x49, 0x01};
    static constexpr Command<3> CANCEL_ITALIC = {0x1B, 0x49, 0x00};
    static constexpr Command<3> SET_UNDERLINED = {0x1B, 0x2D, 0x01};
    static constexpr Command<3> CANCEL_UNDERLINED = {0x1B, 0x2D, 0x00};
    static constexpr Command<3> SET_INVERSE = {0x1D, 0x42, 0x01};
    static constexpr Command<3> CANCEL_INVERSE = {0x1D, 0x42, 0x00};
    static constexpr std::int64_t CUT_TYPE_FULL = 0;
    static constexpr Command<2> PERFORM_PARTIAL_KNIFE_CUT = {0x1B, 0x6D};
    static constexpr Command<2> PERFORM_FULL_KNIFE_CUT = {0x1B, 0x69};
    static constexpr std::int64_t TEXT_STYLE_BOLD = 1;
    static constexpr std::int64_t TEXT_STYLE_ITALIC = 2;
    static constexpr std::int64_t TEXT_STYLE_UNDERLINED = 4;
    static constexpr std::int64_t TEXT_STYLE_INVERSE = 8;
    static constexpr std::int64_t TEXT_SIZE_NORMAL = 0;
    static constexpr std::int64_t TEXT_SIZE_WIDE = 1;
    static constexpr std::int64_t TEXT_POSITION_LEFT = 0;
    static constexpr std::int64_t TEXT_POSITION_CENTER = 1;
    static constexpr std::int64_t TEXT_POSITION_RIGHT = 2;
    static constexpr Command<3> JUSTIFY_LEFT = {0x1B, 0x61, 0x30};
    static constexpr Command<3> JUSTIFY_CENTER = {0x1B, 0x61, 0x31};
    static constexpr Command<3> JUSTIFY_RIGHT = {0x1B, 0x61, 0x32};
    static constexpr std::int64_t BARCODE_TYPE_UPCA = 0;
    static constexpr std::int64_t BARCODE_TYPE_CODE39 = 1;
    static constexpr std::int64_t BARCODE_TYPE_PDF417 = 2;
    static constexpr std::int64_t HEIGHT_RATIO = 154;

    // The printer's raster width: every image is scaled to it, and a band of it fits one packet.
    static constexpr std::int64_t RASTER_WIDTH = 288;
    static constexpr std::int64_t BAND_ROWS = 24;

    using PixelImage = std::vector<std::vector<Pixel>>;

    void composeTextLine(const VantoReceiptTextLine& line);
    void composePriceLine(const VantoReceiptPriceLine& line);
    void composeSingleCharLine(const VantoReceiptSingleCharLine& line);
    void composeBarcode(const VantoReceiptBarcodeLine& line);
    void composeFeedLine(const VantoReceiptFeedLine& line);
    static Bytes addHeader(std::int64_t headerFeed);
    static std::int8_t calculateHeightData(double height);

    // The text builders append to the group being built; the bytes are those of the command
    // constants and the UTF-8 of the text, as the printer receives them.
    static void addText(Bytes& group, std::string_view text);
    static void addTextFlags(Bytes& group, std::int64_t lineStyle);
    static void cancelTextFlags(Bytes& group, std::int64_t lineStyle);
    static void addJustification(Bytes& group, std::int64_t justification);
    static void addTextSize(Bytes& group, std::int64_t size);

    void composePic(const VantoReceiptImageLine& line);
    static PixelImage getPixelsSlow(const Image& bitmap);
    void printImage(const PixelImage& pixels);
    static std::array<std::int8_t, 3> recollectSlice(std::int64_t y, std::int64_t x,
                                                     const PixelImage& img);
    static bool shouldPrintColor(const Pixel& pixel);

    std::vector<Bytes> byteArray;
};

}  // namespace vantoconnect
