#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"

#include <algorithm>
#include <array>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <utility>

#include "vantoconnect/orbaprotocol/linklayer/CrcPolynomial.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

#if defined(__x86_64__)
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

#if defined(__x86_64__)
#define VANTO_DECODER_BLOCKS 1
#define VANTO_BLOCK_TARGET __attribute__((target("ssse3,popcnt,pclmul,sse4.1")))

// One bit per start or escape byte among the sixteen in v.
VANTO_BLOCK_TARGET inline unsigned framingMask(__m128i v) {
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

// ---- the frame's check value, kept while the data is copied ---------------------------------
//
// The message bytes so far, first byte highest, form a polynomial M over GF(2); the check value
// of the frame is M * x^16 mod P. The decoder keeps a 128-bit A congruent to M modulo P and
// appends s new bytes S as A * x^(8s) + S, multiplying the two 64-bit halves of A by
// x^(8s + 64) and x^(8s) reduced modulo P. The bytes come from the registers that copy them
// into the canvas, so none is read back when the frame ends.

using crcpolynomial::POLY;
using crcpolynomial::xPowerModPoly;

struct alignas(16) Lane16 {
    std::uint64_t low;
    std::uint64_t high;
};

// STEP[s]: the multipliers that move A on by s bytes (low half x^(8s), high half x^(8s+64)).
constexpr std::array<Lane16, 17> makeSteps() {
    std::array<Lane16, 17> t{};
    for (unsigned s = 1; s <= 16; ++s) {
        t[s] = {xPowerModPoly(8 * s), xPowerModPoly(8 * s + 64)};
    }
    return t;
}
constexpr std::array<Lane16, 17> STEP = makeSteps();

// ORDER[s]: the shuffle that turns the first s bytes of a register into an s-byte number,
// first byte highest, with zeros above.
struct alignas(16) Shuffle16 {
    std::int8_t lane[16];
};
constexpr std::array<Shuffle16, 17> makeOrders() {
    std::array<Shuffle16, 17> t{};
    for (int s = 0; s <= 16; ++s) {
        for (int j = 0; j < 16; ++j) {
            t[static_cast<std::size_t>(s)].lane[j] =
                static_cast<std::int8_t>(j < s ? s - 1 - j : -1);
        }
    }
    return t;
}
constexpr std::array<Shuffle16, 17> ORDER = makeOrders();

// A := A * x^(8s) + (the first s bytes of bytes), for s of 1 to 16.
VANTO_BLOCK_TARGET inline __m128i appendToCheck(__m128i a, __m128i bytes, unsigned s) {
    const __m128i step = _mm_load_si128(reinterpret_cast<const __m128i*>(&STEP[s]));
    const __m128i order = _mm_load_si128(reinterpret_cast<const __m128i*>(&ORDER[s]));
    return _mm_xor_si128(
        _mm_xor_si128(_mm_clmulepi64_si128(a, step, 0x00), _mm_clmulepi64_si128(a, step, 0x11)),
        _mm_shuffle_epi8(bytes, order));
}

// a * x^d for the d whose multipliers k holds, reduced to below 2^80.
VANTO_BLOCK_TARGET inline __m128i timesPower(__m128i a, const Lane16& k) {
    const __m128i m = _mm_load_si128(reinterpret_cast<const __m128i*>(&k));
    return _mm_xor_si128(_mm_clmulepi64_si128(a, m, 0x00), _mm_clmulepi64_si128(a, m, 0x11));
}

constexpr Lane16 power(unsigned d) {
    return {xPowerModPoly(d), xPowerModPoly(d + 64)};
}
constexpr Lane16 X128 = power(128);
constexpr Lane16 X256 = power(256);
constexpr Lane16 X384 = power(384);
constexpr Lane16 X512 = power(512);

VANTO_BLOCK_TARGET inline __m128i reversedBlock(const __m128i* in, __m128i order) {
    return _mm_shuffle_epi8(_mm_loadu_si128(in), order);
}

// Appends n whole blocks of sixteen bytes. Up to four blocks are moved on by their distance
// from the end side by side, so only one multiplication per step waits on the one before.
VANTO_BLOCK_TARGET inline __m128i appendBlocksToCheck(__m128i a, const __m128i* in, std::size_t n) {
    const __m128i order = _mm_load_si128(reinterpret_cast<const __m128i*>(&ORDER[16]));
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        const __m128i rest =
            _mm_xor_si128(_mm_xor_si128(timesPower(reversedBlock(in + i, order), X384),
                                        timesPower(reversedBlock(in + i + 1, order), X256)),
                          _mm_xor_si128(timesPower(reversedBlock(in + i + 2, order), X128),
                                        reversedBlock(in + i + 3, order)));
        a = _mm_xor_si128(timesPower(a, X512), rest);
    }
    if (i + 2 <= n) {
        const __m128i rest = _mm_xor_si128(timesPower(reversedBlock(in + i, order), X128),
                                           reversedBlock(in + i + 1, order));
        a = _mm_xor_si128(timesPower(a, X256), rest);
        i += 2;
    }
    if (i < n) {
        a = _mm_xor_si128(timesPower(a, X128), reversedBlock(in + i, order));
    }
    return a;
}

