#pragma once

// Turns one outgoing message into one link frame:
//
//   0x02 | length (1 or 2 bytes) | message bytes | CRC upper | CRC lower
//
// Everything after the start byte is escaped: 0x02 and 0x10 travel as 0x10, value ^ 0x40, so
// the start byte is the only bare 0x02 of a frame. The CRC covers the unescaped length and
// message bytes. Every frame built is written to the console as "link encoder, frame " and
// its dump.
//
// Not for concurrent use: the canvas is rewritten by every call.

#include <cstdint>
#include <string>
#include <vector>

#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class LinkEncoder {
  public:
    static constexpr std::int64_t MAXCANVASSIZE = 40000;
    // One byte, N & 0xFF.
    static constexpr std::int64_t LENGTH_8BIT = 0;
    // One byte up to 127; above, the low 7 bits with bit 7 set and then N >> 7.
    static constexpr std::int64_t LENGTH_12BIT = 1;
    // Two bytes, low first.
    static constexpr std::int64_t LENGTH_16BIT = 2;

    std::int64_t usedCanvas = 0;
    Bytes frameCanvas;
    bool doQuorinCRC = false;
    std::int64_t lengthSize = LENGTH_12BIT;

    LinkEncoder();

    void setCRCEnable(bool b);
    // Switches to the alternative checksum route, which cannot complete a frame: it always
    // ends in a fatal error. Nothing in the library turns it on.
    void setQuorinCRCEnable(bool b);
    // Stored as given; an unknown size is reported when a frame is built, which then has no
    // length field.
    void setLengthSize(std::int64_t i);

    std::int64_t determineOutChannel(const ByteLump& inbl, const ByteLump& outbl, std::int64_t i);

    // Returns exactly one lump holding the frame of bl. The channel is ignored. A frame longer
    // than the canvas stops the process.
    std::vector<ByteLump> processByteLump(const ByteLump& bl, std::int64_t channel);

  private:
    bool doCRC = false;
    std::int64_t noOfChannels = 1;
    // Reused for every console line so building one costs no allocation once warm.
    std::string consoleText;

    void sendByte(std::int8_t b);
    void sendEscaped(std::int8_t b);
    void sendEscapedCRC(std::int8_t b, CRC& crc);
    // Escapes and appends a whole run; same bytes as sendEscaped on each.
    void sendEscapedRun(const std::int8_t* bytes, std::size_t count);
    std::int64_t generateQuorinCRC(const ByteLump& bl);
    std::vector<ByteLump> processQuorin(const ByteLump& bl);
    std::vector<ByteLump> finish(ByteLump frame);
};

}  // namespace vantoconnect
