#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"

#include <array>
#include <cstring>

#include "vantoconnect/orbaprotocol/linklayer/CrcPolynomial.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VANTO_CRC_HAVE_CLMUL 1
#endif

namespace vantoconnect {

namespace {

using crcpolynomial::POLY;

// TABLES[k][b]: the check value of byte b followed by k zero bytes, starting from 0. Sixteen
// of them let sixteen input bytes be folded into the value with independent lookups.
using SliceTables = std::array<std::array<std::uint16_t, 256>, 16>;

constexpr SliceTables makeTables() {
    SliceTables t{};
    for (std::uint32_t b = 0; b < 256; ++b) {
        std::uint32_t v = b << 8;
        for (int bit = 0; bit < 8; ++bit) {
            v = (v & 0x8000) ? ((v << 1) ^ POLY) : (v << 1);
        }
        t[0][b] = static_cast<std::uint16_t>(v);
    }
    for (std::size_t k = 1; k < 16; ++k) {
        for (std::size_t b = 0; b < 256; ++b) {
            const std::uint16_t prev = t[k - 1][b];
            t[k][b] = static_cast<std::uint16_t>((prev << 8) ^ t[0][prev >> 8]);
        }
    }
    return t;
}

constexpr SliceTables TABLES = makeTables();

inline std::uint16_t tableByte(std::uint16_t crc, std::uint8_t b) {
    return static_cast<std::uint16_t>((crc << 8) ^ TABLES[0][(crc >> 8) ^ b]);
}

std::uint16_t portableBulk(std::uint16_t crc, const std::uint8_t* p, std::size_t n) {
    while (n >= 16) {
        // The running value enters as if XORed into the first two bytes of the block.
        crc = static_cast<std::uint16_t>(
            TABLES[15][p[0] ^ (crc >> 8)] ^ TABLES[14][p[1] ^ (crc & 0xFF)] ^ TABLES[13][p[2]] ^
            TABLES[12][p[3]] ^ TABLES[11][p[4]] ^ TABLES[10][p[5]] ^ TABLES[9][p[6]] ^
            TABLES[8][p[7]] ^ TABLES[7][p[8]] ^ TABLES[6][p[9]] ^ TABLES[5][p[10]] ^
            TABLES[4][p[11]] ^ TABLES[3][p[12]] ^ TABLES[2][p[13]] ^ TABLES[1][p[14]] ^
            TABLES[0][p[15]]);
        p += 16;
        n -= 16;
    }
    // Short tails take eight and four bytes at a time too, so a frame's last bytes do not
    // form one long chain of dependent lookups.
    if (n >= 8) {
        crc = static_cast<std::uint16_t>(TABLES[7][p[0] ^ (crc >> 8)] ^
                                         TABLES[6][p[1] ^ (crc & 0xFF)] ^ TABLES[5][p[2]] ^
                                         TABLES[4][p[3]] ^ TABLES[3][p[4]] ^ TABLES[2][p[5]] ^
                                         TABLES[1][p[6]] ^ TABLES[0][p[7]]);
        p += 8;
        n -= 8;
    }
    if (n >= 4) {
        crc = static_cast<std::uint16_t>(TABLES[3][p[0] ^ (crc >> 8)] ^
                                         TABLES[2][p[1] ^ (crc & 0xFF)] ^ TABLES[1][p[2]] ^
                                         TABLES[0][p[3]]);
        p += 4;
        n -= 4;
    }
    while (n-- > 0) {
        crc = tableByte(crc, *p++);
    }
    return crc;
}

#ifdef VANTO_CRC_HAVE_CLMUL

using crcpolynomial::xPowerModPoly;

// Below this many bytes the fold's set-up costs more than the table saves.
constexpr std::size_t CLMUL_MIN_BYTES = 64;

#define VANTO_CLMUL_TARGET __attribute__((target("pclmul,sse4.1")))

VANTO_CLMUL_TARGET inline __m128i loadReversed(const std::uint8_t* q) {
    const __m128i reverse = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(q)), reverse);
}

// lane * x^d + next, reduced to 80 bits: k holds x^(d+64) mod P high and x^d mod P low.
VANTO_CLMUL_TARGET inline __m128i foldInto(__m128i lane, __m128i k, __m128i next) {
    const __m128i high = _mm_clmulepi64_si128(lane, k, 0x11);
    const __m128i low = _mm_clmulepi64_si128(lane, k, 0x00);
    return _mm_xor_si128(_mm_xor_si128(high, low), next);
}

