// Link framing throughput. The encoder writes its console line for every frame to standard
// output, as in the product: run with standard output sent to /dev/null and the results
// written with --benchmark_out. Each figure sits beside two anchors and memcpy of the same
// bytes: a plain byte-at-a-time codec doing the same work as the product (escaping, check
// value, frame, result lumps and, for the encoder, the console line), and a loop that only
// stuffs or unstuffs, which marks how much of the work the escaping alone is. The Portable
// cases force the portable paths (no block instructions) on the same data.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "bench/CrcTable.hpp"
#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/support/Console.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

namespace {

using vantoconnect::ByteLump;
using vantoconnect::Bytes;
using vantoconnect::LinkDecoder16;
using vantoconnect::LinkEncoder;

Bytes randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes out(n);
    for (auto& b : out) {
        b = static_cast<std::int8_t>(rng());
    }
    return out;
}

Bytes denseBytes(std::size_t n) {
    Bytes out(n);
    for (std::size_t k = 0; k < n; ++k) {
        out[k] = (k % 3 == 0) ? 0x10 : 0x02;
    }
    return out;
}

using vantoconnect::bench::crcTable;

std::uint16_t crcByte(std::uint16_t crc, std::int8_t b) {
    return static_cast<std::uint16_t>((crc << 8) ^
                                      crcTable()[(crc >> 8) ^ static_cast<std::uint8_t>(b)]);
}

// The same-work encoder anchor: 12-bit length and check value on, as the product is set up
// below; every byte escaped, checked and dumped one at a time.
class PlainEncoder {
  public:
    std::vector<ByteLump> encode(const Bytes& message) {
        frame.clear();
        frame.push_back(0x02);
        std::uint16_t crc = 0;
        const std::size_t n = message.size();
        auto put = [&](std::int8_t b) {
            if (b == 0x02 || b == 0x10) {
                frame.push_back(0x10);
                frame.push_back(static_cast<std::int8_t>(b ^ 0x40));
            } else {
                frame.push_back(b);
            }
        };
        auto putChecked = [&](std::int8_t b) {
            put(b);
            crc = crcByte(crc, b);
        };
        if (n <= 127) {
            putChecked(static_cast<std::int8_t>(n));
        } else {
            putChecked(static_cast<std::int8_t>((n & 0xFF) | 0x80));
            putChecked(static_cast<std::int8_t>((n >> 7) & 0xFF));
        }
        for (std::int8_t b : message) {
            putChecked(b);
        }
        put(static_cast<std::int8_t>(crc >> 8));
        put(static_cast<std::int8_t>(crc & 0xFF));

        static constexpr char digits[] = "0123456789abcdef";
        line =
            "link encoder, frame ByteLump, size " + std::to_string(frame.size()) + ", contents: ";
        for (std::size_t k = 0; k < frame.size(); ++k) {
            const auto v = static_cast<std::uint8_t>(frame[k]);
            if (k > 0) {
                line += '|';
            }
            line += digits[v >> 4];
            line += digits[v & 0x0F];
        }
        vantoconnect::consoleLine(line);
        std::vector<ByteLump> out;
        out.emplace_back(frame);
        return out;
    }

  private:
    Bytes frame;
    std::string line;
};

// The same-work decoder anchor: a byte-at-a-time state machine for 12-bit lengths with the
// check value on, each good frame delivered as a new lump.
class PlainDecoder {
  public:
    std::vector<ByteLump> decode(const ByteLump& read) {
        std::vector<ByteLump> out;
        for (std::int64_t k = 0; k < read.sizeInBytes; ++k) {
            std::int8_t b = read.payload[static_cast<std::size_t>(k)];
            if (b == 0x02) {
                state = LENGTH;
                escape = false;
                continue;
            }
            if (b == 0x10) {
                escape = true;
                continue;
            }
            if (escape) {
                b = static_cast<std::int8_t>(b ^ 0x40);
                escape = false;
            }
            switch (state) {
                case SEEK:
                    break;
                case LENGTH:
                    length = b;
                    crc = crcByte(0, b);
                    message.clear();
                    state = length > 0 ? DATA : SEEK;
                    break;
                case DATA:
                    message.push_back(b);
                    crc = crcByte(crc, b);
                    if (static_cast<std::int64_t>(message.size()) == length) {
                        state = CHECK_HIGH;
                    }
                    break;
                case CHECK_HIGH:
                    quoted = static_cast<std::uint16_t>(static_cast<std::uint8_t>(b) << 8);
                    state = CHECK_LOW;
                    break;
                case CHECK_LOW:
                    quoted = static_cast<std::uint16_t>(quoted | static_cast<std::uint8_t>(b));
                    if (quoted == crc) {
                        out.emplace_back(message);
                    }
                    state = SEEK;
                    break;
            }
        }
        return out;
    }

  private:
    enum State { SEEK, LENGTH, DATA, CHECK_HIGH, CHECK_LOW };
    State state = SEEK;
    bool escape = false;
    std::int64_t length = 0;
    std::uint16_t crc = 0;
    std::uint16_t quoted = 0;
    Bytes message;
};

