#pragma once

// Shared by the link-layer, message and device suites.

#include <cstdint>
#include <initializer_list>
#include <string>

#include "tests/support/FatalMessage.hpp"
#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::linktest {

// Byte values written as they appear on the wire, 0x00..0xFF.
inline Bytes wire(std::initializer_list<int> values) {
    Bytes out;
    for (int v : values) {
        out.push_back(static_cast<std::int8_t>(v));
    }
    return out;
}

inline Bytes concat(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

using vantoconnect::testing::fatalMessage;

// The content of a set-IO-state message: 24 zero bytes, then the change mask and the values as
// the unit reads 32-bit words, least significant byte first.
inline Bytes ioContent(std::uint32_t mask, std::uint32_t value) {
    Bytes out(24, 0);
    for (std::uint32_t word : {mask, value}) {
        for (int shift = 0; shift < 32; shift += 8) {
            out.push_back(static_cast<std::int8_t>((word >> shift) & 0xFF));
        }
    }
    return out;
}

}  // namespace vantoconnect::linktest
