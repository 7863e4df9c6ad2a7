#pragma once

// Byte streams written the way the tests read best: text("Hi\n") + Bytes{0x1B, 0x69}.

#include <cstdint>
#include <string>
#include <vector>

namespace vantoemu::testing {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

}  // namespace vantoemu::testing
