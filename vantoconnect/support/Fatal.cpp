#include "vantoconnect/support/Fatal.hpp"

#include <cmath>

namespace vantoconnect {

void fatalError(std::string_view message) {
    throw FatalError(std::string(message));
}

namespace {
template <typename Narrow>
Narrow narrowChecked(std::int64_t value) {
    if (value < std::numeric_limits<Narrow>::min()) {
        fatalError(std::numeric_limits<Narrow>::is_signed ? fatal::NOT_ENOUGH_BITS
                                                          : fatal::NEGATIVE_NOT_REPRESENTABLE);
    }
    if (value > std::numeric_limits<Narrow>::max()) {
        fatalError(fatal::NOT_ENOUGH_BITS);
    }
    return static_cast<Narrow>(value);
}
}  // namespace

std::int8_t toInt8Checked(std::int64_t value) {
    return narrowChecked<std::int8_t>(value);
}
std::int16_t toInt16Checked(std::int64_t value) {
    return narrowChecked<std::int16_t>(value);
}
std::int32_t toInt32Checked(std::int64_t value) {
    return narrowChecked<std::int32_t>(value);
}
std::uint8_t toUInt8Checked(std::int64_t value) {
    return narrowChecked<std::uint8_t>(value);
}

std::int64_t toInt64Checked(double value) {
    if (!std::isfinite(value)) {
        fatalError(fatal::DOUBLE_NOT_FINITE);
    }
    // 2^63 is exactly representable; every double below it truncates into range.
    constexpr double limit = 9223372036854775808.0;
    if (value >= limit) {
        fatalError(fatal::DOUBLE_TOO_LARGE);
    }
    // -2^63 itself converts; the next double below it is already out of range.
    if (value < -limit) {
        fatalError(fatal::DOUBLE_TOO_SMALL);
    }
    return static_cast<std::int64_t>(value);
}

std::int64_t shiftLeftChecked(std::int64_t value, std::int64_t amount) {
    if (amount < 0 || amount >= 64) {
        fatalError(fatal::OVERWIDE_SHIFT);
    }
    // Shift the bit pattern: bits pushed out at the top are lost, as a fixed-width shift does.
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(value) << amount);
}

}  // namespace vantoconnect
