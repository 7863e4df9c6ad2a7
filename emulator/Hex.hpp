#pragma once

// Bytes as the event log shows them.

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

namespace vantoemu {

inline std::string hex(std::span<const std::uint8_t> bytes) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    out.reserve(bytes.size() * 2);
    for (std::uint8_t b : bytes) {
        out += digits[b >> 4];
        out += digits[b & 0x0F];
    }
    return out;
}

inline std::string hexByte(std::uint8_t b) {
    return "0x" + hex(std::span<const std::uint8_t>(&b, 1));
}

inline std::string hexWord(std::uint32_t value) {
    char text[12];
    std::snprintf(text, sizeof text, "0x%08x", value);
    return text;
}

}  // namespace vantoemu
