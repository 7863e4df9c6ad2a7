#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"

#include <array>
#include <cstring>

#include "vantoconnect/support/Fatal.hpp"

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

ByteLump::ByteLump(const ByteLump& b) {
    copyFrom(b.payload, 0, b.sizeInBytes);
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
    const std::size_t count = requireCount(l);
    // The copy is over the closed range 0 ... l-1, so nothing to copy is an error too.
    requireRange(0, l - 1);
    const std::int64_t end = addChecked(startix, l);
    if (startix >= 0 && static_cast<std::uint64_t>(end) <= b.size()) {
        payload.assign(b.begin() + startix, b.begin() + end);
        return;
    }
    payload.assign(count, 0);
    for (std::int64_t k = 0; k < l; ++k) {
        payload[static_cast<std::size_t>(k)] = checkedAt(b, startix + k);
    }
}

Bytes ByteLump::toByteArray() const {
    Bytes out(requireCount(sizeInBytes), 0);
    if (out.size() > payload.size()) {
        checkedIndex(static_cast<std::int64_t>(payload.size()), payload.size());
    }
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
    for (std::size_t k = 0; k < available; ++k) {
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
