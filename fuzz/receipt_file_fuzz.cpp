// Arbitrary text as a receipt file: the reader must answer every input with a receipt or a
// ReceiptInputError naming the problem. A receipt it accepts must compose without a fatal error, to
// the same bytes line by line as in one piece, in groups that each fit one printer packet.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "receipts/ReceiptFile.hpp"
#include "receipts/ReceiptInputError.hpp"
#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/ReceiptComposer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vantoconnect::testing::QuietConsole quiet;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        auto receipt = vantoreceipts::ReceiptFile::parse(text, "fuzz.json", "/nonexistent-dir");
        const auto groups = vantoreceipts::ReceiptFile::compose(*receipt, "fuzz.json");
        if (groups != vantoconnect::ReceiptComposer().compose(*receipt)) {
            std::abort();
        }
        for (const auto& group : groups) {
            if (group.empty() || group.size() > vantoreceipts::ReceiptFile::MAX_LINE_BYTES) {
                std::abort();
            }
        }
    } catch (const vantoreceipts::ReceiptInputError&) {
        // Refused with a message: the expected outcome for nearly every input.
    }
    return 0;
}
