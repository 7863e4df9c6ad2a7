// Feeds arbitrary bytes to the link decoder in arbitrary chunks. The first input bytes choose
// the settings: CRC check, length-field size (including an unknown one), how often the data
// is repeated (so a frame can outgrow the 8000-byte canvas) and the seed of the chunk sizes.
//
// Only two fatal errors are legitimate: storing the 8001st message byte of one frame, and an
// empty input lump. Anything else that escapes, or a fatal error without its cause, aborts.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "tests/support/ConsoleCapture.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/support/Fatal.hpp"

namespace {

using vantoconnect::ByteLump;
using vantoconnect::Bytes;
using vantoconnect::FatalError;
using vantoconnect::LinkDecoder16;

constexpr std::size_t CANVAS = 8000;

LinkDecoder16 makeDecoder(std::uint8_t flags) {
    LinkDecoder16 decoder;
    decoder.setCRCEnable((flags & 0x01) != 0);
    static constexpr std::int64_t sizes[4] = {
        LinkDecoder16::LENGTH_8BIT, LinkDecoder16::LENGTH_12BIT, LinkDecoder16::LENGTH_16BIT, 5};
    decoder.setLengthSize(sizes[(flags >> 1) & 0x03]);
    return decoder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const vantoconnect::testing::QuietConsole quiet;
    if (size < 3) {
        return 0;
    }
    const std::uint8_t flags = data[0];
    std::uint32_t seed = static_cast<std::uint32_t>(data[1]) | (std::uint32_t{data[2]} << 8) | 1u;
    const std::size_t repeats = 1 + ((flags >> 3) & 0x03);
    Bytes stream;
    for (std::size_t r = 0; r < repeats; ++r) {
        stream.insert(stream.end(), data + 3, data + size);
    }

    LinkDecoder16 decoder = makeDecoder(flags);
    // Bytes since the last start byte bound the message bytes the current frame can hold.
    std::size_t sinceStart = 0;
    std::size_t at = 0;
    while (at <= stream.size()) {
        seed = seed * 1103515245u + 12345u;
        std::size_t chunk = (seed >> 16) % 1100;
        if (chunk == 0 && (flags & 0x20) == 0) {
            chunk = 1;
        }
        chunk = std::min(chunk, stream.size() - at);
        if (chunk == 0 && at == stream.size() && (flags & 0x20) == 0) {
            break;
        }
        const Bytes piece(stream.begin() + static_cast<std::ptrdiff_t>(at),
                          stream.begin() + static_cast<std::ptrdiff_t>(at + chunk));
        at += chunk;
        std::size_t longestRun = sinceStart;
        for (std::int8_t b : piece) {
            sinceStart = (b == 0x02) ? 0 : sinceStart + 1;
            longestRun = std::max(longestRun, sinceStart);
        }
        try {
            if (piece.empty()) {
                ByteLump empty(std::int64_t{0});
                decoder.processByteLump(empty, 0);
                std::abort();  // an empty lump must stop
            }
            for (const ByteLump& message : decoder.processByteLump(ByteLump(piece), 0)) {
                if (message.sizeInBytes < 1 ||
                    message.sizeInBytes > static_cast<std::int64_t>(CANVAS) ||
                    message.payload.size() != static_cast<std::size_t>(message.sizeInBytes)) {
                    std::abort();
                }
            }
        } catch (const FatalError& e) {
            const std::string_view what = e.what();
            if (piece.empty() && what == vantoconnect::fatal::EMPTY_RANGE) {
                // expected: nothing was fed
            } else if (what == vantoconnect::fatal::INDEX_OUT_OF_RANGE && longestRun > CANVAS) {
                // expected: a frame outgrew the canvas
            } else {
                std::abort();
            }
            decoder = makeDecoder(flags);
            sinceStart = 0;
            if (piece.empty() && at == stream.size()) {
                break;
            }
        }
    }
    return 0;
}