// Treats the data as one polynomial, first byte highest, and keeps four 128-bit lanes that
// are congruent to it modulo P; each step moves a lane on by 512 bits and adds the next 64
// bytes. The lanes are then folded into one 16-byte block with the same value modulo P,
// whose check value the table finishes.
//
// Leading zero bytes do not change a check value that starts from 0, so the data is padded
// in front to whole blocks and no tail is left for the table, which for frame-sized data
// would cost more than all the folding.
VANTO_CLMUL_TARGET std::uint16_t carrylessBulk(std::uint16_t crc, const std::uint8_t* p,
                                               std::size_t n) {
    const __m128i reverse = _mm_set_epi8(0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15);
    const __m128i fold512 = _mm_set_epi64x(static_cast<long long>(xPowerModPoly(576)),
                                           static_cast<long long>(xPowerModPoly(512)));
    const __m128i fold384 = _mm_set_epi64x(static_cast<long long>(xPowerModPoly(448)),
                                           static_cast<long long>(xPowerModPoly(384)));
    const __m128i fold256 = _mm_set_epi64x(static_cast<long long>(xPowerModPoly(320)),
                                           static_cast<long long>(xPowerModPoly(256)));
    const __m128i fold128 = _mm_set_epi64x(static_cast<long long>(xPowerModPoly(192)),
                                           static_cast<long long>(xPowerModPoly(128)));

    // The first padded block is the first 16 - pad bytes moved up by pad with zeros shifted
    // in, the second starts at byte 16 - pad; both come straight from registers. The running
    // value enters as if XORed into the first two data bytes.
    const std::size_t pad = (16 - n % 16) % 16;
    alignas(16) static constexpr std::int8_t SHIFT_WINDOW[32] = {
        -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
        0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15};
    const __m128i shift =
        _mm_loadu_si128(reinterpret_cast<const __m128i*>(SHIFT_WINDOW + 16 - pad));
    const __m128i running = _mm_cvtsi32_si128(static_cast<int>(((crc & 0xFF) << 8) | (crc >> 8)));
    const __m128i first =
        _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p)), running);
    __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + 16 - pad));
    if (pad == 15) {
        // The running value's lower byte is the second block's first byte.
        second = _mm_xor_si128(second, _mm_cvtsi32_si128(crc & 0xFF));
    }
    __m128i a0 = _mm_shuffle_epi8(_mm_shuffle_epi8(first, shift), reverse);
    __m128i a1 = _mm_shuffle_epi8(second, reverse);
    p += 32 - pad;
    n -= 32 - pad;
    __m128i a2 = loadReversed(p);
    __m128i a3 = loadReversed(p + 16);
    p += 32;
    n -= 32;
    while (n >= 64) {
        a0 = foldInto(a0, fold512, loadReversed(p));
        a1 = foldInto(a1, fold512, loadReversed(p + 16));
        a2 = foldInto(a2, fold512, loadReversed(p + 32));
        a3 = foldInto(a3, fold512, loadReversed(p + 48));
        p += 64;
        n -= 64;
    }
    // The lanes move to the end side by side rather than one after another: for frame-sized
    // data this chain, not the throughput, sets the time.
    __m128i acc = _mm_xor_si128(foldInto(a0, fold384, foldInto(a1, fold256, a3)),
                                foldInto(a2, fold128, _mm_setzero_si128()));
    while (n >= 16) {
        acc = foldInto(acc, fold128, loadReversed(p));
        p += 16;
        n -= 16;
    }
    alignas(16) std::uint8_t block[16];
    _mm_store_si128(reinterpret_cast<__m128i*>(block), _mm_shuffle_epi8(acc, reverse));
    return portableBulk(0, block, 16);
}

const bool CARRYLESS_AVAILABLE =
    __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse4.1");
#else
const bool CARRYLESS_AVAILABLE = false;
#endif

}  // namespace

CRC::CRC() = default;

void CRC::addToCRC(std::int8_t b) {
    std::int64_t work = currentValue;
    for (int i = 0; i < 8; ++i) {
        const int mask = 0x80 >> i;
        if ((b & mask) != 0) {
            work ^= 0x8000;
        }
        // Shifting the unsigned pattern keeps the stray high bits harmless and defined.
        const auto shifted = static_cast<std::int64_t>(static_cast<std::uint64_t>(work) << 1);
        work = (work & 0x8000) != 0 ? (shifted ^ 0x1021) : shifted;
    }
    currentValue = static_cast<std::int16_t>(static_cast<std::uint16_t>(work & 0xFFFF));
}

void CRC::addToCRC(std::span<const std::int8_t> bytes) {
    const auto* p = reinterpret_cast<const std::uint8_t*>(bytes.data());
    const std::size_t n = bytes.size();
    auto crc = static_cast<std::uint16_t>(currentValue);
#ifdef VANTO_CRC_HAVE_CLMUL
    if (n >= CLMUL_MIN_BYTES && CARRYLESS_AVAILABLE && !PortablePaths::forced()) {
        crc = carrylessBulk(crc, p, n);
    } else {
        crc = portableBulk(crc, p, n);
    }
#else
    crc = portableBulk(crc, p, n);
#endif
    currentValue = static_cast<std::int16_t>(crc);
}

bool CRC::carrylessBulkPathAvailable() {
    return CARRYLESS_AVAILABLE;
}

}  // namespace vantoconnect
