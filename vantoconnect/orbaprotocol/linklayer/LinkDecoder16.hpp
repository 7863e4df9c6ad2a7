#pragma once

// The receiving half of the link layer. Raw bytes arrive in lumps of any size, frames split
// anywhere between them; each call returns the messages of the frames it completed, oldest
// first, as lumps of the unescaped message bytes. A start byte always begins a new frame.
//
// Errors never reach the caller: each is written to the console and the frame in progress is
// dropped. Lengths are read as signed bytes, so a first length byte of 0x80 or more never
// completes a frame: with the 12-bit field only frames of 1..127 bytes arrive.
//
// Not for concurrent use: state, canvas and results are rewritten by every call.

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "vantoconnect/orbaprotocol/linklayer/AbstractBLProducer.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class LinkDecoder16 : public AbstractBLProducer {
  public:
    static constexpr std::int64_t LENGTH_8BIT = 0;
    static constexpr std::int64_t LENGTH_12BIT = 1;
    static constexpr std::int64_t LENGTH_16BIT = 2;

    LinkDecoder16();

    void setCRCEnable(bool b);
    void setLengthSize(std::int64_t i);
    std::int64_t determineOutChannel(const ByteLump& inbl, const ByteLump& outbl, std::int64_t i);

    // An empty lump stops the process, as does the 8001st message byte of one frame.
    std::vector<ByteLump> processByteLump(const ByteLump& bl, std::int64_t i);

  private:
    static constexpr std::int64_t MAXCANVASSIZE = 8000;
    static constexpr std::int64_t SEEKSTX = 0;
    static constexpr std::int64_t ISLENGTH = 2;
    static constexpr std::int64_t ISLENGTH2 = 3;
    static constexpr std::int64_t ISDATA = 4;
    static constexpr std::int64_t ISCRC1 = 5;
    static constexpr std::int64_t ISCRC2 = 6;

    std::int64_t usedCanvas = 0;
    Bytes frameCanvas;
    std::int64_t state = SEEKSTX;
    bool doingDLE = false;
    std::int64_t quotedLength1 = 0;
    std::int64_t quotedLength2 = 0;
    std::int64_t quotedLengthTot = 0;
    CRC quotedCRC;
    bool doCRC = false;
    std::int64_t lengthSize = LENGTH_12BIT;
    std::vector<ByteLump> returnBLarray;

    // The frame's check value, kept as its bytes are copied where the processor can (a 128-bit
    // remainder), so a complete frame is checked without reading its bytes back.
    std::uint64_t runningCheck[2] = {0, 0};
    bool runningCheckKept = false;
    bool runningCheckTwoLengthBytes = false;

    void abortFrame(std::optional<std::string_view> errMsg);
    void processByteDefault(std::int8_t byteDefault);
    void processSmallLength(std::int8_t b);
    void processLargeLength(std::int8_t b);

    // Enters ISDATA and starts the frame's running check value.
    void beginData();
    bool twoLengthBytesChecked() const;
    void storeDataByte(std::int8_t b);
    // Called once the canvas holds the announced count.
    void frameFilled();
    void deliverFrame();
    // Called with both check bytes in: delivers the frame if its check value matches.
    void checkFrame();
    // Takes as many message bytes as it can from p[0..count) while in ISDATA with no escape
    // pending; returns how many input bytes it consumed. Stops before any start byte, any
    // escape it cannot finish, and after the frame's last message byte. Without blocks it
    // keeps to the portable byte path.
    std::size_t takeDataRun(const std::int8_t* p, std::size_t count, bool blocks);
};

}  // namespace vantoconnect
