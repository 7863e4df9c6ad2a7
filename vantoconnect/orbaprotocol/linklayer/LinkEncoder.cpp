#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <string_view>

#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace vantoconnect {

namespace {

constexpr std::string_view FRAME_LINE = "link encoder, frame ";
constexpr std::string_view LENGTH_OUT_OF_CONTROL = "LinkEnc: lengthSize is out of control #1";

inline bool needsEscape(std::int8_t b) {
    return b == CRC::STX || b == CRC::DLE;
}

// Length of the leading run of bytes that need no escaping, at most count.
inline std::size_t plainRun(const std::int8_t* p, std::size_t count, bool blocks) {
    std::size_t k = 0;
#if defined(__SSE2__)
    const __m128i stx = _mm_set1_epi8(CRC::STX);
    const __m128i dle = _mm_set1_epi8(CRC::DLE);
    while (blocks && k + 16 <= count) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k));
        const int hits =
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, stx), _mm_cmpeq_epi8(v, dle)));
        if (hits != 0) {
            return k + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(hits)));
        }
        k += 16;
    }
#else
    (void)blocks;
#endif
    while (k < count && !needsEscape(p[k])) {
        ++k;
    }
    return k;
}

#if defined(__SSE2__)
// EXPAND[m]: for eight bytes whose escape bytes are the set bits of m, the shuffle that spreads
// them out and puts an escape (source lane 8) before each of those.
using ExpandTable = std::array<std::array<std::int8_t, 16>, 256>;
constexpr ExpandTable makeExpandTable() {
    ExpandTable t{};
    for (std::size_t m = 0; m < 256; ++m) {
        std::size_t out = 0;
        for (std::size_t bit = 0; bit < 8; ++bit) {
            if ((m >> bit) & 1) {
                t[m][out++] = 8;
            }
            t[m][out++] = static_cast<std::int8_t>(bit);
        }
        while (out < 16) {
            t[m][out++] = -1;
        }
    }
    return t;
}
constexpr ExpandTable EXPAND = makeExpandTable();

// Escapes eight bytes at a time for as long as each eight holds a byte to escape, writing
// sixteen bytes per step of which the ones past the frame's end are spare. Returns how many
// input bytes it took; written is how many frame bytes they became.
__attribute__((target("ssse3,popcnt"))) std::size_t expandEscapes(const std::int8_t* in,
                                                                  std::size_t count,
                                                                  std::int8_t* out,
                                                                  std::size_t& written) {
    std::size_t k = 0;
    written = 0;
    while (k + 8 <= count) {
        const __m128i x = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(in + k));
        const __m128i escape = _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(CRC::STX)),
                                            _mm_cmpeq_epi8(x, _mm_set1_epi8(CRC::DLE)));
        const auto mask = static_cast<unsigned>(_mm_movemask_epi8(escape)) & 0xFF;
        if (mask == 0) {
            break;
        }
        const __m128i flipped = _mm_xor_si128(x, _mm_and_si128(escape, _mm_set1_epi8(CRC::BIT6)));
        const __m128i lanes = _mm_unpacklo_epi64(flipped, _mm_set1_epi8(CRC::DLE));
        const __m128i spread = _mm_shuffle_epi8(
            lanes, _mm_loadu_si128(reinterpret_cast<const __m128i*>(EXPAND[mask].data())));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + written), spread);
        written += 8 + static_cast<std::size_t>(__builtin_popcount(mask));
        k += 8;
    }
    return k;
}

const bool EXPAND_AVAILABLE = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
#endif

}  // namespace

LinkEncoder::LinkEncoder() : frameCanvas(static_cast<std::size_t>(MAXCANVASSIZE), 0) {}

void LinkEncoder::setCRCEnable(bool b) {
    doCRC = b;
}

void LinkEncoder::setQuorinCRCEnable(bool b) {
    doQuorinCRC = b;
}

void LinkEncoder::setLengthSize(std::int64_t i) {
    lengthSize = i;
}

std::int64_t LinkEncoder::determineOutChannel(const ByteLump&, const ByteLump&, std::int64_t) {
    return 0;
}

void LinkEncoder::sendByte(std::int8_t b) {
    checkedAt(frameCanvas, usedCanvas) = b;
    usedCanvas += 1;
}

void LinkEncoder::sendEscaped(std::int8_t b) {
    if (needsEscape(b)) {
        sendByte(CRC::DLE);
        sendByte(static_cast<std::int8_t>(b ^ CRC::BIT6));
    } else {
        sendByte(b);
    }
}

void LinkEncoder::sendEscapedCRC(std::int8_t b, CRC& crc) {
    sendEscaped(b);
    crc.addToCRC(b);
}

void LinkEncoder::sendEscapedRun(const std::int8_t* bytes, std::size_t count) {
    const bool blocks = !PortablePaths::forced();
    std::size_t k = 0;
    while (k < count) {
        // The canvas may be a raw pointer target only while the worst case surely fits; near
        // its end each byte goes through the checked path so an overrun stops at the exact
        // byte that does not fit.
        const std::size_t room = frameCanvas.size() - static_cast<std::size_t>(usedCanvas);
        if (room < 2 * (count - k) + 1) {
            for (; k < count; ++k) {
                sendEscaped(bytes[k]);
            }
            return;
        }
        std::int8_t* out = frameCanvas.data() + usedCanvas;
        std::int8_t* const start = out;
        while (k < count) {
            const std::size_t run = plainRun(bytes + k, count - k, blocks);
            std::memcpy(out, bytes + k, run);
            out += run;
            k += run;
#if defined(__SSE2__)
            if (blocks && EXPAND_AVAILABLE) {
                std::size_t written = 0;
                k += expandEscapes(bytes + k, count - k, out, written);
                out += written;
            }
#endif
            // Escaped bytes tend to come in clusters; expand them without branches, writing
            // one spare byte that the next store overwrites.
            while (k < count) {
                const std::int8_t b = bytes[k];
                const bool escape = needsEscape(b);
                if (!escape && k + 1 < count && !needsEscape(bytes[k + 1])) {
                    break;
                }
                out[0] = escape ? CRC::DLE : b;
                out[1] = static_cast<std::int8_t>(b ^ CRC::BIT6);
                out += 1 + (escape ? 1 : 0);
                ++k;
            }
        }
        usedCanvas += out - start;
    }
}

