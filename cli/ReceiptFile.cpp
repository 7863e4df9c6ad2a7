#include "cli/ReceiptFile.hpp"

#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>

#include "cli/CliError.hpp"
#include "cli/Names.hpp"
#include "vantoconnect/ReceiptComposer.hpp"
#include "vantoconnect/VantoReceiptBarcodeLine.hpp"
#include "vantoconnect/VantoReceiptFeedLine.hpp"
#include "vantoconnect/VantoReceiptImageLine.hpp"
#include "vantoconnect/VantoReceiptPriceLine.hpp"
#include "vantoconnect/VantoReceiptSingleCharLine.hpp"
#include "vantoconnect/VantoReceiptTextLine.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/GraphemeCounter.hpp"

namespace vantocli {

using nlohmann::json;
using namespace vantoconnect;

namespace {

// Reads one JSON object, naming every problem by its path ("lines[2].style").
class Reader {
  public:
    Reader(const std::string& source, const std::filesystem::path& baseDir)
        : mSource(source), mBaseDir(baseDir) {}

    [[noreturn]] void fail(const std::string& path, const std::string& what) const {
        throw CliError(CliError::BAD_INPUT, mSource + ": " + path + ": " + what);
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

    std::string text(const json& object, const char* key, const std::string& path) const {
        if (!object.contains(key)) {
            return {};
        }
        const auto& value = object.at(key);
        if (!value.is_string()) {
            fail(path + "." + key, "must be a string");
        }
        return value.get<std::string>();
    }

    std::int64_t integer(const json& object, const char* key, const std::string& path,
                         std::int64_t fallback) const {
        if (!object.contains(key)) {
            return fallback;
        }
        const auto& value = object.at(key);
        if (!value.is_number_integer()) {
            fail(path + "." + key, "must be a whole number");
        }
        if (value.is_number_unsigned() &&
            value.get<std::uint64_t>() > static_cast<std::uint64_t>(INT64_MAX)) {
            fail(path + "." + key, "is too large");
        }
        return value.get<std::int64_t>();
    }

    // A code given as a number, a word or a constant name.
    std::int64_t code(const json& object, const char* key, const std::string& path,
                      const Names::Table& table, const char* what, std::int64_t fallback) const {
        if (!object.contains(key)) {
            return fallback;
        }
        const auto& value = object.at(key);
        if (value.is_string()) {
            return parseWord(table, value.get<std::string>(), what, path + "." + key);
        }
        return integer(object, key, path, fallback);
    }

    // Styles may also be a list of words, combined as bit flags.
    std::int64_t style(const json& object, const char* key, const std::string& path) const {
        if (!object.contains(key) || !object.at(key).is_array()) {
            return code(object, key, path, Names::textStyles(), "text style", 0);
        }
        std::int64_t bits = 0;
        for (const auto& word : object.at(key)) {
            if (!word.is_string()) {
                fail(path + "." + key, "must be a list of style names");
            }
            bits |= parseWord(Names::textStyles(), word.get<std::string>(), "text style",
                              path + "." + key);
        }
        return bits;
    }

    std::shared_ptr<VantoReceiptLine> line(const json& object, const std::string& path) const {
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
                code(object, "size", path, Names::textSizes(), "text size", 0),
                code(object, "position", path, Names::textPositions(), "text position", 0));
        }
        if (upper == "PRICE") {
            expectOnly(object, path,
                       {"lineType", "leftText", "rightText", "leftStyle", "rightStyle"});
            return std::make_shared<VantoReceiptPriceLine>(
                text(object, "leftText", path), style(object, "leftStyle", path),
                text(object, "rightText", path), style(object, "rightStyle", path));
        }
        if (upper == "BARCODE") {
            expectOnly(object, path, {"lineType", "type", "hri", "height", "data"});
            auto line = std::make_shared<VantoReceiptBarcodeLine>(
                code(object, "type", path, Names::barcodeTypes(), "barcode type", 0),
                text(object, "data", path));
            line->setHri(code(object, "hri", path, Names::barcodeHri(), "barcode hri", line->hri));
            if (object.contains("height")) {
                if (!object.at("height").is_number()) {
                    fail(path + ".height", "must be a number (bar height in units of 154 dots)");
                }
                line->setHeight(object.at("height").get<double>());
            }
            return line;
        }
        if (upper == "SINGLE_CHAR") {
            expectOnly(object, path, {"lineType", "chr"});
            auto line = std::make_shared<VantoReceiptSingleCharLine>();
            if (object.contains("chr")) {
                const std::string chr = text(object, "chr", path);
                if (GraphemeCounter::count(chr) != 1) {
                    fail(path + ".chr", "must be exactly one character, not \"" + chr + "\"");
                }
                line->setChar(Character(chr));
            }
            return line;
        }
        if (upper == "FEED") {
            expectOnly(object, path, {"lineType", "lines"});
            return std::make_shared<VantoReceiptFeedLine>(integer(object, "lines", path, 0));
        }
        if (upper == "IMAGE") {
            expectOnly(object, path, {"lineType", "image"});
            const std::string file = text(object, "image", path);
            if (file.empty()) {
                fail(path, "needs an \"image\" path");
            }
            const auto resolved = mBaseDir / file;
            try {
                return std::make_shared<VantoReceiptImageLine>(Image::fromFile(resolved.string()));
            } catch (const Image::Error& e) {
                fail(path + ".image", e.what());
            }
        }
        fail(path + ".lineType", "unknown line type \"" + type +
                                     "\" (use TEXT, PRICE, BARCODE, SINGLE_CHAR, FEED or IMAGE)");
    }