// The stuffing-only reference: one byte at a time, branch per byte, nothing else.
std::size_t stuffLoop(const Bytes& in, std::int8_t* out) {
    std::size_t o = 0;
    for (std::int8_t b : in) {
        if (b == 0x02 || b == 0x10) {
            out[o++] = 0x10;
            out[o++] = static_cast<std::int8_t>(b ^ 0x40);
        } else {
            out[o++] = b;
        }
    }
    return o;
}

std::size_t unstuffLoop(const std::int8_t* in, std::size_t n, std::int8_t* out) {
    std::size_t o = 0;
    bool escape = false;
    for (std::size_t k = 0; k < n; ++k) {
        const std::int8_t b = in[k];
        if (b == 0x10) {
            escape = true;
        } else {
            out[o++] = escape ? static_cast<std::int8_t>(b ^ 0x40) : b;
            escape = false;
        }
    }
    return o;
}

LinkEncoder productEncoder() {
    LinkEncoder encoder;
    encoder.setCRCEnable(true);
    encoder.setLengthSize(LinkEncoder::LENGTH_12BIT);
    return encoder;
}

// Forces the portable codec paths for as long as it lives, so the block paths can be measured
// against them on the same machine.
struct PortableOnly {
    explicit PortableOnly(bool portable) { vantoconnect::PortablePaths::force(portable); }
    ~PortableOnly() { vantoconnect::PortablePaths::force(false); }
    PortableOnly(const PortableOnly&) = delete;
    PortableOnly& operator=(const PortableOnly&) = delete;
};

void encode(benchmark::State& state, const Bytes& message, bool portable = false) {
    const PortableOnly paths(portable);
    if (portable) {
        state.SetLabel("portable paths");
    }
    LinkEncoder encoder = productEncoder();
    const ByteLump lump(message);
    for (auto _ : state) {
        auto frames = encoder.processByteLump(lump, 0);
        benchmark::DoNotOptimize(frames.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * message.size()));
}

void BM_Encode(benchmark::State& state) {
    encode(state, randomBytes(static_cast<std::size_t>(state.range(0)), 2));
}
void BM_EncodeDense(benchmark::State& state) {
    encode(state, denseBytes(static_cast<std::size_t>(state.range(0))));
}
void BM_EncodePortable(benchmark::State& state) {
    encode(state, randomBytes(static_cast<std::size_t>(state.range(0)), 2), true);
}
void BM_EncodeDensePortable(benchmark::State& state) {
    encode(state, denseBytes(static_cast<std::size_t>(state.range(0))), true);
}

void encodePlain(benchmark::State& state, const Bytes& message) {
    PlainEncoder encoder;
    for (auto _ : state) {
        auto frames = encoder.encode(message);
        benchmark::DoNotOptimize(frames.data());
    }
    state.SetLabel("same-work anchor");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * message.size()));
}

void BM_EncodePlainAnchor(benchmark::State& state) {
    encodePlain(state, randomBytes(static_cast<std::size_t>(state.range(0)), 2));
}
void BM_EncodePlainAnchorDense(benchmark::State& state) {
    encodePlain(state, denseBytes(static_cast<std::size_t>(state.range(0))));
}

void stuff(benchmark::State& state, const Bytes& message) {
    std::vector<std::int8_t> out(2 * message.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(stuffLoop(message, out.data()));
        benchmark::ClobberMemory();
    }
    state.SetLabel("stuffing only");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * message.size()));
}

void BM_StuffLoop(benchmark::State& state) {
    stuff(state, randomBytes(static_cast<std::size_t>(state.range(0)), 2));
}
void BM_StuffLoopDense(benchmark::State& state) {
    stuff(state, denseBytes(static_cast<std::size_t>(state.range(0))));
}

void BM_MemcpyMessage(benchmark::State& state) {
    const Bytes message = randomBytes(static_cast<std::size_t>(state.range(0)), 2);
    std::vector<std::int8_t> out(message.size());
    for (auto _ : state) {
        std::memcpy(out.data(), message.data(), message.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * message.size()));
}

// A long run of valid 127-byte frames as the unit would send them, cut into 1024-byte reads.
struct Stream {
    Bytes bytes;
    std::vector<ByteLump> reads;
};

Stream frameStream(bool dense) {
    vantoconnect::setConsoleSink([](std::string_view) {});
    LinkEncoder encoder = productEncoder();
    Stream s;
    unsigned seed = 3;
    while (s.bytes.size() < (1u << 20)) {
        const Bytes message = dense ? denseBytes(127) : randomBytes(127, seed++);
        const Bytes frame = encoder.processByteLump(ByteLump(message), 0).at(0).payload;
        s.bytes.insert(s.bytes.end(), frame.begin(), frame.end());
    }
    vantoconnect::setConsoleSink({});
    for (std::size_t at = 0; at < s.bytes.size(); at += 1024) {
        const std::size_t n = std::min<std::size_t>(1024, s.bytes.size() - at);
        s.reads.emplace_back(s.bytes, static_cast<std::int64_t>(at), static_cast<std::int64_t>(n));
    }
    return s;
}

