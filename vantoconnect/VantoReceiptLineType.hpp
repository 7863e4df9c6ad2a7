#pragma once

#include <cstddef>
#include <functional>

namespace vantoconnect {

// The seven kinds of receipt line. The order is the ordinal that equality and hashing use, so
// new kinds may only ever be added at the end.
enum class VantoReceiptLineType {
    PRICE,
    TEXT,
    IMAGE,
    IMAGE_BUFFER,  // no line class makes it; the composer passes over such a line
    BARCODE,
    FEED,
    SINGLE_CHAR,
};

}  // namespace vantoconnect

// The hash value of a line type is its ordinal.
template <>
struct std::hash<vantoconnect::VantoReceiptLineType> {
    std::size_t operator()(vantoconnect::VantoReceiptLineType type) const noexcept {
        return static_cast<std::size_t>(type);
    }
};
