#include "tests/support/FakeUnit.hpp"

#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"

namespace vantoconnect::testing {

UBytes FakeUnit::frame(const Bytes& message) {
    UBytes out{static_cast<std::uint8_t>(CRC::STX)};
    if (message.empty()) {
        return out;
    }
    const std::size_t n = message.size();
    // Up to 127 bytes the length is one byte; beyond, the low seven bits come first, flagged.
    Bytes body = n <= 127
                     ? Bytes{static_cast<std::int8_t>(n)}
                     : Bytes{static_cast<std::int8_t>(n | 0x80), static_cast<std::int8_t>(n >> 7)};
    body.insert(body.end(), message.begin(), message.end());
    CRC crc;
    for (const std::int8_t b : body) {
        crc.addToCRC(b);
    }
    body.push_back(crc.getUpperByte());
    body.push_back(crc.getLowerByte());
    for (const std::int8_t b : body) {
        const bool escaped = b == CRC::STX || b == CRC::DLE;
        if (escaped) {
            out.push_back(static_cast<std::uint8_t>(CRC::DLE));
        }
        out.push_back(static_cast<std::uint8_t>(escaped ? b ^ CRC::BIT6 : b));
    }
    return out;
}

Bytes FakeUnit::message(std::int8_t type, const Bytes& content, bool response, std::int8_t tag) {
    // Destination: host node 0, channel 2; source: the unit's node 1, channel 2.
    Bytes bytes{0x02, 0x12, type,
                static_cast<std::int8_t>((response ? 0x80 : 0x00) | (tag & 0x0F))};
    bytes.insert(bytes.end(), content.begin(), content.end());
    return bytes;
}

}  // namespace vantoconnect::testing
