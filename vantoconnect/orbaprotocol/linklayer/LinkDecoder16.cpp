#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

#if defined(__SSE2__)
#include <immintrin.h>
#endif

namespace vantoconnect {

namespace {

constexpr std::string_view STX_NOT_EXPECTED = "STX found when not expected";
constexpr std::string_view DOUBLE_DLE = "Double DLE found";
constexpr std::string_view ZERO_LENGTH_8 = "Zero length (8 bit) frame indicated";
constexpr std::string_view ZERO_LENGTH_12 = "Zero length (12 bit) frame indicated";
constexpr std::string_view ZERO_LENGTH_16 = "Zero length (16 bit) frame indicated";
constexpr std::string_view CRC_ERROR = "CRC error in frame";
constexpr std::string_view CANVAS_OVERRUN = "Canvas overrun of incoming frame";
constexpr std::string_view LENGTH_OUT_OF_CONTROL_1 = "LinkDec: lengthSize is out of control #1";
constexpr std::string_view LENGTH_OUT_OF_CONTROL_2 = "LinkDec: lengthSize is out of control #2";

inline bool isFramingByte(std::int8_t b) {
    return b == CRC::STX || b == CRC::DLE;
}

#if defined(__SSE2__)
// One bit per start or escape byte among the sixteen in v.
inline unsigned framingMask(__m128i v) {
    return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(
        _mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::STX)), _mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::DLE)))));
}

// COMPACT[m]: the positions of the set bits of m, lowest first, as a byte shuffle.
using CompactTable = std::array<std::array<std::int8_t, 8>, 256>;
constexpr CompactTable makeCompactTable() {
    CompactTable t{};
    for (std::size_t m = 0; m < 256; ++m) {
        std::size_t n = 0;
        for (std::size_t bit = 0; bit < 8; ++bit) {
            if ((m >> bit) & 1) {
                t[m][n++] = static_cast<std::int8_t>(bit);
            }
        }
    }
    return t;
}
constexpr CompactTable COMPACT = makeCompactTable();

struct Unstuffed {
    std::size_t consumed = 0;
    std::size_t produced = 0;
};

#define VANTO_UNSTUFF_TARGET __attribute__((target("ssse3,popcnt")))

// Unescapes one block of sixteen wire bytes into at most sixteen message bytes at out, which
// must have room for sixteen. Takes nothing (consumed 0) when the block holds a start byte or
// two escapes in a row, which the state machine reports, or when it would produce more than
// wanted bytes. An escape in the last position is left for the next block with its partner.
VANTO_UNSTUFF_TARGET Unstuffed unstuffBlock(const std::int8_t* in, std::int8_t* out,
                                            std::int64_t wanted) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i dle = _mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::DLE));
    const auto escapes = static_cast<unsigned>(_mm_movemask_epi8(dle));
    const int starts = _mm_movemask_epi8(_mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::STX)));
    if (starts != 0 || (escapes & (escapes << 1)) != 0) {
        return {};
    }
    const std::size_t consumed = (escapes & 0x8000) != 0 ? 15 : 16;
    const unsigned kept = ~escapes & ((1u << consumed) - 1);
    const auto low = static_cast<std::size_t>(__builtin_popcount(kept & 0xFF));
    const std::size_t produced = low + static_cast<std::size_t>(__builtin_popcount(kept >> 8));
    if (static_cast<std::int64_t>(produced) > wanted) {
        return {};
    }
    // Each byte after an escape loses the escape's bit 6 flip.
    const __m128i x =
        _mm_xor_si128(v, _mm_and_si128(_mm_slli_si128(dle, 1), _mm_set1_epi8(CRC::BIT6)));
    const __m128i lowShuffle =
        _mm_loadl_epi64(reinterpret_cast<const __m128i*>(COMPACT[kept & 0xFF].data()));
    const __m128i highShuffle =
        _mm_add_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(COMPACT[kept >> 8].data())),
                     _mm_set1_epi8(8));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_shuffle_epi8(x, lowShuffle));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + low), _mm_shuffle_epi8(x, highShuffle));
    return {consumed, produced};
}

const bool SHUFFLE_AVAILABLE = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt");
#endif

}  // namespace

LinkDecoder16::LinkDecoder16()
    : AbstractBLProducer(1), frameCanvas(static_cast<std::size_t>(MAXCANVASSIZE), 0) {
    abortFrame(std::nullopt);
}

void LinkDecoder16::setCRCEnable(bool b) {
    doCRC = b;
}

void LinkDecoder16::setLengthSize(std::int64_t i) {
    lengthSize = i;
}

std::int64_t LinkDecoder16::determineOutChannel(const ByteLump&, const ByteLump&, std::int64_t) {
    return 0;
}

