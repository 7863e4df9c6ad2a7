#include "receipts/ReceiptFile.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <system_error>

#include "receipts/Names.hpp"
#include "receipts/ReceiptImage.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "receipts/ReceiptLineCheck.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantoreceipts {

using nlohmann::json;
using namespace vantoconnect;

namespace {

// Reads one JSON object, naming every problem by its path ("lines[2].style").
class Reader {
  public:
    Reader(const std::string& source, const std::filesystem::path& baseDir)
        : mSource(source), mBaseDir(baseDir) {}

    [[noreturn]] void fail(const std::string& path, const std::string& what) const {
        throw ReceiptInputError(mSource + ": " + path + ": " + what);
    }

    void expectOnly(const json& object, const std::string& path,
                    std::initializer_list<const char*> allowed) const {
        const std::set<std::string> known(allowed.begin(), allowed.end());
        for (const auto& item : object.items()) {
            if (known.count(item.key()) == 0) {
                std::string list;
                for (const char* name : allowed) {
                    list += list.empty() ? "" : ", ";
                    list += name;
                }
                fail(path, "unknown field \"" + item.key() + "\" (expected " + list + ")");
            }
        }
    }

    // A string the printer gets as text: an ASCII control character in it would reach the
    // printer as a command byte (ESC, GS, a line feed in the middle of a price line).
    std::string text(const json& object, const char* key, const std::string& path,
                     bool allowNul = false) const {
        if (!object.contains(key)) {
            return {};
        }
        const auto& value = object.at(key);
        if (!value.is_string()) {
            fail(path + "." + key, "must be a string");
        }
        std::string s = value.get<std::string>();
        ReceiptLineCheck::text(s, mSource + ": " + path + "." + key, allowNul);
        return s;
    }

    std::int64_t integer(const json& object, const char* key, const std::string& path,
                         std::int64_t fallback, std::int64_t min, std::int64_t max) const {
        if (!object.contains(key)) {
            return fallback;
        }
        const auto& value = object.at(key);
        if (!value.is_number_integer()) {
            fail(path + "." + key, "must be a whole number in " + range(min, max));
        }
        if (value.is_number_unsigned() &&
            value.get<std::uint64_t>() > static_cast<std::uint64_t>(max)) {
            fail(path + "." + key, "must lie in " + range(min, max) + ", not " + value.dump());
        }
        const auto number = value.get<std::int64_t>();
        ReceiptLineCheck::range(number, min, max, mSource + ": " + path + "." + key);
        return number;
    }

    // A code given as a number or a word of the table (short word or constant name).
    std::int64_t code(const json& object, const char* key, const std::string& path,
                      const Names::Table& table, const char* what, std::int64_t fallback,
                      std::int64_t min, std::int64_t max) const {
        if (!object.contains(key)) {
            return fallback;
        }
        const auto& value = object.at(key);
        if (value.is_string()) {
            return parseWord(table, value.get<std::string>(), what, path + "." + key);
        }
        if (!value.is_number_integer()) {
            fail(path + "." + key,
                 "must be one of " + Names::choices(table) + " or a number in " + range(min, max));
        }
        return integer(object, key, path, fallback, min, max);
    }

    // Styles may also be a list of words, combined as bit flags.
    std::int64_t style(const json& object, const char* key, const std::string& path) const {
        if (!object.contains(key) || !object.at(key).is_array()) {
            return code(object, key, path, Names::textStyles(), "text style", 0, 0, 15);
        }
        std::int64_t bits = 0;
        for (const auto& word : object.at(key)) {
            if (!word.is_string()) {
                fail(path + "." + key,
                     "must be a list of style names (" + Names::choices(Names::textStyles()) + ")");
            }
            bits |= parseWord(Names::textStyles(), word.get<std::string>(), "text style",
                              path + "." + key);
        }
        return bits;
    }

