#pragma once

// The unit of data that moves through the link layer: a counted run of signed bytes, with
// the hexadecimal dump used in every console line about frames and messages and a small
// escape notation for writing byte strings by hand.
//
// Both fields are public and independently writable; every operation trusts sizeInBytes
// and indexes payload from 0 to sizeInBytes - 1, stopping the process when that runs past
// the end of payload.

#include <cstdint>
#include <string>
#include <string_view>

#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class ByteLump {
  public:
    Bytes payload;
    std::int64_t sizeInBytes = 0;

    // A copy of all of b; an empty b stops the process.
    explicit ByteLump(const Bytes& b);
    // A copy of l bytes of b from startix; l = 0 stops the process.
    ByteLump(const Bytes& b, std::int64_t startix, std::int64_t l);
    // i zero bytes, to be filled in afterwards.
    explicit ByteLump(std::int64_t i);
    // Parses text in which a backslash and two hex digits stand for one byte, and two
    // backslashes for one backslash: "AB\0D" gives 41 42 0d.
    explicit ByteLump(std::string_view s);

    // A fresh lump of the first sizeInBytes bytes of b, with the checks of the (b, startix, l)
    // form: an empty lump, or a count past the end of b's payload, stops the process. Plain
    // copies (containers growing, values returned) copy both fields as they stand and never
    // stop; this is the form to use where a lump is deliberately duplicated.
    static ByteLump copyOf(const ByteLump& b);

    ByteLump(const ByteLump&) = default;
    ByteLump(ByteLump&&) noexcept = default;
    ByteLump& operator=(const ByteLump&) = default;
    ByteLump& operator=(ByteLump&&) noexcept = default;
    virtual ~ByteLump();

    Bytes toByteArray() const;
    // "ByteLump, size 3, contents: 02|7f|c8", or "<Empty>" for a size below 1.
    virtual std::string toString() const;
    // Two lowercase digits of the byte's bit pattern: -1 gives "ff".
    std::string toHexByte(std::int8_t b) const;
    // The value of one hex digit character; anything else, '0' included, gives 0.
    static std::int64_t gethex(std::int8_t c);

    // Appends the same text as ByteLump::toString() to out, so a console line can be built in
    // one buffer without a temporary copy of the dump.
    void appendDump(std::string& out) const;

  private:
    static constexpr std::int8_t ZERO_HEX = '0';
    static constexpr std::int8_t ONE_HEX = '1';
    static constexpr std::int8_t TWO_HEX = '2';
    static constexpr std::int8_t THREE_HEX = '3';
    static constexpr std::int8_t FOUR_HEX = '4';
    static constexpr std::int8_t FIVE_HEX = '5';
    static constexpr std::int8_t SIX_HEX = '6';
    static constexpr std::int8_t SEVEN_HEX = '7';
    static constexpr std::int8_t EIGHT_HEX = '8';
    static constexpr std::int8_t NINE_HEX = '9';
    static constexpr std::int8_t A_LOWER_HEX = 'a';
    static constexpr std::int8_t B_LOWER_HEX = 'b';
    static constexpr std::int8_t C_LOWER_HEX = 'c';
    static constexpr std::int8_t D_LOWER_HEX = 'd';
    static constexpr std::int8_t E_LOWER_HEX = 'e';
    static constexpr std::int8_t F_LOWER_HEX = 'f';
    static constexpr std::int8_t A_UPPER_HEX = 'A';
    static constexpr std::int8_t B_UPPER_HEX = 'B';
    static constexpr std::int8_t C_UPPER_HEX = 'C';
    static constexpr std::int8_t D_UPPER_HEX = 'D';
    static constexpr std::int8_t E_UPPER_HEX = 'E';
    static constexpr std::int8_t F_UPPER_HEX = 'F';

    std::string toHexNibble(std::int64_t number) const;
    void copyFrom(const Bytes& b, std::int64_t startix, std::int64_t l);
};

}  // namespace vantoconnect
