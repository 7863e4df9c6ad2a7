#pragma once

// CRC-16/XMODEM (polynomial 0x1021, start 0, no reflection), the checksum at the end of every
// link frame. The unit keeps its own copy so that it checks frames independently of the code
// that produced them.

#include <cstdint>
#include <span>

namespace vantoemu {

class Crc16 {
  public:
    void add(std::uint8_t byte) {
        mValue ^= static_cast<std::uint16_t>(byte << 8);
        for (int bit = 0; bit < 8; ++bit) {
            mValue = (mValue & 0x8000) != 0 ? static_cast<std::uint16_t>((mValue << 1) ^ 0x1021)
                                            : static_cast<std::uint16_t>(mValue << 1);
        }
    }
    void add(std::span<const std::uint8_t> bytes) {
        for (std::uint8_t b : bytes) {
            add(b);
        }
    }
    std::uint16_t value() const { return mValue; }
    void reset() { mValue = 0; }

    static std::uint16_t of(std::span<const std::uint8_t> bytes) {
        Crc16 crc;
        crc.add(bytes);
        return crc.value();
    }

  private:
    std::uint16_t mValue = 0;
};

}  // namespace vantoemu