    std::shared_ptr<VantoReceiptLine> line(const json& object, const std::string& path) {
        if (!object.is_object()) {
            fail(path, "must be an object");
        }
        const std::string type = text(object, "lineType", path);
        if (type.empty()) {
            fail(path, "needs a \"lineType\" (TEXT, PRICE, BARCODE, SINGLE_CHAR, FEED or IMAGE)");
        }
        const std::string upper = upperCase(type);
        if (upper == "TEXT") {
            expectOnly(object, path, {"lineType", "text", "style", "size", "position"});
            return std::make_shared<VantoReceiptTextLine>(
                text(object, "text", path), style(object, "style", path),
                code(object, "size", path, Names::textSizes(), "text size", 0, 0, 1),
                code(object, "position", path, Names::textPositions(), "text position", 0, 0, 2));
        }
        if (upper == "PRICE") {
            expectOnly(object, path,
                       {"lineType", "leftText", "rightText", "leftStyle", "rightStyle"});
            return std::make_shared<VantoReceiptPriceLine>(
                text(object, "leftText", path), style(object, "leftStyle", path),
                text(object, "rightText", path), style(object, "rightStyle", path));
        }
        if (upper == "BARCODE") {
            return barcode(object, path);
        }
        if (upper == "SINGLE_CHAR") {
            expectOnly(object, path, {"lineType", "chr"});
            auto line = std::make_shared<VantoReceiptSingleCharLine>();
            if (object.contains("chr")) {
                // The NUL character is the model's way of printing nothing.
                const std::string chr = text(object, "chr", path, true);
                if (GraphemeCounter::count(chr) != 1) {
                    fail(path + ".chr", "must be exactly one character, not \"" + chr + "\"");
                }
                line->setChar(Character(chr));
            }
            return line;
        }
        if (upper == "FEED") {
            expectOnly(object, path, {"lineType", "lines"});
            // The count travels as a signed byte: -5 would feed 251 lines.
            const auto lines = integer(object, "lines", path, 0, 0, 127);
            usePaper(lines * LINE_DOTS, path + ".lines");
            return std::make_shared<VantoReceiptFeedLine>(lines);
        }
        if (upper == "IMAGE") {
            expectOnly(object, path, {"lineType", "image"});
            const std::string file = text(object, "image", path);
            if (file.empty()) {
                fail(path, "needs an \"image\" path");
            }
            if (++mImages > ReceiptFile::MAX_IMAGES) {
                fail(path, "more than " + std::to_string(ReceiptFile::MAX_IMAGES) +
                               " images in one receipt");
            }
            auto image =
                ReceiptImage::load(mBaseDir / file, mSource + ": " + path + ".image", mPixels);
            mPixels += image.width() * image.height();
            return std::make_shared<VantoReceiptImageLine>(std::move(image));
        }
        fail(path + ".lineType", "unknown line type \"" + type +
                                     "\" (use TEXT, PRICE, BARCODE, SINGLE_CHAR, FEED or IMAGE)");
    }

    std::shared_ptr<VantoReceipt> receipt(const json& root) {
        if (!root.is_object()) {
            fail("receipt", "must be a JSON object with a \"lines\" list");
        }
        expectOnly(root, "receipt", {"lines", "cutType", "headerFeed", "footerFeed"});
        auto receipt = std::make_shared<VantoReceipt>();
        receipt->setCutType(
            code(root, "cutType", "receipt", Names::cutTypes(), "cut type", 0, 0, 1));
        receipt->setHeaderFeed(feed(root, "headerFeed", 0));
        receipt->setFooterFeed(feed(root, "footerFeed", 12));
        if (!root.contains("lines") || !root.at("lines").is_array()) {
            fail("receipt", "needs a \"lines\" list");
        }
        const auto& lines = root.at("lines");
        if (lines.size() > ReceiptFile::MAX_LINES) {
            fail("receipt.lines", "has " + std::to_string(lines.size()) + " lines; at most " +
                                      std::to_string(ReceiptFile::MAX_LINES) + " fit one receipt");
        }
        usePaper(CUT_DOTS, "receipt.cutType");
        for (std::size_t i = 0; i < lines.size(); ++i) {
            const std::string path = "lines[" + std::to_string(i) + "]";
            auto parsed = line(lines[i], path);
            usePaper(paperDots(*parsed), path);
            receipt->addLine(std::move(parsed));
        }
        return receipt;
    }

  private:
    static constexpr std::int64_t LINE_DOTS = 30;
    static constexpr std::int64_t CUT_DOTS = 60;
    static constexpr std::int64_t BARCODE_DOTS = 300;

