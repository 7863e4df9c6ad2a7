#pragma once

// The arithmetic of the frame check value that both the bulk check and the link decoder's
// running check need: its generator polynomial and the powers of x that move a value on.

#include <cstdint>

namespace vantoconnect::crcpolynomial {

// x^16 + x^12 + x^5 + 1, without its top term.
inline constexpr std::uint32_t POLY = 0x1021;

// x^n mod P(x).
constexpr std::uint64_t xPowerModPoly(unsigned n) {
    std::uint32_t r = 1;
    for (unsigned i = 0; i < n; ++i) {
        r <<= 1;
        if (r & 0x10000) {
            r ^= 0x10000 | POLY;
        }
    }
    return r;
}

}  // namespace vantoconnect::crcpolynomial
