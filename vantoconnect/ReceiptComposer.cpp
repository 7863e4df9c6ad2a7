#include "vantoconnect/ReceiptComposer.hpp"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>
#include <typeinfo>

#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"
#include "vantoconnect/support/Image.hpp"

namespace vantoconnect {
namespace {

template <std::size_t N>
void append(Bytes& group, const std::array<std::int8_t, N>& command) {
    group.insert(group.end(), command.begin(), command.end());
}

void appendUTF8(Bytes& group, std::string_view text) {
    const auto* begin = reinterpret_cast<const std::int8_t*>(text.data());
    group.insert(group.end(), begin, begin + text.size());
}

// The dotted, module-qualified name a cast failure reports: vantoconnect.VantoReceiptLine.
std::string typeName(const std::type_info& type) {
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> demangled(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
    const std::string_view cpp = (status == 0 && demangled) ? demangled.get() : type.name();
    std::string name;
    for (std::size_t i = 0; i < cpp.size(); ++i) {
        if (cpp.compare(i, 2, "::") == 0) {
            name += '.';
            ++i;
        } else {
            name += cpp[i];
        }
    }
    return name;
}

// A line is read as the class its type names; anything else is a programming error upstream.
template <typename Line>
const Line& as(const VantoReceiptLine& line) {
    if (typeid(line) == typeid(Line)) {
        return static_cast<const Line&>(line);
    }
    if (const auto* cast = dynamic_cast<const Line*>(&line)) {
        return *cast;
    }
    fatalError("Could not cast value of type '" + typeName(typeid(line)) + "' to '" +
               typeName(typeid(Line)) + "'.");
}

}  // namespace

std::vector<Bytes> ReceiptComposer::compose(const VantoReceipt& receipt) {
    // Held to the cut, so a change the application makes meanwhile lands wholly before or
    // wholly after this receipt's bytes.
    const auto lock = VantoReceipt::lockModel();
    const auto lines = receipt.getLines();
    byteArray.clear();
    byteArray.reserve(lines.size() + 8);
    byteArray.push_back(addHeader(receipt.getHeaderFeed()));
    for (const auto& line : lines) {
        if (!line) {
            fatalError(fatal::NIL_UNWRAP);
        }
        switch (line->lineType) {
            case VantoReceiptLineType::BARCODE:
                composeBarcode(as<VantoReceiptBarcodeLine>(*line));
                break;
            case VantoReceiptLineType::FEED:
                composeFeedLine(as<VantoReceiptFeedLine>(*line));
                break;
            case VantoReceiptLineType::SINGLE_CHAR:
                composeSingleCharLine(as<VantoReceiptSingleCharLine>(*line));
                break;
            case VantoReceiptLineType::PRICE:
                composePriceLine(as<VantoReceiptPriceLine>(*line));
                break;
            case VantoReceiptLineType::TEXT:
                composeTextLine(as<VantoReceiptTextLine>(*line));
                break;
            case VantoReceiptLineType::IMAGE:
                composePic(as<VantoReceiptImageLine>(*line));
                break;
            case VantoReceiptLineType::IMAGE_BUFFER:
                break;
        }
    }
    byteArray.push_back(Bytes{MULTI_LINE_FEED, toInt8Checked(receipt.getFooterFeed())});
    Bytes cut;
    append(cut, receipt.getCutType() == CUT_TYPE_FULL ? PERFORM_FULL_KNIFE_CUT
                                                      : PERFORM_PARTIAL_KNIFE_CUT);
    byteArray.push_back(std::move(cut));
    // The groups are handed over rather than copied; the next composition starts empty anyway.
    std::vector<Bytes> groups = std::move(byteArray);
    byteArray.clear();
    return groups;
}

Bytes ReceiptComposer::addHeader(std::int64_t headerFeed) {
    return Bytes{MULTI_LINE_FEED, toInt8Checked(headerFeed)};
}

void ReceiptComposer::composeTextLine(const VantoReceiptTextLine& line) {
    Bytes group;
    group.reserve(line.text.size() + 32);
    if (!line.text.empty()) {
        addJustification(group, line.position);
        addTextFlags(group, line.style);
        addTextSize(group, line.size);
        addText(group, line.text);
        cancelTextFlags(group, line.style);
    }
    group.push_back(0x0A);
    byteArray.push_back(std::move(group));
}

void ReceiptComposer::composePriceLine(const VantoReceiptPriceLine& line) {
    Bytes group;
    group.reserve(line.leftText.size() + line.rightText.size() + RECEIPT_COLS + 40);
    if (!line.leftText.empty()) {
        addTextFlags(group, line.leftStyle);
        addText(group, line.leftText);
        cancelTextFlags(group, line.leftStyle);
    }
    // Columns are user-perceived characters: an accented name is as wide as a plain one.
    const std::int64_t padding = RECEIPT_COLS - GraphemeCounter::count(line.leftText) -
                                 GraphemeCounter::count(line.rightText);
    requireRange(1, padding);
    group.insert(group.end(), static_cast<std::size_t>(padding), std::int8_t{0x20});
    if (!line.rightText.empty()) {
        addTextFlags(group, line.rightStyle);
        addText(group, line.rightText);
        cancelTextFlags(group, line.rightStyle);
    }
    group.push_back(0x0A);
    byteArray.push_back(std::move(group));
}

void ReceiptComposer::composeSingleCharLine(const VantoReceiptSingleCharLine& line) {
    if (line.chr.isNul()) {
        return;
    }
    const std::string& chr = line.chr.str();
    Bytes group;
    group.reserve(chr.size() * RECEIPT_COLS + 1);
    for (std::int64_t column = 0; column < RECEIPT_COLS; ++column) {
        appendUTF8(group, chr);
    }
    group.push_back(0x0A);
    byteArray.push_back(std::move(group));
}

void ReceiptComposer::composeBarcode(const VantoReceiptBarcodeLine& line) {
    if (line.data.empty()) {
        return;
    }
    // Centred, and left so: the printer keeps the justification for whatever follows.
    byteArray.emplace_back(JUSTIFY_CENTER.begin(), JUSTIFY_CENTER.end());
    byteArray.push_back(Bytes{0x1D, 0x48, toInt8Checked(line.hri)});
    byteArray.push_back(Bytes{0x1D, 0x68, calculateHeightData(line.height)});
    switch (line.type) {
        case BARCODE_TYPE_UPCA:
            byteArray.push_back(Bytes{0x1D, 0x6B, 0x00});
            break;
        case BARCODE_TYPE_CODE39:
            byteArray.push_back(Bytes{0x1D, 0x6B, 0x04});
            break;
        case BARCODE_TYPE_PDF417:
            byteArray.push_back(Bytes{0x1D, 0x6B, 0x0A});
            break;
        default:
            // The printer then reads the data under whatever system it last had selected.
            break;
    }
    Bytes data;
    appendUTF8(data, line.data);
    byteArray.push_back(std::move(data));
    byteArray.push_back(Bytes{0x00});
}

void ReceiptComposer::composeFeedLine(const VantoReceiptFeedLine& line) {
    if (line.lines != 0) {
        byteArray.push_back(Bytes{MULTI_LINE_FEED, toInt8Checked(line.lines)});
    }
}

std::int8_t ReceiptComposer::calculateHeightData(double height) {
    return toInt8Checked(toInt64Checked(height * static_cast<double>(HEIGHT_RATIO)));
}

void ReceiptComposer::addText(Bytes& group, std::string_view text) {
    append(group, SET_CODE_PAGE_1252);
    // Non-ASCII text goes out as its UTF-8 bytes even under the Windows-1252 page: receipts
    // already printed that way, and mapping it now would change what they look like.
    appendUTF8(group, text);
    append(group, SET_CODE_PAGE_DEFAULT);
}

void ReceiptComposer::addTextFlags(Bytes& group, std::int64_t lineStyle) {
    if ((lineStyle & TEXT_STYLE_BOLD) == TEXT_STYLE_BOLD) {
        append(group, SET_BOLD);
    }
    if ((lineStyle & TEXT_STYLE_ITALIC) == TEXT_STYLE_ITALIC) {
        append(group, SET_ITALIC);
    }
    if ((lineStyle & TEXT_STYLE_UNDERLINED) == TEXT_STYLE_UNDERLINED) {
        append(group, SET_UNDERLINED);
    }
    if ((lineStyle & TEXT_STYLE_INVERSE) == TEXT_STYLE_INVERSE) {
        append(group, SET_INVERSE);
    }
}

void ReceiptComposer::cancelTextFlags(Bytes& group, std::int64_t lineStyle) {
    if ((lineStyle & TEXT_STYLE_BOLD) == TEXT_STYLE_BOLD) {
        append(group, CANCEL_BOLD);
    }
    if ((lineStyle & TEXT_STYLE_ITALIC) == TEXT_STYLE_ITALIC) {
        append(group, CANCEL_ITALIC);
    }
    if ((lineStyle & TEXT_STYLE_UNDERLINED) == TEXT_STYLE_UNDERLINED) {
        append(group, CANCEL_UNDERLINED);
    }
    if ((lineStyle & TEXT_STYLE_INVERSE) == TEXT_STYLE_INVERSE) {
        append(group, CANCEL_INVERSE);
    }
}

// Positions are tested as if they were bits, so LEFT (0) always matches and its command goes
// first; the printer obeys the last one. Installed printers get exactly this stream.
void ReceiptComposer::addJustification(Bytes& group, std::int64_t justification) {
    if ((justification & TEXT_POSITION_LEFT) == TEXT_POSITION_LEFT) {
        append(group, JUSTIFY_LEFT);
    }
    if ((justification & TEXT_POSITION_CENTER) == TEXT_POSITION_CENTER) {
        append(group, JUSTIFY_CENTER);
    }
    if ((justification & TEXT_POSITION_RIGHT) == TEXT_POSITION_RIGHT) {
        append(group, JUSTIFY_RIGHT);
    }
}

// Same rule as the justification: normal size is always written, wide follows it.
void ReceiptComposer::addTextSize(Bytes& group, std::int64_t size) {
    if ((size & TEXT_SIZE_NORMAL) == TEXT_SIZE_NORMAL) {
        append(group, SET_SIZE_NORMAL);
    }
    if ((size & TEXT_SIZE_WIDE) == TEXT_SIZE_WIDE) {
        append(group, SET_SIZE_WIDE);
    }
}

// ---- images ---------------------------------------------------------------------------------

void ReceiptComposer::composePic(const VantoReceiptImageLine& line) {
    const Image& image = line.image;
    const std::int64_t width = image.width();
    const std::int64_t height = image.height();
    if (width <= 0 || height <= 0) {
        fatalError(fatal::EMPTY_RANGE);
    }
    // 288 dots across and twice the proportional height (H x 576 / W, rounded half up): the
    // printer's dots in this band mode are twice as wide as they are high.
    const std::int64_t scaledHeight = std::max<std::int64_t>(
        1, addChecked(multiplyChecked(height, 2 * 2 * RASTER_WIDTH), width) / (2 * width));
    const Image bitmap = image.resizedLanczos3(RASTER_WIDTH, scaledHeight);
    printImage(getPixelsSlow(bitmap));
}

ReceiptComposer::PixelImage ReceiptComposer::getPixelsSlow(const Image& bitmap) {
    const std::int64_t width = bitmap.width();
    const std::int64_t height = bitmap.height();
    constexpr std::int64_t bitsPerPixel = 32;
    consoleLine("width : " + std::to_string(width) + " pixels");
    consoleLine("height: " + std::to_string(height) + " pixels");
    consoleLine("bits per pixel: " + std::to_string(bitsPerPixel));
    constexpr std::int64_t bytesPerPixel = (bitsPerPixel + 7) / 8;
    const std::span<const std::uint8_t> bytes = bitmap.rgba();
    PixelImage pixels(static_cast<std::size_t>(height));
    std::size_t offset = 0;
    for (auto& row : pixels) {
        row.reserve(static_cast<std::size_t>(width));
        for (std::int64_t x = 0; x < width; ++x) {
            row.emplace_back(bytes[offset], bytes[offset + 1], bytes[offset + 2],
                             bytesPerPixel == 4 ? bytes[offset + 3] : std::uint8_t{0xFF});
            offset += bytesPerPixel;
        }
    }
    return pixels;
}

void ReceiptComposer::printImage(const PixelImage& pixels) {
    const auto rows = static_cast<std::int64_t>(pixels.size());
    for (std::int64_t y = 0; y < rows; y += BAND_ROWS) {
        const auto width = static_cast<std::int64_t>(pixels[static_cast<std::size_t>(y)].size());
        Bytes group;
        group.reserve(static_cast<std::size_t>(width * 3 + 6));
        append(group, SELECT_BIT_IMAGE_MODE_LOW);
        group.push_back(static_cast<std::int8_t>(width & 0xFF));
        group.push_back(static_cast<std::int8_t>((width & 0xFF00) >> 8));
        for (std::int64_t x = 0; x < width; ++x) {
            append(group, recollectSlice(y, x, pixels));
        }
        append(group, LINE_FEED);
        byteArray.push_back(std::move(group));
    }
}

std::array<std::int8_t, 3> ReceiptComposer::recollectSlice(std::int64_t y, std::int64_t x,
                                                           const PixelImage& img) {
    std::array<std::int8_t, 3> slice{0, 0, 0};
    const auto rows = static_cast<std::int64_t>(img.size());
    for (std::int64_t k = 0; k < 3; ++k) {
        unsigned bits = 0;
        for (std::int64_t bit = 0; bit < 8; ++bit) {
            const std::int64_t r = y + 8 * k + bit;
            // Rows past the image pad the last band with blank dots.
            if (r < rows && shouldPrintColor(checkedAt(img[static_cast<std::size_t>(r)], x))) {
                bits |= 1u << (7 - bit);
            }
        }
        slice[static_cast<std::size_t>(k)] = static_cast<std::int8_t>(bits);
    }
    return slice;
}

// Alpha is not consulted: the pixels are premultiplied, so transparent areas print as dots.
bool ReceiptComposer::shouldPrintColor(const Pixel& pixel) {
    const double luminance = 0.299 * pixel.getComponent(PixelComponent::RED) +
                             0.587 * pixel.getComponent(PixelComponent::GREEN) +
                             0.114 * pixel.getComponent(PixelComponent::BLUE);
    return static_cast<std::int64_t>(luminance) < 127;
}

}  // namespace vantoconnect