void LinkDecoder16::abortFrame(std::optional<std::string_view> errMsg) {
    if (errMsg) {
        consoleLine(*errMsg);
    }
    state = SEEKSTX;
    doingDLE = false;
    usedCanvas = 0;
}

std::vector<ByteLump> LinkDecoder16::processByteLump(const ByteLump& bl, std::int64_t) {
    returnBLarray.clear();
    // A full read of short frames completes several; one allocation up front covers them.
    returnBLarray.reserve(8);
    const std::int64_t n = bl.sizeInBytes;
    // The last index is worked out before the range is formed, so the most negative count
    // overflows rather than reading as an empty range.
    requireRange(0, subtractChecked(n, 1));
    const std::size_t available = std::min(static_cast<std::size_t>(n), bl.payload.size());
    const std::int8_t* p = bl.payload.data();
    const bool blocks = !PortablePaths::forced();
    std::size_t k = 0;
    while (k < available) {
        if (state == ISDATA && !doingDLE) {
            k += takeDataRun(p + k, available - k, blocks);
            if (k >= available) {
                break;
            }
        }
        const std::int8_t b = p[k++];
        if (b == CRC::STX) {
            if (state != SEEKSTX) {
                abortFrame(STX_NOT_EXPECTED);
            }
            state = ISLENGTH;
        } else if (b == CRC::DLE) {
            if (doingDLE) {
                abortFrame(DOUBLE_DLE);
            } else {
                doingDLE = true;
            }
        } else {
            processByteDefault(b);
        }
    }
    if (available < static_cast<std::size_t>(n)) {
        checkedIndex(static_cast<std::int64_t>(available), bl.payload.size());
    }
    // The array is rebuilt from empty on the next call, so handing it over is as good as a copy.
    return std::exchange(returnBLarray, {});
}

std::size_t LinkDecoder16::takeDataRun(const std::int8_t* p, std::size_t count, bool blocks) {
    // A non-positive announced length never completes, so it puts no bound on the run.
    const std::int64_t stop =
        quotedLengthTot > 0 ? quotedLengthTot : std::numeric_limits<std::int64_t>::max();
    std::int8_t* const canvas = frameCanvas.data();
    std::int64_t used = usedCanvas;
    std::size_t k = 0;
    bool filled = false;
    while (k < count && !filled) {
#if defined(__SSE2__)
        // Whole blocks are written while they surely fit the canvas; bytes past the ones
        // counted are scratch that later stores overwrite. Near the canvas end bytes go one at
        // a time through the checked store, so an overrun stops at the same byte as it always
        // did.
        if (blocks && k + 16 <= count && used + 16 <= MAXCANVASSIZE) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k));
            const unsigned hits = framingMask(v);
            if (hits == 0 && used + 16 < stop) {
                // The common case: blocks with no framing byte that end before the frame does.
                // Leaving the loop is a branch, not a data dependency, so the blocks overlap.
                const auto room =
                    static_cast<std::size_t>(std::min(stop - 1, MAXCANVASSIZE) - used);
                const std::size_t blocks = std::min((count - k) / 16, room / 16);
                const auto* in = reinterpret_cast<const __m128i*>(p + k);
                auto* out = reinterpret_cast<__m128i*>(canvas + used);
                _mm_storeu_si128(out, v);
                std::size_t clean = 1;
                while (clean < blocks) {
                    const __m128i next = _mm_loadu_si128(in + clean);
                    if (framingMask(next) != 0) {
                        break;
                    }
                    _mm_storeu_si128(out + clean, next);
                    ++clean;
                }
                k += 16 * clean;
                used += static_cast<std::int64_t>(16 * clean);
                continue;
            }
            if (hits != 0 && SHUFFLE_AVAILABLE) {
                const Unstuffed step = unstuffBlock(p + k, canvas + used, stop - used);
                if (step.consumed > 0) {
                    k += step.consumed;
                    used += static_cast<std::int64_t>(step.produced);
                    filled = used == stop;
                    continue;
                }
            }
            _mm_storeu_si128(reinterpret_cast<__m128i*>(canvas + used), v);
            const auto limit = static_cast<unsigned>(std::min<std::int64_t>(16, stop - used));
            const auto plain = static_cast<unsigned>(__builtin_ctz(hits | (1u << limit)));
            k += plain;
            used += plain;
            filled = used == stop;
            if (filled || plain == 16) {
                continue;
            }
        }
#else
        (void)blocks;
