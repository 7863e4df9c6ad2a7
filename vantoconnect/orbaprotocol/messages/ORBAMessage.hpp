#pragma once

// One message of the device protocol: a 4-byte header and its content, carried in one link
// frame.
//
//   byte 0  destination node (bits 7-4), destination channel (bits 3-0)
//   byte 1  source node (bits 7-4), source channel (bits 3-0)
//   byte 2  type: a command code or a response type
//   byte 3  direction (bit 7: 1 = response), tag (bits 3-0) pairing a response to its command
//   byte 4… content; multi-byte values little-endian
//
// Accessors work in place on payload and stop the process on an index past its end. Several
// of them keep the unit firmware's arithmetic exactly, because replies are matched on it:
// node getters shift the signed byte (nodes 8-15 read -8..-1), a channel setter ORs its whole
// value, setTag ORs into the old tag, and isCommand looks at the tag bits, not the direction.
//
// Only the three constructors below make messages; the other ByteLump forms are deliberately
// not offered.

#include <cstdint>
#include <string>

#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/support/Bytes.hpp"

namespace vantoconnect {

class ORBAMessage : public ByteLump {
  public:
    static constexpr std::uint8_t MAJORVERSION = 1;
    static constexpr std::uint8_t MINORVERSION = 0;
    static constexpr std::uint8_t INCREVERSION = 0;

    static constexpr std::int64_t MESSTYPEIX = 2;
    static constexpr std::int64_t MESSHEADERSIZE = 4;
    static constexpr std::int64_t MESSPAYLOADIX = MESSHEADERSIZE;

    // Command codes. PUTFILESTART/SETSENSOR and PUTFILESTOP/GETSENSOR share a value: the type
    // byte alone does not tell those pairs apart.
    static constexpr std::int8_t GETSERIAL = 0x79;
    static constexpr std::int8_t GETVERSION = 0x76;
    static constexpr std::int8_t PING = 0x70;
    static constexpr std::int8_t GETCLOCK = 0x6B;
    static constexpr std::int8_t GETMEMORY = 0x6D;
    static constexpr std::int8_t SETMEMORY = 0x4D;
    static constexpr std::int8_t DOTEST = 0x54;
    static constexpr std::int8_t SWITCHDATA = 0x4E;
    static constexpr std::int8_t GETPCONTROL = 0x61;
    static constexpr std::int8_t SETPCONTROL = 0x41;
    static constexpr std::int8_t SETIOSTATE = 0x49;
    static constexpr std::int8_t RESET = 0x47;
    static constexpr std::int8_t GETSYSINFO = 0x7A;
    static constexpr std::int8_t GETALLSENSORS = 0x68;
    static constexpr std::int8_t GETSENSOR = 0x63;
    static constexpr std::int8_t SETSENSOR = 0x43;
    static constexpr std::int8_t GETSENSORLOG = 0x6C;
    static constexpr std::int8_t PUTFILESTART = 0x43;
    static constexpr std::int8_t PUTFILESTOP = 0x63;
    static constexpr std::int8_t PLAYFILE = 0x42;
    static constexpr std::int8_t DELETEFILE = 0x62;

    // Response types. NOTSUPPORTED has the value of GETPCONTROL.
    static constexpr std::uint8_t SETSERIAL = 0x59;
    static constexpr std::uint8_t SETRTCLOCK = 0x4B;
    static constexpr std::uint8_t BORED = 0x21;
    static constexpr std::uint8_t RAW = 0x00;
    static constexpr std::uint8_t NOTSUPPORTED = 0x61;
    static constexpr std::uint8_t ERRORRESP = 0x45;

    // Error codes carried in the content of an ERRORRESP response.
    static constexpr std::uint8_t ERR_NONE = 0;
    static constexpr std::uint8_t ERR_NOTIMP = 1;
    static constexpr std::uint8_t ERR_INVLEN = 2;
    static constexpr std::uint8_t ERR_INVVAL = 3;
    static constexpr std::uint8_t ERR_NOTPERM = 4;
    static constexpr std::uint8_t ERR_NODATA = 5;
    static constexpr std::uint8_t ERR_NORESP = 6;
    static constexpr std::uint8_t ERR_NOREADER = 7;

    // i + 3 bytes, one short of header plus content: a zero i cannot even hold the tag byte
    // and stops the process. Source node 1, channel 8.
    ORBAMessage(std::int8_t chan, std::int8_t com, std::int8_t tag, bool cmd, std::int64_t i);
    // The usual outgoing message: header plus i zero content bytes, source node 0, channel 2,
    // destination node 0 and channel 0 for the caller to address.
    ORBAMessage(std::int8_t com, std::int8_t tag, bool cmd, std::int64_t i);
    // Received bytes, taken as they are; isWellFormed() is the caller's check.
    explicit ORBAMessage(const Bytes& byteArray);

    // Plain value copies: a message has no checked copying form of its own.
    ORBAMessage(const ORBAMessage&) = default;
    ORBAMessage(ORBAMessage&&) noexcept = default;
    ORBAMessage& operator=(const ORBAMessage&) = default;
    ORBAMessage& operator=(ORBAMessage&&) noexcept = default;
    ~ORBAMessage() override = default;

    virtual bool isCommand() const;
    // "command" or "response", after isCommand().
    std::string messageType() const;

    void setDestNode(std::int8_t node);
    std::int8_t getDestNode() const;
    void setDestChannel(std::int8_t channel);
    std::int8_t getDestChannel() const;
    void setSourceChannel(std::int8_t channel);
    std::int8_t getSourceChannel() const;
    void setSourceNode(std::int8_t node);
    std::int8_t getSourceNode() const;
    void setType(std::int8_t type);
    std::int8_t getType() const;
    void setTag(std::int8_t tag);
    std::int8_t getTag() const;
    std::int8_t getSequence() const;
    void setCommand(bool b);

    std::int64_t getActualLength() const;
    Bytes getMessageSpecificContent() const;
    virtual bool isWellFormed() const;

    // Little-endian, each byte added as a signed value: a byte of 0x80 or more borrows from
    // the byte above it (FF 00 00 00 reads -1).
    std::int64_t get32BitPayloadValue(std::int64_t ix) const;
    // Only values whose four low bytes are each below 0x80 can be stored; any other byte stops
    // the process, leaving the bytes written before it in place.
    void put32BitPayloadValue(std::int64_t ix, std::int64_t pl);

    // Addresses a reply back to the sender of a received message.
    void swapSrceDest();

  private:
    static constexpr std::int64_t MESSDESTCHANIX = 0;
    static constexpr std::int64_t MESSSRCECHANIX = 1;
    static constexpr std::int64_t MESSTAGIX = 3;
    static constexpr std::int64_t MINMESSSIZE = MESSHEADERSIZE;
    static constexpr std::int64_t MAXMESSSIZE = 300;

    std::int8_t& byteAt(std::int64_t ix);
    std::int8_t byteAt(std::int64_t ix) const;
    void setNode(std::int64_t ix, std::int8_t node);
    void setChannel(std::int64_t ix, std::int8_t channel);
};

}  // namespace vantoconnect