VANTO_BLOCK_TARGET void appendByteToCheck(std::uint64_t* check, std::int8_t b) {
    __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(check));
    a = appendToCheck(a, _mm_cvtsi32_si128(static_cast<std::uint8_t>(b)), 1);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(check), a);
}

// floor(x^80 / P) without its top term x^64, for the reduction below.
constexpr std::uint64_t barrettQuotient() {
    // Long division of x^80 by P, one dividend bit at a time: when the remainder reaches
    // degree 16 after bit i came in, the quotient gains x^i.
    std::uint32_t remainder = 0;
    std::uint64_t quotient = 0;
    for (int i = 80; i >= 0; --i) {
        remainder = (remainder << 1) | (i == 80 ? 1u : 0u);
        if ((remainder & 0x10000) != 0) {
            remainder ^= 0x10000 | POLY;
            if (i < 64) {
                quotient |= std::uint64_t{1} << i;
            }
        }
    }
    return quotient;
}

// The check value of the frame, A * x^16 mod P: A is folded to 64 bits (U) without changing it
// modulo P, and a Barrett reduction divides U * x^16 by P: its quotient is
// U + floor(U * (floor(x^80 / P) - x^64) / x^64), and the remainder is the low 16 bits of
// quotient * P, because U * x^16 has none.
VANTO_BLOCK_TARGET std::uint16_t finishCheck(const std::uint64_t* check) {
    const __m128i x64 = _mm_cvtsi64_si128(static_cast<long long>(xPowerModPoly(64)));
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(check));
    // Below 2^80 after the first fold, below 2^64 after the second.
    const __m128i t = _mm_xor_si128(_mm_clmulepi64_si128(a, x64, 0x01), _mm_move_epi64(a));
    const __m128i u = _mm_xor_si128(_mm_clmulepi64_si128(t, x64, 0x01), _mm_move_epi64(t));
    const __m128i mu = _mm_cvtsi64_si128(static_cast<long long>(barrettQuotient()));
    const __m128i q = _mm_xor_si128(u, _mm_srli_si128(_mm_clmulepi64_si128(u, mu, 0x00), 8));
    const __m128i r = _mm_clmulepi64_si128(q, _mm_cvtsi32_si128(static_cast<int>(POLY)), 0x00);
    return static_cast<std::uint16_t>(_mm_cvtsi128_si32(r) & 0xFFFF);
}

// KEEP[l] keeps the first l bytes of a register; SHIFT_UP[l] moves its bytes up by l. Together
// they join two runs of compacted bytes into one.
constexpr std::array<Shuffle16, 9> makeJoin(bool shift) {
    std::array<Shuffle16, 9> t{};
    for (int l = 0; l <= 8; ++l) {
        for (int j = 0; j < 16; ++j) {
            t[static_cast<std::size_t>(l)].lane[j] =
                static_cast<std::int8_t>(shift ? (j >= l ? j - l : -1) : (j < l ? j : -1));
        }
    }
    return t;
}
constexpr std::array<Shuffle16, 9> KEEP = makeJoin(false);
constexpr std::array<Shuffle16, 9> SHIFT_UP = makeJoin(true);

struct BlockRun {
    std::size_t consumed = 0;
    std::int64_t used = 0;
    bool filled = false;
};

