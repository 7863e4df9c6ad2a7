// Arbitrary print-job bytes through the printer interpreter and the text view. Every issue
// must point inside the job, and the text view must cope with any document.

#include <cstdint>
#include <cstdlib>
#include <span>

#include "emulator/PrinterInterpreter.hpp"
#include "emulator/ReceiptRenderer.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    const auto document = vantoemu::PrinterInterpreter::interpret(bytes);
    for (const auto& issue : document.issues) {
        if (issue.offset >= size) {
            std::abort();
        }
    }
    (void)vantoemu::ReceiptRenderer::textView(document);
    return 0;
}