void decode(benchmark::State& state, bool dense, bool portable = false) {
    const Stream s = frameStream(dense);
    const PortableOnly paths(portable);
    if (portable) {
        state.SetLabel("portable paths");
    }
    std::size_t frames = 0;
    for (auto _ : state) {
        LinkDecoder16 decoder;
        decoder.setCRCEnable(true);
        decoder.setLengthSize(LinkDecoder16::LENGTH_12BIT);
        for (const ByteLump& read : s.reads) {
            frames += decoder.processByteLump(read, 0).size();
        }
    }
    benchmark::DoNotOptimize(frames);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * s.bytes.size()));
}

void BM_Decode(benchmark::State& state) {
    decode(state, false);
}
void BM_DecodeDense(benchmark::State& state) {
    decode(state, true);
}
void BM_DecodePortable(benchmark::State& state) {
    decode(state, false, true);
}
void BM_DecodeDensePortable(benchmark::State& state) {
    decode(state, true, true);
}

void decodePlain(benchmark::State& state, bool dense) {
    const Stream s = frameStream(dense);
    {
        // The anchor only counts if it finds the frames the product finds.
        LinkDecoder16 product;
        product.setCRCEnable(true);
        product.setLengthSize(LinkDecoder16::LENGTH_12BIT);
        PlainDecoder anchor;
        std::size_t agreed = 0;
        for (const ByteLump& read : s.reads) {
            const auto a = product.processByteLump(read, 0);
            const auto b = anchor.decode(read);
            agreed += a.size();
            if (a.size() != b.size() || !std::equal(a.begin(), a.end(), b.begin(),
                                                    [](const ByteLump& x, const ByteLump& y) {
                                                        return x.payload == y.payload;
                                                    })) {
                state.SkipWithError("the anchor and the product disagree");
                return;
            }
        }
        if (agreed == 0) {
            state.SkipWithError("no frames decoded");
            return;
        }
    }
    std::size_t frames = 0;
    for (auto _ : state) {
        PlainDecoder decoder;
        for (const ByteLump& read : s.reads) {
            frames += decoder.decode(read).size();
        }
    }
    benchmark::DoNotOptimize(frames);
    state.SetLabel("same-work anchor");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * s.bytes.size()));
}

void BM_DecodePlainAnchor(benchmark::State& state) {
    decodePlain(state, false);
}
void BM_DecodePlainAnchorDense(benchmark::State& state) {
    decodePlain(state, true);
}

void unstuff(benchmark::State& state, bool dense) {
    const Stream s = frameStream(dense);
    std::vector<std::int8_t> out(1024);
    for (auto _ : state) {
        for (const ByteLump& read : s.reads) {
            benchmark::DoNotOptimize(
                unstuffLoop(read.payload.data(), read.payload.size(), out.data()));
        }
        benchmark::ClobberMemory();
    }
    state.SetLabel("unstuffing only");
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * s.bytes.size()));
}

void BM_UnstuffLoop(benchmark::State& state) {
    unstuff(state, false);
}
void BM_UnstuffLoopDense(benchmark::State& state) {
    unstuff(state, true);
}

void BM_MemcpyStream(benchmark::State& state) {
    const Stream s = frameStream(false);
    std::vector<std::int8_t> out(1024);
    for (auto _ : state) {
        for (const ByteLump& read : s.reads) {
            std::memcpy(out.data(), read.payload.data(), read.payload.size());
            benchmark::ClobberMemory();
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * s.bytes.size()));
}

}  // namespace

BENCHMARK(BM_Encode)->Arg(300)->Arg(1024);
BENCHMARK(BM_EncodePlainAnchor)->Arg(300)->Arg(1024);
BENCHMARK(BM_StuffLoop)->Arg(300)->Arg(1024);
BENCHMARK(BM_EncodeDense)->Arg(1024);
BENCHMARK(BM_EncodePortable)->Arg(300)->Arg(1024);
BENCHMARK(BM_EncodeDensePortable)->Arg(1024);
BENCHMARK(BM_EncodePlainAnchorDense)->Arg(1024);
BENCHMARK(BM_StuffLoopDense)->Arg(1024);
BENCHMARK(BM_MemcpyMessage)->Arg(300)->Arg(1024);
BENCHMARK(BM_Decode);
BENCHMARK(BM_DecodePlainAnchor);
BENCHMARK(BM_UnstuffLoop);
BENCHMARK(BM_DecodeDense);
BENCHMARK(BM_DecodePortable);
BENCHMARK(BM_DecodeDensePortable);
BENCHMARK(BM_DecodePlainAnchorDense);
BENCHMARK(BM_UnstuffLoopDense);
BENCHMARK(BM_MemcpyStream);
BENCHMARK_MAIN();