// Unescapes blocks of up to sixteen wire bytes from p into canvas at used, for as long as each
// block either holds no framing byte, or holds escapes that can be undone within it, or begins
// with plain bytes. Stops before a start byte, a doubled escape or an escape whose partner is
// not in the block, which the byte path takes; at the frame's last byte; and where a block
// might not fit the canvas, so that an overrun stops at the same byte through the checked
// store. The last few bytes of p are taken through a copy, so nothing past p + count is read.
// Bytes written past the ones counted are scratch that later stores overwrite. With check
// non-null the bytes taken are appended to the check value.
VANTO_BLOCK_TARGET BlockRun takeBlocks(const std::int8_t* p, std::size_t count, std::int8_t* canvas,
                                       std::int64_t used, std::int64_t stop, std::int64_t capacity,
                                       std::uint64_t* check) {
    __m128i a = check != nullptr ? _mm_loadu_si128(reinterpret_cast<const __m128i*>(check))
                                 : _mm_setzero_si128();
    std::size_t k = 0;
    bool filled = false;
    while (!filled && k < count && used + 16 <= capacity) {
        const std::size_t avail = std::min<std::size_t>(16, count - k);
        __m128i v;
        if (avail == 16) {
            v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k));
        } else {
            alignas(16) std::int8_t tail[16] = {};
            std::memcpy(tail, p + k, avail);
            v = _mm_load_si128(reinterpret_cast<const __m128i*>(tail));
        }
        const unsigned valid = (1u << avail) - 1;
        const unsigned hits = framingMask(v) & valid;
        if (avail == 16 && hits == 0 && used + 16 < stop) {
            // The common case: blocks with no framing byte that end before the frame does.
            const auto room = static_cast<std::size_t>(std::min(stop - 1, capacity) - used);
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
            if (check != nullptr) {
                a = appendBlocksToCheck(a, in, clean);
            }
            k += 16 * clean;
            used += static_cast<std::int64_t>(16 * clean);
            continue;
        }
        if (hits != 0) {
            const __m128i dle = _mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::DLE));
            const unsigned escapes = static_cast<unsigned>(_mm_movemask_epi8(dle)) & valid;
            const unsigned starts = static_cast<unsigned>(_mm_movemask_epi8(
                                        _mm_cmpeq_epi8(v, _mm_set1_epi8(CRC::STX)))) &
                                    valid;
            // An escape in the last position is left for the next block with its partner.
            const std::size_t consumed = ((escapes >> (avail - 1)) & 1) != 0 ? avail - 1 : avail;
            const unsigned kept = ~escapes & ((1u << consumed) - 1);
            const auto low = static_cast<unsigned>(__builtin_popcount(kept & 0xFF));
            const auto high = static_cast<unsigned>(__builtin_popcount(kept >> 8));
            if (starts == 0 && (escapes & (escapes << 1)) == 0 && low + high > 0 &&
                static_cast<std::int64_t>(low + high) <= stop - used) {
                // Each byte after an escape loses the escape's bit 6 flip.
                const __m128i x = _mm_xor_si128(
                    v, _mm_and_si128(_mm_slli_si128(dle, 1), _mm_set1_epi8(CRC::BIT6)));
                const __m128i lowPart = _mm_shuffle_epi8(
                    x,
                    _mm_loadl_epi64(reinterpret_cast<const __m128i*>(COMPACT[kept & 0xFF].data())));
                const __m128i highPart = _mm_shuffle_epi8(
                    x, _mm_add_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(
                                        COMPACT[kept >> 8].data())),
                                    _mm_set1_epi8(8)));
                const __m128i joined = _mm_or_si128(
                    _mm_shuffle_epi8(lowPart,
                                     _mm_load_si128(reinterpret_cast<const __m128i*>(&KEEP[low]))),
                    _mm_shuffle_epi8(highPart, _mm_load_si128(reinterpret_cast<const __m128i*>(
                                                   &SHIFT_UP[low]))));
                _mm_storeu_si128(reinterpret_cast<__m128i*>(canvas + used), joined);
                if (check != nullptr) {
                    a = appendToCheck(a, joined, low + high);
                }
                k += consumed;
                used += low + high;
                filled = used == stop;
                continue;
            }
        }
        // Plain bytes up to the first framing byte or the frame's end.
        _mm_storeu_si128(reinterpret_cast<__m128i*>(canvas + used), v);
        const auto limit = static_cast<unsigned>(
            std::min<std::int64_t>(static_cast<std::int64_t>(avail), stop - used));
        const auto plain = static_cast<unsigned>(__builtin_ctz(hits | (1u << limit)));
        if (plain == 0) {
            break;
        }
        if (check != nullptr) {
            a = appendToCheck(a, v, plain);
        }
        k += plain;
        used += plain;
        filled = used == stop;
        if (plain < avail && !filled) {
            break;
        }
    }
    if (check != nullptr) {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(check), a);
    }
    return {k, used, filled};
}

