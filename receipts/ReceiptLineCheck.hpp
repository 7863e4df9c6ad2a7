#pragma once

// What a receipt line must be for the printer bytes to carry it as the user meant: no control
// characters in text (they would reach the printer as commands), feeds and codes in range (a
// feed of -5 travels as 251 lines), barcode data the printer can draw, a bar height that fits
// its signed byte, and at most one printer packet of commands per line. The library itself
// would print such a line wrongly or stop the process on its printing thread; every door we
// open (receipt files, the C API, the Python package) refuses it here, before it is added.
//
// Every check throws ReceiptInputError("<where>: <why>").

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "vantoconnect/VantoReceiptLine.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoreceipts {

class ReceiptLineCheck {
  public:
    // One line's printer commands must fit one packet of the printer's.
    static constexpr std::size_t MAX_LINE_BYTES = 1024;
    static constexpr std::int64_t MAX_FEED = 127;

    // Text the printer gets as text; `allowNul` for the separator's "print nothing" character.
    static void text(std::string_view text, const std::string& where, bool allowNul = false);
    // A value of one of the library's integer codes, or a count.
    static void range(std::int64_t value, std::int64_t min, std::int64_t max,
                      const std::string& where);
    static void feed(std::int64_t lines, const std::string& where);
    static void barcodeData(std::int64_t type, std::string_view data, const std::string& where);
    // `shown` is how the caller wrote the height, for the message; empty: the number itself.
    static void barcodeHeight(double height, const std::string& where,
                              const std::string& shown = {});

    // Every check above that applies to the line, then its printer commands checked to fit.
    static void line(const std::shared_ptr<vantoconnect::VantoReceiptLine>& line,
                     const std::string& where);

    // The line's command groups, composed alone by the library's own composer (it keeps nothing
    // from one line to the next, so these are the bytes the line has in any receipt).
    static std::vector<vantoconnect::Bytes> compose(
        const std::shared_ptr<vantoconnect::VantoReceiptLine>& line, const std::string& where);
};

}  // namespace vantoreceipts
