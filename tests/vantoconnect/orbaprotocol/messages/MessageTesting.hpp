#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include "vantoconnect/support/Bytes.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect::testing {

// Bytes written as their unsigned pattern, the way they read on the wire.
inline Bytes wire(std::initializer_list<int> values) {
    Bytes out;
    for (int v : values) {
        out.push_back(static_cast<std::int8_t>(v));
    }
    return out;
}

inline Bytes slice(const Bytes& b, std::size_t from, std::size_t count) {
    return Bytes(b.begin() + static_cast<std::ptrdiff_t>(from),
                 b.begin() + static_cast<std::ptrdiff_t>(from + count));
}

template <typename F>
std::string fatalMessage(F&& f) {
    try {
        f();
    } catch (const FatalError& e) {
        return e.what();
    }
    return "<no fatal error>";
}

}  // namespace vantoconnect::testing