    // Feeds are counted where they are read.
    static std::int64_t paperDots(const VantoReceiptLine& line) {
        switch (line.lineType) {
            case VantoReceiptLineType::TEXT: {
                const auto& text = static_cast<const VantoReceiptTextLine&>(line);
                return LINE_DOTS * textRows(text.text, (text.size & 1) != 0);
            }
            case VantoReceiptLineType::PRICE: {
                const auto& price = static_cast<const VantoReceiptPriceLine&>(line);
                return LINE_DOTS * textRows(price.leftText + " " + price.rightText, false);
            }
            case VantoReceiptLineType::SINGLE_CHAR:
                return 2 * LINE_DOTS;
            case VantoReceiptLineType::BARCODE:
                return BARCODE_DOTS;
            case VantoReceiptLineType::IMAGE: {
                const auto& image = static_cast<const VantoReceiptImageLine&>(line).image;
                return (ReceiptImage::printedRows(image.width(), image.height()) + 23) / 24 * 24;
            }
            default:
                return 0;
        }
    }

    std::shared_ptr<VantoReceiptLine> barcode(const json& object, const std::string& path) {
        expectOnly(object, path, {"lineType", "type", "hri", "height", "data"});
        if (++mBarcodes > ReceiptFile::MAX_BARCODES) {
            fail(path, "more than " + std::to_string(ReceiptFile::MAX_BARCODES) +
                           " barcodes in one receipt");
        }
        const auto type =
            code(object, "type", path, Names::barcodeTypes(), "barcode type", 0, 0, 2);
        const std::string data = text(object, "data", path);
        if (data.empty()) {
            fail(path, "needs \"data\" (a barcode without data prints nothing)");
        }
        ReceiptLineCheck::barcodeData(type, data, mSource + ": " + path + ".data");
        auto line = std::make_shared<VantoReceiptBarcodeLine>(type, data);
        line->setHri(
            code(object, "hri", path, Names::barcodeHri(), "barcode hri", line->hri, 0, 3));
        if (object.contains("height")) {
            const auto& height = object.at("height");
            if (!height.is_number()) {
                fail(path + ".height",
                     "must be a number whose bar height (height x 154 dots) "
                     "lies in 1...127 dots, that is 0.0065...0.8246, not " +
                         height.dump());
            }
            ReceiptLineCheck::barcodeHeight(height.get<double>(), mSource + ": " + path + ".height",
                                            height.dump());
            line->setHeight(height.get<double>());
        }
        return line;
    }

    std::int64_t feed(const json& root, const char* key, std::int64_t fallback) {
        const std::int64_t lines = integer(root, key, "receipt", fallback, 0, 127);
        usePaper(lines * LINE_DOTS, std::string("receipt.") + key);
        return lines;
    }

    void usePaper(std::int64_t dots, const std::string& path) {
        mPaperDots += dots;
        if (mPaperDots > ReceiptFile::MAX_PAPER_DOTS) {
            fail(path, "brings the receipt above " + std::to_string(ReceiptFile::MAX_PAPER_DOTS) +
                           " dots (12.5 m) of paper");
        }
    }

