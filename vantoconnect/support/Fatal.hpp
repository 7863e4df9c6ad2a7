#pragma once

// Misuse inside the library stops the process; it is never reported as an ordinary error.
// Every such edge goes through fatalError(), which throws FatalError carrying the runtime
// message of the edge. The library never catches it: on a worker thread it ends the process
// at once, and tests assert it with EXPECT_THROW.
//
// The checked helpers below turn an edge that C++ would leave undefined (an index past the
// end, a narrowing that loses bits, an over-wide shift) into that deliberate stop.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <string_view>

namespace vantoconnect {

class FatalError : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

[[noreturn]] void fatalError(std::string_view message);

// The runtime's own words for each kind of edge.
namespace fatal {
inline constexpr std::string_view INDEX_OUT_OF_RANGE = "Index out of range";
inline constexpr std::string_view EMPTY_RANGE = "Can't form Range with upperBound < lowerBound";
inline constexpr std::string_view OVERWIDE_SHIFT = "shift amount is larger than type size in bits";
inline constexpr std::string_view NIL_UNWRAP =
    "unexpectedly found nil while unwrapping an Optional value";
inline constexpr std::string_view NOT_ENOUGH_BITS = "Not enough bits to represent the passed value";
inline constexpr std::string_view NEGATIVE_NOT_REPRESENTABLE =
    "Negative value is not representable";
inline constexpr std::string_view ARITHMETIC_OVERFLOW = "arithmetic overflow";
inline constexpr std::string_view NEGATIVE_COUNT = "Can't construct Array with count < 0";
inline constexpr std::string_view DOUBLE_NOT_FINITE =
    "Double value cannot be converted to Int because it is either infinite or NaN";
inline constexpr std::string_view DOUBLE_TOO_LARGE =
    "Double value cannot be converted to Int because the result would be greater than Int.max";
inline constexpr std::string_view DOUBLE_TOO_SMALL =
    "Double value cannot be converted to Int because the result would be less than Int.min";
}  // namespace fatal

// Narrowing that keeps the value or stops: Int8(x), Int32(x), UInt8(x).
std::int8_t toInt8Checked(std::int64_t value);
std::int16_t toInt16Checked(std::int64_t value);
std::int32_t toInt32Checked(std::int64_t value);
std::uint8_t toUInt8Checked(std::int64_t value);

// Truncation toward zero of a double into a 64-bit integer, with the runtime's three messages.
std::int64_t toInt64Checked(double value);

// Overflow-checked arithmetic on 64-bit integers. Inline, as they sit on hot paths; only the
// stop is out of line.
inline std::int64_t addChecked(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_add_overflow(a, b, &result)) [[unlikely]] {
        fatalError(fatal::ARITHMETIC_OVERFLOW);
    }
    return result;
}
inline std::int64_t subtractChecked(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_sub_overflow(a, b, &result)) [[unlikely]] {
        fatalError(fatal::ARITHMETIC_OVERFLOW);
    }
    return result;
}
inline std::int64_t multiplyChecked(std::int64_t a, std::int64_t b) {
    std::int64_t result = 0;
    if (__builtin_mul_overflow(a, b, &result)) [[unlikely]] {
        fatalError(fatal::ARITHMETIC_OVERFLOW);
    }
    return result;
}

// value << amount on a 64-bit integer; an amount of 64 or more stops, as does a negative one.
std::int64_t shiftLeftChecked(std::int64_t value, std::int64_t amount);

// A closed range lower...upper must not be empty.
inline void requireRange(std::int64_t lower, std::int64_t upper) {
    if (upper < lower) [[unlikely]] {
        fatalError(fatal::EMPTY_RANGE);
    }
}

// A count used to make an array must not be negative.
inline std::size_t requireCount(std::int64_t count) {
    if (count < 0) [[unlikely]] {
        fatalError(fatal::NEGATIVE_COUNT);
    }
    return static_cast<std::size_t>(count);
}

// The index must lie in [0, size).
inline std::size_t checkedIndex(std::int64_t index, std::size_t size) {
    if (index < 0 || static_cast<std::uint64_t>(index) >= size) {
        fatalError(fatal::INDEX_OUT_OF_RANGE);
    }
    return static_cast<std::size_t>(index);
}

// Bounds-checked element access for any contiguous container.
template <typename Container>
decltype(auto) checkedAt(Container& container, std::int64_t index) {
    return container[checkedIndex(index, container.size())];
}

}  // namespace vantoconnect
