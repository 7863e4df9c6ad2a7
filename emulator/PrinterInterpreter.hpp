#pragma once

// Reads one print job's bytes as the unit's receipt printer does and turns them into a
// document. The printer's state (styles, size, justification, code page, barcode settings)
// starts fresh for every job. Bytes it cannot read are kept as issues with their offset.

#include <cstdint>
#include <span>

#include "emulator/PrinterDocument.hpp"

namespace vantoemu {

class PrinterInterpreter {
  public:
    static constexpr int DEFAULT_BARCODE_HEIGHT = 162;

    static PrinterDocument interpret(std::span<const std::uint8_t> bytes);
};

}  // namespace vantoemu
