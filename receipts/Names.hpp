#pragma once

// The words the command accepts for the library's integer codes. Every code may be given by the
// library's constant name (LED_PRINTER, COSMETIC_CYAN, TEXT_STYLE_BOLD), by a short lower-case
// word (printer, cyan, bold) or as the number of one of them. Anything else fails with the list
// of valid words.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vantoreceipts {

class Names {
  public:
    struct Entry {
        std::string_view word;      // printer
        std::string_view constant;  // LED_PRINTER
        std::int64_t value;
    };
    using Table = std::vector<Entry>;

    static const Table& diagnosticPositions();  // VantoDiagnosticLEDS
    static const Table& ledColours();           // VantoColorCodes LED_*
    static const Table& cosmeticColours();      // VantoColorCodes COSMETIC_*
    static const Table& textStyles();           // Vanto TEXT_STYLE_* (bit flags)
    static const Table& textSizes();
    static const Table& textPositions();
    static const Table& barcodeTypes();
    static const Table& barcodeHri();
    static const Table& cutTypes();

    // Looks the word up case-insensitively as a short word or a constant name, or reads it as the
    // decimal value of an entry. Throws ReceiptInputError naming `what` otherwise.
    static std::int64_t parse(const Table& table, std::string_view word, std::string_view what);
    // The value itself when it is one of the table's; throws ReceiptInputError naming `what`
    // and the valid values otherwise. For codes that arrive as numbers (the bindings).
    static std::int64_t require(const Table& table, std::int64_t value, std::string_view what);
    // The short word of a value, or its number.
    static std::string nameOf(const Table& table, std::int64_t value);
    // "a, b or c" of the short names, for error messages.
    static std::string choices(const Table& table);
};

}  // namespace vantoreceipts
