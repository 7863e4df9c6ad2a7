// Arbitrary bytes in arbitrary chunks through the unit's frame reader. Besides surviving, the
// reader must find the same frames however the stream is split, and every frame it finds must
// survive a round trip through the reply framer.

#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "emulator/FrameReader.hpp"
#include "emulator/FrameWriter.hpp"

using vantoemu::FrameReader;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    const auto form = static_cast<FrameReader::LengthForm>(data[0] % 3);
    const bool crc = (data[0] & 0x04) == 0;
    const std::uint8_t chunkSeed = data[1];
    std::span<const std::uint8_t> stream(data + 2, size - 2);

    FrameReader whole(form, crc);
    const auto expected = whole.feed(stream).frames;

    FrameReader chunked(form, crc);
    std::vector<std::vector<std::uint8_t>> frames;
    std::size_t pos = 0;
    std::uint32_t state = chunkSeed;
    while (pos < stream.size()) {
        state = state * 1103515245u + 12345u;
        const std::size_t chunk = 1 + (state >> 16) % 64;
        const std::size_t n = std::min(chunk, stream.size() - pos);
        auto out = chunked.feed(stream.subspan(pos, n));
        frames.insert(frames.end(), out.frames.begin(), out.frames.end());
        pos += n;
    }
    if (frames != expected) {
        std::abort();
    }

    for (const auto& frame : expected) {
        if (frame.size() > 0x7FFF) {
            continue;
        }
        FrameReader again;
        const auto out = again.feed(vantoemu::FrameWriter::frame(frame));
        if (out.frames.size() != 1 || out.frames[0] != frame || !out.errors.empty()) {
            std::abort();
        }
    }
    return 0;
}