    std::shared_ptr<VantoReceipt> receipt(const json& root) const {
        if (!root.is_object()) {
            fail("receipt", "must be a JSON object with a \"lines\" list");
        }
        expectOnly(root, "receipt", {"lines", "cutType", "headerFeed", "footerFeed"});
        auto receipt = std::make_shared<VantoReceipt>();
        receipt->setCutType(code(root, "cutType", "receipt", Names::cutTypes(), "cut type", 0));
        receipt->setHeaderFeed(feed(root, "headerFeed", 0));
        receipt->setFooterFeed(feed(root, "footerFeed", 12));
        if (!root.contains("lines") || !root.at("lines").is_array()) {
            fail("receipt", "needs a \"lines\" list");
        }
        const auto& lines = root.at("lines");
        for (std::size_t i = 0; i < lines.size(); ++i) {
            receipt->addLine(line(lines[i], "lines[" + std::to_string(i) + "]"));
        }
        return receipt;
    }

  private:
    std::int64_t feed(const json& root, const char* key, std::int64_t fallback) const {
        const std::int64_t lines = integer(root, key, "receipt", fallback);
        if (lines < -128 || lines > 127) {
            fail(std::string("receipt.") + key,
                 "must lie in -128...127, not " + std::to_string(lines));
        }
        return lines;
    }

    std::int64_t parseWord(const Names::Table& table, const std::string& word, const char* what,
                           const std::string& path) const {
        try {
            return Names::parse(table, word, what);
        } catch (const CliError& e) {
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

// The part of nlohmann's message after its own prefix and position.
std::string reason(const json::parse_error& e) {
    std::string message = e.what();
    const auto at = message.find(": ", message.find("column"));
    return at == std::string::npos ? message : message.substr(at + 2);
}

std::string describeLine(const VantoReceiptLine& line) {
    switch (line.lineType) {
        case VantoReceiptLineType::PRICE: {
            const auto& price = static_cast<const VantoReceiptPriceLine&>(line);
            const auto chars =
                GraphemeCounter::count(price.leftText) + GraphemeCounter::count(price.rightText);
            return "left and right text together have " + std::to_string(chars) +
                   " characters; at most 43 fit one line";
        }
        case VantoReceiptLineType::FEED:
            return "the feed must lie in -128...127";
        case VantoReceiptLineType::BARCODE:
            return "the bar height (height x 154 dots) must lie in -128...127 dots and hri in "
                   "-128...127";
        default:
            return "the printer bytes cannot carry it";
    }
}

}  // namespace

std::shared_ptr<VantoReceipt> ReceiptFile::parse(std::string_view text, const std::string& source,
                                                 const std::filesystem::path& baseDir) {
    json root;
    try {
        root = json::parse(text.begin(), text.end());
    } catch (const json::parse_error& e) {
        throw CliError(CliError::BAD_INPUT,
                       source + ":" + position(text, e.byte) + ": malformed JSON: " + reason(e));
    } catch (const json::exception& e) {
        // A number too large for a double is refused without a position.
        throw CliError(CliError::BAD_INPUT, source + ": malformed JSON: " + e.what());
    }
    const Reader reader(source, baseDir);
    return reader.receipt(root);
}

std::shared_ptr<VantoReceipt> ReceiptFile::load(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw CliError(CliError::BAD_INPUT, path.string() + ": cannot open the receipt file");
    }
    std::ostringstream content;
    content << file.rdbuf();
    auto receipt = parse(content.str(), path.string(), path.parent_path());
    checkPrintable(*receipt, path.string());
    return receipt;
}

void ReceiptFile::checkPrintable(const VantoReceipt& receipt, const std::string& source) {
    const auto& lines = receipt.getLines();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        VantoReceipt single;
        single.addLine(lines[i]);
        try {
            ReceiptComposer().compose(single);
        } catch (const FatalError& e) {
            throw CliError(CliError::BAD_INPUT,
                           source + ": lines[" + std::to_string(i) + "]: cannot be printed: " +
                               describeLine(*lines[i]) + " (" + e.what() + ")");
        }
    }
}

}  // namespace vantocli