std::vector<ByteLump> LinkEncoder::processByteLump(const ByteLump& bl, std::int64_t) {
    if (doQuorinCRC) {
        return processQuorin(bl);
    }
    usedCanvas = 0;
    sendByte(CRC::STX);
    const std::int64_t n = bl.sizeInBytes;
    if (n > 0) {
        CRC crc;
        std::int8_t length[2] = {0, 0};
        std::size_t lengthBytes = 0;
        if (lengthSize == LENGTH_8BIT) {
            length[lengthBytes++] = static_cast<std::int8_t>(n & 0xFF);
        } else if (lengthSize == LENGTH_12BIT) {
            if (n <= 127) {
                length[lengthBytes++] = static_cast<std::int8_t>(n);
            } else {
                length[lengthBytes++] = static_cast<std::int8_t>((n & 0xFF) | 0x80);
                length[lengthBytes++] = static_cast<std::int8_t>((n >> 7) & 0xFF);
            }
        } else if (lengthSize == LENGTH_16BIT) {
            length[lengthBytes++] = static_cast<std::int8_t>(n & 0xFF);
            length[lengthBytes++] = static_cast<std::int8_t>((n >> 8) & 0xFF);
        } else {
            consoleLine(LENGTH_OUT_OF_CONTROL);
        }
        sendEscapedRun(length, lengthBytes);
        crc.addToCRC(std::span<const std::int8_t>(length, lengthBytes));

        // sizeInBytes is trusted; a payload shorter than it stops at the first missing byte,
        // after the bytes that do exist were framed.
        const std::size_t available = std::min(static_cast<std::size_t>(n), bl.payload.size());
        sendEscapedRun(bl.payload.data(), available);
        crc.addToCRC(std::span<const std::int8_t>(bl.payload.data(), available));
        if (available < static_cast<std::size_t>(n)) {
            checkedIndex(static_cast<std::int64_t>(available), bl.payload.size());
        }

        if (doCRC) {
            sendEscaped(crc.getUpperByte());
            sendEscaped(crc.getLowerByte());
        }
    }
    return finish(ByteLump(frameCanvas, 0, usedCanvas));
}

std::vector<ByteLump> LinkEncoder::finish(ByteLump frame) {
    consoleText.assign(FRAME_LINE);
    frame.appendDump(consoleText);
    consoleLine(consoleText);
    std::vector<ByteLump> out;
    out.push_back(std::move(frame));
    return out;
}

std::vector<ByteLump> LinkEncoder::processQuorin(const ByteLump& bl) {
    usedCanvas = 0;
    const std::int64_t n = bl.sizeInBytes;
    ByteLump out(addChecked(n, 2));
    requireRange(0, subtractChecked(n, 1));
    for (std::int64_t k = 0; k < n; ++k) {
        out.payload[static_cast<std::size_t>(k)] = checkedAt(bl.payload, k);
    }
    const std::int64_t sum = generateQuorinCRC(bl);
    out.payload[static_cast<std::size_t>(n)] = toInt8Checked(sum & 0xFF);
    out.payload[static_cast<std::size_t>(n + 1)] = toInt8Checked((sum >> 8) & 0xFF);
    return finish(std::move(out));
}

std::int64_t LinkEncoder::generateQuorinCRC(const ByteLump& bl) {
    std::int8_t r1 = 0x11;
    std::int8_t r2 = 0x11;
    const std::int64_t n = bl.sizeInBytes;
    requireRange(0, subtractChecked(n, 1));
    for (std::int64_t k = 0; k < n; ++k) {
        const std::int8_t b = checkedAt(bl.payload, k);
        r1 = static_cast<std::int8_t>(r1 ^ b);
        const int low = r1 & 0x01;
        r1 = static_cast<std::int8_t>(r1 >> 1);
        if (low == 1) {
            r1 = static_cast<std::int8_t>(r1 ^ static_cast<std::int8_t>(0x95));
        }
        r2 = static_cast<std::int8_t>(r2 ^ b);
        const int top = r2 & 0x80;
        r2 = static_cast<std::int8_t>((r2 & 0x7F) << 1);
        // top is 0 or 0x80, never 1, so the second register never takes the polynomial. The
        // comparison stays as it is: correcting it would change every checksum this route
        // is defined to produce.
        if (top == 1) {
            r2 = static_cast<std::int8_t>(r2 ^ 0x65);
        }
    }
    // Joining the registers shifts an 8-bit value by its full width, which stops the process;
    // this route therefore never yields a frame.
    constexpr int registerBits = 8;
    constexpr int joinShift = 8;
    if (joinShift >= registerBits) {
        fatalError(fatal::OVERWIDE_SHIFT);
    }
    return (static_cast<std::int64_t>(r2) << joinShift) | (r1 & 0xFF);
}

}  // namespace vantoconnect
