#pragma once

#include <cstdint>
#include <optional>

namespace vantoconnect {

// The channels of a Pixel; the raw value is the channel's index in Pixel::data.
enum class PixelComponent : std::int64_t {
    RED = 0,
    GREEN = 1,
    BLUE = 2,
    ALPHA = 3,
};

// The component with this raw value, or nothing for any other value.
inline std::optional<PixelComponent> pixelComponent(std::int64_t rawValue) {
    if (rawValue < 0 || rawValue > 3) {
        return std::nullopt;
    }
    return static_cast<PixelComponent>(rawValue);
}

inline std::int64_t rawValue(PixelComponent component) {
    return static_cast<std::int64_t>(component);
}

}  // namespace vantoconnect
