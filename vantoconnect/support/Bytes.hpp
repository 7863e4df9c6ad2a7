#pragma once

// The two byte-buffer currencies of the library. Composer, messages, link layer and
// connection pass signed bytes, where 0x80..0xFF travel as -128..-1; the socket layer works in
// unsigned bytes. Converting between them keeps the bit pattern and cannot fail.

#include <cstdint>
#include <vector>

namespace vantoconnect {

using Bytes = std::vector<std::int8_t>;
using UBytes = std::vector<std::uint8_t>;

inline UBytes toUnsignedBytes(const Bytes& bytes) {
    return UBytes(bytes.begin(), bytes.end());
}
inline Bytes toSignedBytes(const UBytes& bytes) {
    return Bytes(bytes.begin(), bytes.end());
}

}  // namespace vantoconnect