#endif
        // Byte by byte for a block's worth, taking escape pairs whole rather than through the
        // state machine. The checked store keeps the count current, as it is when it stops.
        usedCanvas = used;
        const std::size_t blockEnd = std::min(count, k + 16);
        while (k < blockEnd && !filled) {
            if (!isFramingByte(p[k])) {
                storeDataByte(p[k]);
                k += 1;
            } else if (p[k] == CRC::DLE && k + 1 < count && !isFramingByte(p[k + 1])) {
                storeDataByte(static_cast<std::int8_t>(p[k + 1] ^ CRC::BIT6));
                k += 2;
            } else {
                // A start byte, or an escape whose partner is not here yet or is itself a
                // framing byte: the state machine decides.
                return k;
            }
            filled = usedCanvas == stop;
        }
        used = usedCanvas;
    }
    usedCanvas = used;
    if (filled) {
        frameFilled();
    }
    return k;
}

void LinkDecoder16::storeDataByte(std::int8_t b) {
    checkedAt(frameCanvas, usedCanvas) = b;
    usedCanvas += 1;
}

void LinkDecoder16::frameFilled() {
    if (doCRC) {
        state = ISCRC1;
    } else {
        deliverFrame();
        abortFrame(std::nullopt);
    }
}

void LinkDecoder16::deliverFrame() {
    returnBLarray.emplace_back(frameCanvas, 0, usedCanvas);
}

void LinkDecoder16::processByteDefault(std::int8_t byteDefault) {
    std::int8_t b = byteDefault;
    if (doingDLE) {
        b = static_cast<std::int8_t>(b ^ CRC::BIT6);
        doingDLE = false;
    }
    switch (state) {
        case SEEKSTX:
            consoleLine(std::to_string(static_cast<int>(b)));
            break;
        case ISLENGTH:
            processSmallLength(b);
            break;
        case ISLENGTH2:
            processLargeLength(b);
            break;
        case ISDATA:
            storeDataByte(b);
            if (usedCanvas == quotedLengthTot) {
                frameFilled();
            }
            // Unreachable while the store above is checked first; kept so the limit has a
            // message should the canvas ever be made larger than the limit.
            if (usedCanvas > MAXCANVASSIZE) {
                abortFrame(CANVAS_OVERRUN);
            }
            break;
        case ISCRC1:
            quotedCRC.setUpperByte(b);
            state = ISCRC2;
            break;
        case ISCRC2:
            quotedCRC.setLowerByte(b);
            checkFrame();
            break;
        default:
            break;
    }
}

void LinkDecoder16::checkFrame() {
    CRC computed;
    const std::int8_t length[2] = {static_cast<std::int8_t>(quotedLength1),
                                   static_cast<std::int8_t>(quotedLength2)};
    const bool twoLengthBytes =
        lengthSize == LENGTH_16BIT || (lengthSize == LENGTH_12BIT && quotedLength1 > 0x7F);
    computed.addToCRC(std::span<const std::int8_t>(length, twoLengthBytes ? 2 : 1));
    requireRange(0, usedCanvas - 1);
    computed.addToCRC(
        std::span<const std::int8_t>(frameCanvas.data(), static_cast<std::size_t>(usedCanvas)));
    if (quotedCRC.equals(computed)) {
        deliverFrame();
        abortFrame(std::nullopt);
    } else {
        abortFrame(CRC_ERROR);
    }
}

void LinkDecoder16::processSmallLength(std::int8_t b) {
    quotedLength1 = b;
    if (lengthSize == LENGTH_8BIT) {
        quotedLengthTot = quotedLength1;
        if (quotedLengthTot == 0) {
            abortFrame(ZERO_LENGTH_8);
        } else {
            state = ISDATA;
        }
    } else if (lengthSize == LENGTH_12BIT) {
        if (quotedLength1 < 0x80) {
            quotedLengthTot = quotedLength1;
            state = ISDATA;
        } else {
            state = ISLENGTH2;
        }
    } else if (lengthSize == LENGTH_16BIT) {
        state = ISLENGTH2;
    } else {
        consoleLine(LENGTH_OUT_OF_CONTROL_1);
    }
}

void LinkDecoder16::processLargeLength(std::int8_t b) {
    quotedLength2 = b;
    if (lengthSize == LENGTH_12BIT) {
        quotedLengthTot = quotedLength2 * 128 + (quotedLength1 & 0x7F);
        if (quotedLengthTot == 0) {
            abortFrame(ZERO_LENGTH_12);
        } else {
            state = ISDATA;
        }
    } else if (lengthSize == LENGTH_16BIT) {
        quotedLengthTot = quotedLength2 * 256 + quotedLength1;
        if (quotedLengthTot == 0) {
            abortFrame(ZERO_LENGTH_16);
        } else {
            state = ISDATA;
        }
    } else {
        consoleLine(LENGTH_OUT_OF_CONTROL_2);
    }
}

}  // namespace vantoconnect
