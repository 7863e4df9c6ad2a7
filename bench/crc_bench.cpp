// Frame check value over 1 MiB: the library's bulk routine on each of its paths, beside the
// byte-at-a-time reference, a plain 256-entry table, Boost.CRC and memcpy of the same bytes.

#include <benchmark/benchmark.h>

#include <array>
#include <boost/crc.hpp>
#include <cstdint>
#include <cstring>
#include <random>
#include <span>
#include <vector>

#include "bench/CrcTable.hpp"
#include "vantoconnect/orbaprotocol/linklayer/CRC.hpp"
#include "vantoconnect/support/PortablePaths.hpp"

namespace {

using vantoconnect::CRC;

constexpr std::size_t SIZE = 1 << 20;

const std::vector<std::int8_t>& data() {
    static const std::vector<std::int8_t> bytes = [] {
        std::vector<std::int8_t> out(SIZE);
        std::mt19937 rng(1);
        for (auto& b : out) {
            b = static_cast<std::int8_t>(rng());
        }
        return out;
    }();
    return bytes;
}

void bulk(benchmark::State& state, bool portable) {
    if (!portable && !CRC::carrylessBulkPathAvailable()) {
        state.SkipWithError("no carry-less multiply on this processor");
        return;
    }
    vantoconnect::PortablePaths::force(portable);
    const auto& bytes = data();
    for (auto _ : state) {
        CRC crc;
        crc.addToCRC(std::span<const std::int8_t>(bytes));
        benchmark::DoNotOptimize(crc.getLowerByte());
    }
    vantoconnect::PortablePaths::force(false);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * SIZE));
}

void BM_CrcBulkCarryless(benchmark::State& state) {
    bulk(state, false);
}
void BM_CrcBulkPortable(benchmark::State& state) {
    bulk(state, true);
}

void BM_CrcBytewise(benchmark::State& state) {
    const auto& bytes = data();
    for (auto _ : state) {
        CRC crc;
        for (std::int8_t b : bytes) {
            crc.addToCRC(b);
        }
        benchmark::DoNotOptimize(crc.getLowerByte());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * SIZE));
}

void BM_CrcPlainTable(benchmark::State& state) {
    const auto& table = vantoconnect::bench::crcTable();
    const auto& bytes = data();
    for (auto _ : state) {
        std::uint16_t crc = 0;
        for (std::int8_t b : bytes) {
            crc = static_cast<std::uint16_t>((crc << 8) ^
                                             table[(crc >> 8) ^ static_cast<std::uint8_t>(b)]);
        }
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * SIZE));
}

void BM_CrcBoostXmodem(benchmark::State& state) {
    const auto& bytes = data();
    for (auto _ : state) {
        boost::crc_xmodem_t crc;
        crc.process_bytes(bytes.data(), bytes.size());
        benchmark::DoNotOptimize(crc.checksum());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * SIZE));
}

void BM_Memcpy(benchmark::State& state) {
    const auto& bytes = data();
    std::vector<std::int8_t> out(SIZE);
    for (auto _ : state) {
        std::memcpy(out.data(), bytes.data(), SIZE);
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * SIZE));
}

}  // namespace

BENCHMARK(BM_CrcBulkCarryless);
BENCHMARK(BM_CrcBulkPortable);
BENCHMARK(BM_CrcBytewise);
BENCHMARK(BM_CrcPlainTable);
BENCHMARK(BM_CrcBoostXmodem);
BENCHMARK(BM_Memcpy);
BENCHMARK_MAIN();