const bool BLOCKS_AVAILABLE = __builtin_cpu_supports("ssse3") && __builtin_cpu_supports("popcnt") &&
                              __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
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
    if (!blocks) {
        // A frame begun on the block path finishes on the portable one, its check from the
        // canvas.
        runningCheckKept = false;
    }
    std::size_t k = 0;
    while (k < available) {
        if (state == ISDATA && !doingDLE) {
            k += takeDataRun(p + k, available - k, blocks);
            // Two plain check bytes straight after the data are taken here rather than one
            // by one through the state machine, which would do the same with each.
            if (state == ISCRC1 && k + 2 <= available && !isFramingByte(p[k]) &&
                !isFramingByte(p[k + 1])) {
                quotedCRC.setUpperByte(p[k]);
                quotedCRC.setLowerByte(p[k + 1]);
                k += 2;
                checkFrame();
            }
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
            // Likewise a plain length byte with no escape pending.
            if (k < available && !doingDLE && !isFramingByte(p[k])) {
                processSmallLength(p[k++]);
            }
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
    std::size_t k = 0;
    bool filled = false;
    while (k < count && !filled) {
#ifdef VANTO_DECODER_BLOCKS
        if (blocks && BLOCKS_AVAILABLE) {
            const BlockRun run =
                takeBlocks(p + k, count - k, frameCanvas.data(), usedCanvas, stop, MAXCANVASSIZE,
                           runningCheckKept ? runningCheck : nullptr);
            k += run.consumed;
            usedCanvas = run.used;
            filled = run.filled;
            if (filled || k >= count) {
                break;
            }
        }
#else
        (void)blocks;
#endif
        // Byte by byte for a block's worth, taking escape pairs whole rather than through the
        // state machine; the checked store stops an overrun at its exact byte.
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
    }
    if (filled) {
        frameFilled();
    }
    return k;
}

void LinkDecoder16::storeDataByte(std::int8_t b) {
    checkedAt(frameCanvas, usedCanvas) = b;
    usedCanvas += 1;
#ifdef VANTO_DECODER_BLOCKS
    if (runningCheckKept) {
        appendByteToCheck(runningCheck, b);
    }
#endif
}

void LinkDecoder16::beginData() {
    state = ISDATA;
    // The length bytes the check will cover, as the check will decide it; a frame whose
    // length size changes before its check value arrives is checked from the canvas instead.
    runningCheckTwoLengthBytes = twoLengthBytesChecked();
    runningCheckKept = false;
#ifdef VANTO_DECODER_BLOCKS
    if (doCRC && BLOCKS_AVAILABLE && !PortablePaths::forced()) {
        const auto first = static_cast<std::uint8_t>(quotedLength1);
        const auto second = static_cast<std::uint8_t>(quotedLength2);
        runningCheck[0] = runningCheckTwoLengthBytes ? (std::uint64_t{first} << 8) | second : first;
        runningCheck[1] = 0;
        runningCheckKept = true;
    }
#endif
}

bool LinkDecoder16::twoLengthBytesChecked() const {
    return lengthSize == LENGTH_16BIT || (lengthSize == LENGTH_12BIT && quotedLength1 > 0x7F);
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
    requireRange(0, usedCanvas - 1);
    bool matches = false;
#ifdef VANTO_DECODER_BLOCKS
    if (runningCheckKept && runningCheckTwoLengthBytes == twoLengthBytesChecked()) {
        // The same comparison as equals() on the whole 16-bit value, without a second CRC.
        const auto quoted =
            static_cast<std::uint16_t>((static_cast<std::uint8_t>(quotedCRC.getUpperByte()) << 8) |
                                       static_cast<std::uint8_t>(quotedCRC.getLowerByte()));
        matches = finishCheck(runningCheck) == quoted;
    } else
#endif
    {
        CRC computed;
        const std::int8_t length[2] = {static_cast<std::int8_t>(quotedLength1),
                                       static_cast<std::int8_t>(quotedLength2)};
        computed.addToCRC(std::span<const std::int8_t>(length, twoLengthBytesChecked() ? 2 : 1));
        computed.addToCRC(
            std::span<const std::int8_t>(frameCanvas.data(), static_cast<std::size_t>(usedCanvas)));
        matches = quotedCRC.equals(computed);
    }
    if (matches) {
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
            beginData();
        }
    } else if (lengthSize == LENGTH_12BIT) {
        if (quotedLength1 < 0x80) {
            quotedLengthTot = quotedLength1;
            beginData();
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
            beginData();
        }
    } else if (lengthSize == LENGTH_16BIT) {
        quotedLengthTot = quotedLength2 * 256 + quotedLength1;
        if (quotedLengthTot == 0) {
            abortFrame(ZERO_LENGTH_16);
        } else {
            beginData();
        }
    } else {
        consoleLine(LENGTH_OUT_OF_CONTROL_2);
    }
}

}  // namespace vantoconnect
