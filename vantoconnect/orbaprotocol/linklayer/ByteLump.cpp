#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"

#include <array>
#include <cstring>

#include "vantoconnect/support/Fatal.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define VANTO_DUMP_HAVE_SHUFFLE 1
#endif

namespace vantoconnect {

namespace {

// Each byte value's two digits and the separator that follows them, padded to four bytes so
// a dump is one unaligned four-byte store per byte.
constexpr std::array<std::array<char, 4>, 256> makeHexCells() {
    std::array<std::array<char, 4>, 256> table{};
    constexpr const char* digits = "0123456789abcdef";
    for (std::size_t v = 0; v < 256; ++v) {
        table[v] = {digits[v >> 4], digits[v & 0x0F], '|', '\0'};
    }
    return table;
}
constexpr std::array<std::array<char, 4>, 256> HEX_CELLS = makeHexCells();

#ifdef VANTO_DUMP_HAVE_SHUFFLE

// Sixteen bytes become 48 characters "hh|" at a time: each nibble is looked up as a digit,
// and three shuffles per output block place the high digits, the low digits and the
// separators. Returns how many input bytes it took (a multiple of sixteen).
__attribute__((target("ssse3"))) std::size_t dumpBlocks(const std::int8_t* in, std::size_t count,
                                                        char* out) {
    const __m128i digits = _mm_setr_epi8('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'a', 'b',
                                         'c', 'd', 'e', 'f');
    const __m128i nibble = _mm_set1_epi8(0x0F);
    // For output position j of block b (character 16b + j = 3i + r): the source byte i when
    // r selects that digit, otherwise -1 so the shuffle gives 0 and the other parts show.
    alignas(16) static constexpr std::int8_t HIGH[3][16] = {
        {0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1, 5},
        {-1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10, -1},
        {-1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1, -1}};
    alignas(16) static constexpr std::int8_t LOW[3][16] = {
        {-1, 0, -1, -1, 1, -1, -1, 2, -1, -1, 3, -1, -1, 4, -1, -1},
        {5, -1, -1, 6, -1, -1, 7, -1, -1, 8, -1, -1, 9, -1, -1, 10},
        {-1, -1, 11, -1, -1, 12, -1, -1, 13, -1, -1, 14, -1, -1, 15, -1}};
    alignas(16) static constexpr std::int8_t BARS[3][16] = {
        {0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0},
        {0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0},
        {'|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|', 0, 0, '|'}};
    std::size_t k = 0;
    for (; k + 16 <= count; k += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + k));
        const __m128i high = _mm_shuffle_epi8(digits, _mm_and_si128(_mm_srli_epi16(v, 4), nibble));
        const __m128i low = _mm_shuffle_epi8(digits, _mm_and_si128(v, nibble));
        for (int b = 0; b < 3; ++b) {
            const __m128i part = _mm_or_si128(
                _mm_or_si128(_mm_shuffle_epi8(
                                 high, _mm_load_si128(reinterpret_cast<const __m128i*>(HIGH[b]))),
                             _mm_shuffle_epi8(
                                 low, _mm_load_si128(reinterpret_cast<const __m128i*>(LOW[b])))),
                _mm_load_si128(reinterpret_cast<const __m128i*>(BARS[b])));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 3 * k + 16 * b), part);
        }
    }
    return k;
}

const bool DUMP_SHUFFLE_AVAILABLE = __builtin_cpu_supports("ssse3");

#endif

constexpr std::string_view DUMP_PREFIX = "ByteLump, size ";
constexpr std::string_view DUMP_CONTENTS = ", contents: ";
constexpr std::string_view DUMP_EMPTY = "<Empty>";

}  // namespace

ByteLump::ByteLump(const Bytes& b) {
    copyFrom(b, 0, static_cast<std::int64_t>(b.size()));
}

ByteLump::ByteLump(const Bytes& b, std::int64_t startix, std::int64_t l) {
    copyFrom(b, startix, l);
}

ByteLump ByteLump::copyOf(const ByteLump& b) {
    return ByteLump(b.payload, 0, b.sizeInBytes);
}

ByteLump::ByteLump(std::int64_t i) : payload(requireCount(i), 0), sizeInBytes(i) {}

