#pragma once

// The plain 256-entry table of CRC-16/XMODEM that the benchmarks use as their anchor: the
// textbook one-byte-at-a-time method the library's bulk paths are measured against.

#include <array>
#include <cstdint>

namespace vantoconnect::bench {

inline const std::array<std::uint16_t, 256>& crcTable() {
    static const std::array<std::uint16_t, 256> table = [] {
        std::array<std::uint16_t, 256> t{};
        for (std::uint32_t b = 0; b < 256; ++b) {
            std::uint32_t v = b << 8;
            for (int i = 0; i < 8; ++i) {
                v = (v & 0x8000) ? ((v << 1) ^ 0x1021) : (v << 1);
            }
            t[b] = static_cast<std::uint16_t>(v);
        }
        return t;
    }();
    return table;
}

}  // namespace vantoconnect::bench
