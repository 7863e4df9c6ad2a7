// Arbitrary text as a receipt file: the reader must answer every input with a receipt or a
// CliError naming the problem, and a receipt it accepts must compose without a fatal error.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "cli/CliError.hpp"
#include "cli/ReceiptFile.hpp"
#include "vantoconnect/support/Console.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const bool quiet = [] {
        vantoconnect::setConsoleSink([](std::string_view) {});
        return true;
    }();
    (void)quiet;
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        auto receipt = vantocli::ReceiptFile::parse(text, "fuzz.json", "/nonexistent-dir");
        vantocli::ReceiptFile::checkPrintable(*receipt, "fuzz.json");
    } catch (const vantocli::CliError&) {
        // Refused with a message: the expected outcome for nearly every input.
    }
    return 0;
}