ByteLump::ByteLump(std::string_view s) {
    Bytes raw;
    raw.reserve(s.size());
    for (char ch : s) {
        raw.push_back(toInt8Checked(static_cast<unsigned char>(ch)));
    }
    // The scratch buffer is sized by characters, not bytes, and a CR LF pair is one
    // character: text with line breaks in it can overrun the buffer and stop the process.
    std::size_t characters = raw.size();
    for (std::size_t k = 0; k + 1 < raw.size(); ++k) {
        if (raw[k] == '\r' && raw[k + 1] == '\n') {
            --characters;
            ++k;
        }
    }
    Bytes scratch(characters, 0);
    std::int64_t out = 0;
    bool escaping = false;
    int digits = 0;
    std::int64_t accumulator = 0;
    for (std::int8_t c : raw) {
        if (!escaping) {
            if (c == '\\') {
                escaping = true;
                digits = 0;
                accumulator = 0;
            } else {
                checkedAt(scratch, out++) = c;
            }
        } else if (digits == 0 && c == '\\') {
            checkedAt(scratch, out++) = c;
            escaping = false;
        } else {
            accumulator += gethex(c);
            if (digits == 0) {
                digits = 1;
                accumulator *= 16;
            } else {
                checkedAt(scratch, out++) = toInt8Checked(accumulator);
                escaping = false;
            }
        }
    }
    copyFrom(scratch, 0, out);
}

ByteLump::~ByteLump() = default;

void ByteLump::copyFrom(const Bytes& b, std::int64_t startix, std::int64_t l) {
    sizeInBytes = l;
    requireCount(l);
    // The copy is over the closed range 0 ... l-1, so nothing to copy is an error too.
    requireRange(0, subtractChecked(l, 1));
    // Compared without forming startix + l, which may not fit: the copy reads b[startix + k]
    // from k = 0 up, so a start or an end outside b stops at a read, not at a sum.
    const auto size = static_cast<std::int64_t>(b.size());
    if (startix < 0 || startix > size || l > size - startix) {
        fatalError(fatal::INDEX_OUT_OF_RANGE);
    }
    payload.assign(b.begin() + startix, b.begin() + startix + l);
}

Bytes ByteLump::toByteArray() const {
    // A count past the payload stops at its first missing byte; checking before the array is
    // made keeps a huge count from asking for memory it would never fill.
    if (requireCount(sizeInBytes) > payload.size()) {
        checkedIndex(static_cast<std::int64_t>(payload.size()), payload.size());
    }
    Bytes out(static_cast<std::size_t>(sizeInBytes), 0);
    if (!out.empty()) {
        std::memcpy(out.data(), payload.data(), out.size());
    }
    return out;
}

void ByteLump::appendDump(std::string& out) const {
    if (sizeInBytes < 1) {
        out.append(DUMP_EMPTY);
        return;
    }
    const std::size_t count = static_cast<std::size_t>(sizeInBytes);
    const std::size_t available = count < payload.size() ? count : payload.size();
    const std::string size = std::to_string(sizeInBytes);
    const std::size_t start = out.size();
    const std::size_t head = DUMP_PREFIX.size() + size.size() + DUMP_CONTENTS.size();
    // One spare byte lets the last cell be stored whole; it and the last separator are cut.
    out.resize(start + head + 3 * available + 1);
    char* p = out.data() + start;
    std::memcpy(p, DUMP_PREFIX.data(), DUMP_PREFIX.size());
    p += DUMP_PREFIX.size();
    std::memcpy(p, size.data(), size.size());
    p += size.size();
    std::memcpy(p, DUMP_CONTENTS.data(), DUMP_CONTENTS.size());
    p += DUMP_CONTENTS.size();
    const std::int8_t* bytes = payload.data();
    std::size_t k = 0;
#ifdef VANTO_DUMP_HAVE_SHUFFLE
    if (DUMP_SHUFFLE_AVAILABLE && !PortablePaths::forced()) {
        k = dumpBlocks(bytes, available, p);
        p += 3 * k;
    }
#endif
    for (; k < available; ++k) {
        std::memcpy(p, HEX_CELLS[static_cast<std::uint8_t>(bytes[k])].data(), 4);
        p += 3;
    }
    out.resize(start + head + (available > 0 ? 3 * available - 1 : 0));
    if (available < count) {
        checkedIndex(static_cast<std::int64_t>(available), payload.size());
    }
}

std::string ByteLump::toString() const {
    std::string out;
    appendDump(out);
    return out;
}

std::string ByteLump::toHexByte(std::int8_t b) const {
    return toHexNibble(static_cast<std::int8_t>(b >> 4)) + toHexNibble(b);
}

std::string ByteLump::toHexNibble(std::int64_t number) const {
    const std::int64_t n = toInt8Checked(number) & 0x0F;
    const char digit = static_cast<char>(n < 10 ? ZERO_HEX + n : A_LOWER_HEX + n - 10);
    return std::string(1, digit);
}

std::int64_t ByteLump::gethex(std::int8_t c) {
    if (c >= ONE_HEX && c <= NINE_HEX) {
        return c - ZERO_HEX;
    }
    if (c >= A_LOWER_HEX && c <= F_LOWER_HEX) {
        return c - A_LOWER_HEX + 10;
    }
    if (c >= A_UPPER_HEX && c <= F_UPPER_HEX) {
        return c - A_UPPER_HEX + 10;
    }
    return 0;
}

}  // namespace vantoconnect
