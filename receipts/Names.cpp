#include "receipts/Names.hpp"

#include <algorithm>
#include <cctype>
#include <charconv>

#include "receipts/ReceiptInputError.hpp"
#include "vantoconnect/Vanto.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoColorCodes.hpp"
#include "vantoconnect/orbaprotocol/messages/VantoDiagnosticLEDS.hpp"

namespace vantoreceipts {

using vantoconnect::Vanto;
using vantoconnect::VantoColorCodes;
using vantoconnect::VantoDiagnosticLEDS;

const Names::Table& Names::diagnosticPositions() {
    static const Table table{
        {"power", "LED_POWER", VantoDiagnosticLEDS::LED_POWER},
        {"network", "LED_NETWORK", VantoDiagnosticLEDS::LED_NETWORK},
        {"tablet", "LED_TABLET", VantoDiagnosticLEDS::LED_TABLET},
        {"ped", "LED_PED", VantoDiagnosticLEDS::LED_PED},
        {"printer", "LED_PRINTER", VantoDiagnosticLEDS::LED_PRINTER},
        {"usb1", "LED_USB1", VantoDiagnosticLEDS::LED_USB1},
        {"usb2", "LED_USB2", VantoDiagnosticLEDS::LED_USB2},
    };
    return table;
}

const Names::Table& Names::ledColours() {
    static const Table table{
        {"off", "LED_OFF", VantoColorCodes::LED_OFF},
        {"green", "LED_GREEN", VantoColorCodes::LED_GREEN},
        {"red", "LED_RED", VantoColorCodes::LED_RED},
        {"amber", "LED_AMBER", VantoColorCodes::LED_AMBER},
    };
    return table;
}

const Names::Table& Names::cosmeticColours() {
    static const Table table{
        {"off", "COSMETIC_OFF", VantoColorCodes::COSMETIC_OFF},
        {"blue", "COSMETIC_BLUE", VantoColorCodes::COSMETIC_BLUE},
        {"green", "COSMETIC_GREEN", VantoColorCodes::COSMETIC_GREEN},
        {"cyan", "COSMETIC_CYAN", VantoColorCodes::COSMETIC_CYAN},
        {"red", "COSMETIC_RED", VantoColorCodes::COSMETIC_RED},
        {"magenta", "COSMETIC_MAGENTA", VantoColorCodes::COSMETIC_MAGENTA},
        {"yellow", "COSMETIC_YELLOW", VantoColorCodes::COSMETIC_YELLOW},
        {"white", "COSMETIC_WHITE", VantoColorCodes::COSMETIC_WHITE},
    };
    return table;
}

const Names::Table& Names::textStyles() {
    static const Table table{
        {"none", "TEXT_STYLE_NONE", Vanto::TEXT_STYLE_NONE},
        {"bold", "TEXT_STYLE_BOLD", Vanto::TEXT_STYLE_BOLD},
        {"italic", "TEXT_STYLE_ITALIC", Vanto::TEXT_STYLE_ITALIC},
        {"underlined", "TEXT_STYLE_UNDERLINED", Vanto::TEXT_STYLE_UNDERLINED},
        {"inverse", "TEXT_STYLE_INVERSE", Vanto::TEXT_STYLE_INVERSE},
    };
    return table;
}

const Names::Table& Names::textSizes() {
    static const Table table{
        {"normal", "TEXT_SIZE_NORMAL", Vanto::TEXT_SIZE_NORMAL},
        {"wide", "TEXT_SIZE_WIDE", Vanto::TEXT_SIZE_WIDE},
    };
    return table;
}

const Names::Table& Names::textPositions() {
    static const Table table{
        {"left", "TEXT_POSITION_LEFT", Vanto::TEXT_POSITION_LEFT},
        {"center", "TEXT_POSITION_CENTER", Vanto::TEXT_POSITION_CENTER},
        {"right", "TEXT_POSITION_RIGHT", Vanto::TEXT_POSITION_RIGHT},
    };
    return table;
}

const Names::Table& Names::barcodeTypes() {
    static const Table table{
        {"upca", "BARCODE_TYPE_UPCA", Vanto::BARCODE_TYPE_UPCA},
        {"code39", "BARCODE_TYPE_CODE39", Vanto::BARCODE_TYPE_CODE39},
        {"pdf417", "BARCODE_TYPE_PDF417", Vanto::BARCODE_TYPE_PDF417},
    };
    return table;
}

const Names::Table& Names::barcodeHri() {
    static const Table table{
        {"none", "BARCODE_HRI_NONE", Vanto::BARCODE_HRI_NONE},
        {"above", "BARCODE_HRI_ABOVE", Vanto::BARCODE_HRI_ABOVE},
        {"below", "BARCODE_HRI_BELOW", Vanto::BARCODE_HRI_BELOW},
        {"both", "BARCODE_HRI_BOTH", Vanto::BARCODE_HRI_BOTH},
    };
    return table;
}

const Names::Table& Names::cutTypes() {
    static const Table table{
        {"full", "CUT_TYPE_FULL", Vanto::CUT_TYPE_FULL},
        {"partial", "CUT_TYPE_PARTIAL", Vanto::CUT_TYPE_PARTIAL},
    };
    return table;
}

namespace {
bool equalsIgnoringCase(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}
}  // namespace

std::int64_t Names::parse(const Table& table, std::string_view word, std::string_view what) {
    for (const auto& entry : table) {
        if (equalsIgnoringCase(word, entry.word) || equalsIgnoringCase(word, entry.constant)) {
            return entry.value;
        }
    }
    std::int64_t number = 0;
    const auto* end = word.data() + word.size();
    const auto [ptr, ec] = std::from_chars(word.data(), end, number);
    // A number is one of the table's values: the unit takes any other silently and shows
    // nothing, while the command would claim it was set.
    if (!word.empty() && ec == std::errc() && ptr == end &&
        std::any_of(table.begin(), table.end(),
                    [number](const Entry& entry) { return entry.value == number; })) {
        return number;
    }
    throw ReceiptInputError("unknown " + std::string(what) + " \"" + std::string(word) +
                            "\" (use " + choices(table) + ", a constant name or its number)");
}

std::int64_t Names::require(const Table& table, std::int64_t value, std::string_view what) {
    if (std::any_of(table.begin(), table.end(),
                    [value](const Entry& entry) { return entry.value == value; })) {
        return value;
    }
    std::string valid;
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (i > 0) {
            valid += i + 1 == table.size() ? " or " : ", ";
        }
        valid += std::string(table[i].constant) + " (" + std::to_string(table[i].value) + ")";
    }
    throw ReceiptInputError("unknown " + std::string(what) + " " + std::to_string(value) +
                            " (use " + valid + ")");
}

std::string Names::nameOf(const Table& table, std::int64_t value) {
    for (const auto& entry : table) {
        if (entry.value == value) {
            return std::string(entry.word);
        }
    }
    return std::to_string(value);
}

std::string Names::choices(const Table& table) {
    std::string out;
    for (std::size_t i = 0; i < table.size(); ++i) {
        if (i > 0) {
            out += i + 1 == table.size() ? " or " : ", ";
        }
        out += table[i].word;
    }
    return out;
}

}  // namespace vantoreceipts
