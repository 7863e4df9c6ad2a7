#pragma once

#include <array>
#include <cstdint>

#include "vantoconnect/PixelComponent.hpp"

namespace vantoconnect {

// One RGBA pixel as the rasteriser reads it, data in the order red, green, blue, alpha.
class Pixel {
  public:
    std::array<std::uint8_t, 4> data{0, 0, 0, 0};

    Pixel() = default;
    Pixel(std::uint8_t r, std::uint8_t g, std::uint8_t b, std::uint8_t a) : data{r, g, b, a} {}

    std::uint8_t getComponent(PixelComponent component) const {
        return data[static_cast<std::size_t>(component)];
    }
    void setComponent(PixelComponent component, std::uint8_t value) {
        data[static_cast<std::size_t>(component)] = value;
    }
};

}  // namespace vantoconnect