    // Rows of 44 columns a text takes at most: wide characters take two columns, and so may
    // any non-ASCII character.
    static std::int64_t textRows(const std::string& text, bool wide) {
        const bool ascii = std::all_of(text.begin(), text.end(),
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        const std::int64_t columns = static_cast<std::int64_t>(GraphemeCounter::count(text)) *
                                     (wide ? 2 : 1) * (ascii ? 1 : 2);
        return std::max<std::int64_t>(1, (columns + 43) / 44);
    }

    static std::string range(std::int64_t min, std::int64_t max) {
        return std::to_string(min) + "..." + std::to_string(max);
    }

    std::int64_t parseWord(const Names::Table& table, const std::string& word, const char* what,
                           const std::string& path) const {
        try {
            return Names::parse(table, word, what);
        } catch (const ReceiptInputError& e) {
            fail(path, e.what());
        }
    }

    static std::string upperCase(std::string s) {
        for (char& c : s) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        return s;
    }

    const std::string& mSource;
    const std::filesystem::path& mBaseDir;
    std::size_t mImages = 0;
    std::size_t mBarcodes = 0;
    std::int64_t mPaperDots = 0;
    std::int64_t mPixels = 0;
};

// nlohmann reports the byte offset of a syntax error; people want a line and a column.
std::string position(std::string_view text, std::size_t byte) {
    std::size_t line = 1;
    std::size_t column = 1;
    for (std::size_t i = 0; i + 1 < byte && i < text.size(); ++i) {
        if (text[i] == '\n') {
            ++line;
            column = 1;
        } else {
            ++column;
        }
    }
    return std::to_string(line) + ":" + std::to_string(column);
}

// The part of nlohmann's message after its own prefix and position, without the echo of the
// bytes last read: they may be the very bytes that are not UTF-8.
std::string reason(const json::parse_error& e) {
    std::string message = e.what();
    const auto at = message.find(": ", message.find("column"));
    if (at != std::string::npos) {
        message = message.substr(at + 2);
    }
    const auto echo = message.find("; last read: ");
    return echo == std::string::npos ? message : message.substr(0, echo);
}

}  // namespace

std::shared_ptr<VantoReceipt> ReceiptFile::parse(std::string_view text, const std::string& source,
                                                 const std::filesystem::path& baseDir) {
    json root;
    try {
        root = json::parse(text.begin(), text.end());
    } catch (const json::parse_error& e) {
        throw ReceiptInputError(source + ":" + position(text, e.byte) +
                                ": malformed JSON: " + reason(e));
    } catch (const json::exception& e) {
        // A number too large for a double is refused without a position.
        throw ReceiptInputError(source + ": malformed JSON: " + e.what());
    }
    Reader reader(source, baseDir);
    return reader.receipt(root);
}

std::shared_ptr<VantoReceipt> ReceiptFile::load(const std::filesystem::path& path) {
    const std::string name = path.string();
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (!std::filesystem::exists(status)) {
        throw ReceiptInputError(name + ": no such receipt file");
    }
    if (std::filesystem::is_directory(status)) {
        throw ReceiptInputError(name + ": is a directory, not a receipt file");
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw ReceiptInputError(name + ": is not a regular file");
    }
    const auto size = std::filesystem::file_size(path, error);
    if (!error && size > MAX_FILE_BYTES) {
        throw ReceiptInputError(name + ": has " + std::to_string(size) +
                                " bytes; a receipt file may have " + "at most " +
                                std::to_string(MAX_FILE_BYTES) + " (1 MiB)");
    }
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw ReceiptInputError(name + ": cannot open the receipt file");
    }
    // Read no more than the limit even if the file grew after the size was taken.
    std::string content(static_cast<std::size_t>(MAX_FILE_BYTES) + 1, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(file.gcount()));
    if (content.size() > MAX_FILE_BYTES) {
        throw ReceiptInputError(name + ": has more than " + std::to_string(MAX_FILE_BYTES) +
                                " bytes; a receipt file may have at most that");
    }
    if (content.find_first_not_of(" \t\r\n") == std::string::npos) {
        throw ReceiptInputError(name + ": the receipt file is empty");
    }
    return parse(content, name, path.parent_path());
}

std::vector<Bytes> ReceiptFile::compose(const VantoReceipt& receipt, const std::string& source) {
    // The composer keeps nothing from one line to the next, so composing line by line gives the
    // receipt's own bytes, and each line's groups can be checked by its index.
    std::vector<Bytes> groups;
    VantoReceipt opening;
    opening.setHeaderFeed(receipt.getHeaderFeed());
    groups.push_back(std::move(ReceiptComposer().compose(opening)[0]));
    const auto& lines = receipt.getLines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        auto line =
            ReceiptLineCheck::compose(lines[i], source + ": lines[" + std::to_string(i) + "]");
        for (auto& group : line) {
            groups.push_back(std::move(group));
        }
    }
    VantoReceipt ending;
    ending.setHeaderFeed(0);
    ending.setFooterFeed(receipt.getFooterFeed());
    ending.setCutType(receipt.getCutType());
    auto tail = ReceiptComposer().compose(ending);
    groups.push_back(std::move(tail[1]));
    groups.push_back(std::move(tail[2]));
    return groups;
}

}  // namespace vantoreceipts
