#pragma once

// The unit's link-frame reader. Unlike the client's decoder it accepts every length form the
// frame format allows (including the two-byte 12-bit form that printer packets need), checks
// the CRC, and resynchronises on every unescaped start byte. It never throws on any input:
// whatever cannot be a frame is reported as an error and skipped.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "emulator/Crc16.hpp"

namespace vantoemu {

class FrameReader {
  public:
    enum class LengthForm { Bits8, Bits12, Bits16 };

    struct Error {
        enum class Kind { BytesOutsideFrame, StartInsideFrame, BadEscape, CrcMismatch };
        Kind kind;
        std::uint64_t offset;  // position in the whole stream fed so far
        std::string message;
    };

    struct Output {
        std::vector<std::vector<std::uint8_t>> frames;  // message bytes, unescaped
        std::vector<Error> errors;
    };

    static constexpr std::uint8_t STX = 0x02;
    static constexpr std::uint8_t DLE = 0x10;
    static constexpr std::uint8_t ESCAPE_XOR = 0x40;

    explicit FrameReader(LengthForm form = LengthForm::Bits12, bool crcEnabled = true);

    // Bytes may be split anywhere: a frame begun in one call completes in a later one.
    Output feed(std::span<const std::uint8_t> bytes);

    bool midFrame() const { return mState != State::Idle; }
    std::uint64_t frameCount() const { return mFrames; }
    std::uint64_t errorCount() const { return mErrors; }

    static std::string kindName(Error::Kind kind);

  private:
    enum class State { Idle, Length1, Length2, Message, Crc1, Crc2 };

    void startFrame();
    void acceptByte(std::uint8_t value, Output& out);
    void fail(Error::Kind kind, std::string message, Output& out);
    void flushStray(Output& out);
    void deliverFrame(Output& out);

    LengthForm mForm;
    bool mCrcEnabled;
    State mState = State::Idle;
    bool mEscaped = false;
    std::uint8_t mFirstLength = 0;
    std::size_t mLength = 0;
    std::vector<std::uint8_t> mMessage;
    Crc16 mCrc;
    std::uint16_t mReceivedCrc = 0;
    std::uint64_t mOffset = 0;
    std::uint64_t mStray = 0;
    std::uint64_t mStrayStart = 0;
    std::uint64_t mFrames = 0;
    std::uint64_t mErrors = 0;
};

}  // namespace vantoemu
