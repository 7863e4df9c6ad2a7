#pragma once

// Shared by the link-layer and message suites.

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

}  // namespace vantoconnect::linktest
