#include "receipts/ReceiptLineCheck.hpp"

#include <cmath>
#include <cstdio>
#include <sstream>

#include "receipts/ReceiptInputError.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceipt.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoreceipts {

using namespace vantoconnect;

namespace {

[[noreturn]] void fail(const std::string& where, const std::string& why) {
    throw ReceiptInputError(where + ": " + why);
}

std::string describeLine(const VantoReceiptLine& line) {
    if (line.lineType == VantoReceiptLineType::PRICE) {
        const auto& price = static_cast<const VantoReceiptPriceLine&>(line);
        const auto chars =
            GraphemeCounter::count(price.leftText) + GraphemeCounter::count(price.rightText);
        return "left and right text together have " + std::to_string(chars) +
               " characters; at most 43 fit one line";
    }
    return "the printer bytes cannot carry it";
}

std::string tooLong(const VantoReceiptLine& line, std::size_t bytes) {
    const std::string size = std::to_string(bytes) + " bytes";
    const std::string limit = std::to_string(ReceiptLineCheck::MAX_LINE_BYTES);
    switch (line.lineType) {
        case VantoReceiptLineType::TEXT:
            return "the text composes to " + size + " of printer commands; one line carries at " +
                   "most " + limit + " (1013 plain characters, fewer with style or size)";
        case VantoReceiptLineType::BARCODE:
            return "the barcode data has " + size + "; a barcode carries at most " + limit;
        default:
            return "the line composes to " + size + " of printer commands; one line carries at " +
                   "most " + limit;
    }
}

}  // namespace

void ReceiptLineCheck::text(std::string_view text, const std::string& where, bool allowNul) {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte < 0x20 || byte == 0x7F) && !(allowNul && byte == 0)) {
            char code[8];
            std::snprintf(code, sizeof code, "U+%04X", byte);
            fail(where, std::string("contains the control character ") + code +
                            ", which the printer would take as a command");
        }
    }
}

void ReceiptLineCheck::range(std::int64_t value, std::int64_t min, std::int64_t max,
                             const std::string& where) {
    if (value < min || value > max) {
        fail(where, "must lie in " + std::to_string(min) + "..." + std::to_string(max) + ", not " +
                        std::to_string(value));
    }
}

void ReceiptLineCheck::feed(std::int64_t lines, const std::string& where) {
    // The count travels as a signed byte: -5 would feed 251 lines.
    range(lines, 0, MAX_FEED, where);
}

void ReceiptLineCheck::barcodeData(std::int64_t type, std::string_view data,
                                   const std::string& where) {
    const std::string shown(data);
    if (data.empty()) {
        fail(where, "a barcode without data prints nothing");
    }
    if (type == Vanto::BARCODE_TYPE_UPCA &&
        (data.size() < 11 || data.size() > 12 ||
         data.find_first_not_of("0123456789") != std::string_view::npos)) {
        fail(where, "a UPC-A barcode takes 11 or 12 digits, not \"" + shown + "\"");
    }
    if (type == Vanto::BARCODE_TYPE_CODE39) {
        const auto bad = data.find_first_not_of("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ -.$/+%");
        if (bad != std::string_view::npos) {
            fail(where,
                 "a Code 39 barcode takes digits, capital letters, space and - . $ / + %; \"" +
                     shown + "\" has \"" + shown.substr(bad, 1) + "\"");
        }
    }
}

void ReceiptLineCheck::barcodeHeight(double height, const std::string& where,
                                     const std::string& shown) {
    // The bar height travels as a signed byte of dots: height x 154 must be 1...127.
    const double dots = std::isfinite(height) ? std::trunc(height * 154.0) : 0;
    if (!(dots >= 1 && dots <= 127)) {
        std::string written = shown;
        if (written.empty()) {
            std::ostringstream out;
            out << height;
            written = out.str();
        }
        fail(where,
             "must be a number whose bar height (height x 154 dots) lies in 1...127 dots, that "
             "is 0.0065...0.8246, not " +
                 written);
    }
}

void ReceiptLineCheck::line(const std::shared_ptr<VantoReceiptLine>& shared,
                            const std::string& where) {
    const VantoReceiptLine& line = *shared;
    // Read under the model's lock: another thread may be changing the line.
    {
        const auto lock = VantoReceipt::lockModel();
        switch (line.lineType) {
            case VantoReceiptLineType::TEXT: {
                const auto& t = static_cast<const VantoReceiptTextLine&>(line);
                text(t.text, where + ": text");
                range(t.style, 0, 15, where + ": style");
                range(t.size, 0, 1, where + ": size");
                range(t.position, 0, 2, where + ": position");
                break;
            }
            case VantoReceiptLineType::PRICE: {
                const auto& p = static_cast<const VantoReceiptPriceLine&>(line);
                text(p.leftText, where + ": left text");
                text(p.rightText, where + ": right text");
                range(p.leftStyle, 0, 15, where + ": left style");
                range(p.rightStyle, 0, 15, where + ": right style");
                break;
            }
            case VantoReceiptLineType::SINGLE_CHAR: {
                const auto& s = static_cast<const VantoReceiptSingleCharLine&>(line);
                text(s.chr.str(), where + ": character", true);
                break;
            }
            case VantoReceiptLineType::FEED:
                feed(static_cast<const VantoReceiptFeedLine&>(line).lines, where + ": lines");
                break;
            case VantoReceiptLineType::BARCODE: {
                const auto& b = static_cast<const VantoReceiptBarcodeLine&>(line);
                range(b.type, 0, 2, where + ": type");
                range(b.hri, 0, 3, where + ": hri");
                barcodeData(b.type, b.data, where + ": data");
                barcodeHeight(b.height, where + ": height");
                break;
            }
            default:
                break;
        }
    }
    compose(shared, where);
}

std::vector<Bytes> ReceiptLineCheck::compose(const std::shared_ptr<VantoReceiptLine>& shared,
                                             const std::string& where) {
    const VantoReceiptLine& line = *shared;
    VantoReceipt single;
    single.setHeaderFeed(0);
    single.setFooterFeed(0);
    single.addLine(shared);
    std::vector<Bytes> composed;
    try {
        composed = ReceiptComposer().compose(single);
    } catch (const FatalError& e) {
        fail(where, "cannot be printed: " + describeLine(line) + " (" + e.what() + ")");
    }
    // The header and footer feeds and the cut around the line are not the line's.
    std::vector<Bytes> groups;
    for (std::size_t g = 1; g + 2 < composed.size(); ++g) {
        if (composed[g].size() > MAX_LINE_BYTES) {
            fail(where, "cannot be printed: " + tooLong(line, composed[g].size()));
        }
        groups.push_back(std::move(composed[g]));
    }
    return groups;
}

}  // namespace vantoreceipts
