// Link framing throughput. The encoder writes its console line for every frame to standard
// output, as in the product: run with standard output sent to /dev/null and the results
// written with --benchmark_out. Each figure sits beside a plain byte loop doing the same
// stuffing or unstuffing, and memcpy of the same bytes.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "vantoconnect/orbaprotocol/linklayer/ByteLump.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkDecoder16.hpp"
#include "vantoconnect/orbaprotocol/linklayer/LinkEncoder.hpp"
#include "vantoconnect/support/Console.hpp"

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

// The anchor: one byte at a time, branch per byte.
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

void encode(benchmark::State& state, const Bytes& message) {
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

void stuff(benchmark::State& state, const Bytes& message) {
    std::vector<std::int8_t> out(2 * message.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(stuffLoop(message, out.data()));
        benchmark::ClobberMemory();
    }
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

void decode(benchmark::State& state, bool dense) {
    const Stream s = frameStream(dense);
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
BENCHMARK(BM_StuffLoop)->Arg(300)->Arg(1024);
BENCHMARK(BM_EncodeDense)->Arg(1024);
BENCHMARK(BM_StuffLoopDense)->Arg(1024);
BENCHMARK(BM_MemcpyMessage)->Arg(300)->Arg(1024);
BENCHMARK(BM_Decode);
BENCHMARK(BM_UnstuffLoop);
BENCHMARK(BM_DecodeDense);
BENCHMARK(BM_UnstuffLoopDense);
BENCHMARK(BM_MemcpyStream);
BENCHMARK_MAIN();
