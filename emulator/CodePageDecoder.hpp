#pragma once

// Shows printer text bytes as the paper would carry them: bytes 0x80..0xFF mean a different
// character in each code page, and a UTF-8 sequence sent to a single-byte printer comes out as
// one character per byte.

#include <string>
#include <string_view>

#include "emulator/PrinterDocument.hpp"

namespace vantoemu {

class CodePageDecoder {
  public:
    // The UTF-8 text of the bytes in the given code page (the default page is PC437).
    static std::string decode(std::string_view bytes, CodePage page);
    static char32_t codePoint(unsigned char byte, CodePage page);
    static void appendUtf8(std::string& out, char32_t cp);
};

}  // namespace vantoemu
