#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"

#include <algorithm>
#include <cstring>
#include <span>
#include <string>
#include <utility>

#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/Fatal.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
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

// Length of the leading run of bytes that are neither start nor escape bytes, at most count.
inline std::size_t plainRun(const std::int8_t* p, std::size_t count) {
    std::size_t k = 0;
#if defined(__SSE2__)
    const __m128i stx = _mm_set1_epi8(CRC::STX);
    const __m128i dle = _mm_set1_epi8(CRC::DLE);
    while (k + 16 <= count) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + k));
        const int hits =
            _mm_movemask_epi8(_mm_or_si128(_mm_cmpeq_epi8(v, stx), _mm_cmpeq_epi8(v, dle)));
        if (hits != 0) {
            return k + static_cast<std::size_t>(__builtin_ctz(static_cast<unsigned>(hits)));
        }
        k += 16;
    }
#endif
    while (k < count && !isFramingByte(p[k])) {
        ++k;
    }
    return k;
}

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
    requireRange(0, n - 1);
    const std::size_t available = std::min(static_cast<std::size_t>(n), bl.payload.size());
    const std::int8_t* p = bl.payload.data();
    std::size_t k = 0;
    while (k < available) {
        if (state == ISDATA && !doingDLE) {
            k += takeDataRun(p + k, available - k);
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

std::size_t LinkDecoder16::takeDataRun(const std::int8_t* p, std::size_t count) {
    std::size_t k = 0;
    while (k < count) {
        // A non-positive announced length never completes, so it puts no bound on the run.
        std::size_t wanted = count - k;
        if (quotedLengthTot > usedCanvas) {
            wanted = std::min(wanted, static_cast<std::size_t>(quotedLengthTot - usedCanvas));
        }
        std::size_t run = plainRun(p + k, wanted);
        if (run > 0) {
            const std::size_t room = static_cast<std::size_t>(MAXCANVASSIZE - usedCanvas);
            if (run > room) {
                // Store what fits, then let the checked store fail on the first byte that
                // does not, exactly as byte-by-byte storing would.
                std::memcpy(frameCanvas.data() + usedCanvas, p + k, room);
                usedCanvas += static_cast<std::int64_t>(room);
                storeDataByte(p[k + room]);
            }
            std::memcpy(frameCanvas.data() + usedCanvas, p + k, run);
            usedCanvas += static_cast<std::int64_t>(run);
            k += run;
            if (usedCanvas == quotedLengthTot) {
                frameFilled();
                return k;
            }
        }
        // Escaped bytes cluster in binary data; take whole pairs here rather than through the
        // state machine. A pair whose second byte is a start or escape byte is an error case
        // and is left to it.
        while (k + 1 < count && p[k] == CRC::DLE && !isFramingByte(p[k + 1])) {
            storeDataByte(static_cast<std::int8_t>(p[k + 1] ^ CRC::BIT6));
            k += 2;
            if (usedCanvas == quotedLengthTot) {
                frameFilled();
                return k;
            }
        }
        if (k < count && isFramingByte(p[k])) {
            return k;
        }
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
        case ISCRC2: {
            quotedCRC.setLowerByte(b);
            CRC computed;
            const std::int8_t length[2] = {static_cast<std::int8_t>(quotedLength1),
                                           static_cast<std::int8_t>(quotedLength2)};
            const bool twoLengthBytes =
                lengthSize == LENGTH_16BIT || (lengthSize == LENGTH_12BIT && quotedLength1 > 0x7F);
            computed.addToCRC(std::span<const std::int8_t>(length, twoLengthBytes ? 2 : 1));
            requireRange(0, usedCanvas - 1);
            computed.addToCRC(std::span<const std::int8_t>(frameCanvas.data(),
                                                           static_cast<std::size_t>(usedCanvas)));
            if (quotedCRC.equals(computed)) {
                deliverFrame();
                abortFrame(std::nullopt);
            } else {
                abortFrame(CRC_ERROR);
            }
            break;
        }
        default:
            break;
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
