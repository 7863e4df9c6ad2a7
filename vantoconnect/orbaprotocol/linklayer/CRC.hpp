#pragma once

// The 16-bit check value that protects every link frame: polynomial 0x1021, initial value 0,
// most significant bit first, no reflection and no final XOR ("123456789" gives 0x31C3).
// It also owns the link layer's byte constants, which encoder and decoder read from here.

#include <cstdint>
#include <span>

namespace vantoconnect {

class CRC {
  public:
    static constexpr std::int8_t STX = 0x02;
    static constexpr std::int8_t DLE = 0x10;
    static constexpr std::int8_t BIT6 = 0x40;

    std::int64_t lsbMask = 0x00FF;
    std::int64_t msbMask = 0xFF00;

    CRC();

    // Feeds one unescaped byte.
    void addToCRC(std::int8_t b);
    // Feeds a run of bytes; the result is the same as feeding them one at a time.
    void addToCRC(std::span<const std::int8_t> bytes);

    std::int8_t getUpperByte() const {
        return static_cast<std::int8_t>(static_cast<std::uint16_t>(currentValue) >> 8);
    }
    std::int8_t getLowerByte() const { return static_cast<std::int8_t>(currentValue & 0xFF); }
    // Each setter replaces one byte of the value and keeps the other, so a pair of calls
    // overwrites the whole value without a reset. The masked result keeps its low 16 bits.
    void setUpperByte(std::int8_t b) {
        const std::int64_t v = (currentValue & lsbMask) | (((b & lsbMask) << 8) & msbMask);
        currentValue = static_cast<std::int16_t>(static_cast<std::uint16_t>(v & 0xFFFF));
    }
    void setLowerByte(std::int8_t b) {
        const std::int64_t v = (currentValue & msbMask) | (b & lsbMask);
        currentValue = static_cast<std::int16_t>(static_cast<std::uint16_t>(v & 0xFFFF));
    }
    bool equals(const CRC& c) const { return currentValue == c.currentValue; }

    // The bulk overload picks a carry-less multiply fold when the processor has one and the
    // portable paths are not forced (PortablePaths), the table otherwise.
    static bool carrylessBulkPathAvailable();

  private:
    std::int16_t currentValue = 0;
};

}  // namespace vantoconnect
