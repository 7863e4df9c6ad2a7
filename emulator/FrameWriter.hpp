#pragma once

// Frames the unit's replies the way the library frames its requests: start byte, 12-bit length,
// escaped message bytes, CRC-16/XMODEM upper byte first.

#include <cstdint>
#include <span>
#include <vector>

namespace vantoemu {

class FrameWriter {
  public:
    static std::vector<std::uint8_t> frame(std::span<const std::uint8_t> message,
                                           bool corruptCrc = false);

    // A reply message addressed back to the sender of `request` (source and destination
    // swapped), with the given type, header byte 3 and content.
    static std::vector<std::uint8_t> replyMessage(std::span<const std::uint8_t> request,
                                                  std::uint8_t type, std::uint8_t tagByte,
                                                  std::span<const std::uint8_t> content);
};

}  // namespace vantoemu
