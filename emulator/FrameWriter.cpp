#include "emulator/FrameWriter.hpp"

#include "emulator/Crc16.hpp"
#include "emulator/FrameReader.hpp"

namespace vantoemu {

namespace {

void sendEscaped(std::vector<std::uint8_t>& out, std::uint8_t b) {
    if (b == FrameReader::STX || b == FrameReader::DLE) {
        out.push_back(FrameReader::DLE);
        out.push_back(static_cast<std::uint8_t>(b ^ FrameReader::ESCAPE_XOR));
    } else {
        out.push_back(b);
    }
}

}  // namespace

std::vector<std::uint8_t> FrameWriter::frame(std::span<const std::uint8_t> message,
                                             bool corruptCrc) {
    std::vector<std::uint8_t> out;
    out.reserve(message.size() * 2 + 8);
    out.push_back(FrameReader::STX);
    Crc16 crc;
    auto put = [&](std::uint8_t b) {
        sendEscaped(out, b);
        crc.add(b);
    };
    const std::size_t n = message.size() & 0x7FFF;
    if (n <= 127) {
        put(static_cast<std::uint8_t>(n));
    } else {
        put(static_cast<std::uint8_t>((n & 0x7F) | 0x80));
        put(static_cast<std::uint8_t>(n >> 7));
    }
    for (std::uint8_t b : message.first(n)) {
        put(b);
    }
    std::uint16_t value = crc.value();
    if (corruptCrc) {
        // The corrupted bytes are escaped like any others, so the frame still parses and only
        // its checksum is wrong.
        value ^= 0x8080;
    }
    sendEscaped(out, static_cast<std::uint8_t>(value >> 8));
    sendEscaped(out, static_cast<std::uint8_t>(value & 0xFF));
    return out;
}

std::vector<std::uint8_t> FrameWriter::replyMessage(std::span<const std::uint8_t> request,
                                                    std::uint8_t type, std::uint8_t tagByte,
                                                    std::span<const std::uint8_t> content) {
    std::vector<std::uint8_t> message;
    message.reserve(4 + content.size());
    const std::uint8_t dest = request.size() > 0 ? request[0] : 0;
    const std::uint8_t source = request.size() > 1 ? request[1] : 0;
    message.push_back(source);
    message.push_back(dest);
    message.push_back(type);
    message.push_back(tagByte);
    message.insert(message.end(), content.begin(), content.end());
    return message;
}

}  // namespace vantoemu
