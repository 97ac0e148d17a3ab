// Throughput of CRC-16, the IPP copies and conversions, beside memcpy.
// Run with VELMORA_CRC16_PORTABLE=1 to measure the table-only CRC path.
#include "IPP/IPP_util_mac.h"
#include "Util/CRC16.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

namespace {

std::vector<char> randomBytes(std::size_t n) {
    std::mt19937 rng(1);
    std::vector<char> bytes(n);
    for (char& c : bytes)
        c = static_cast<char>(rng());
    return bytes;
}

void setBytes(benchmark::State& state, std::size_t bytesPerIteration) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytesPerIteration));
}

void BM_CRC16Block(benchmark::State& state) {
    std::size_t const n = static_cast<std::size_t>(state.range(0));
    std::vector<char> const data = randomBytes(n);
    for (auto _ : state)
        benchmark::DoNotOptimize(Util::CRC16(data.data(), static_cast<unsigned int>(n)));
    setBytes(state, n);
}
BENCHMARK(BM_CRC16Block)
    ->Arg(16)
    ->Arg(64)
    ->Arg(256)
    ->Arg(1024)
    ->Arg(4096)
    ->Arg(65536)
    ->Arg(1 << 20);

void BM_CRC16ByteFold(benchmark::State& state) {
    std::size_t const n = static_cast<std::size_t>(state.range(0));
    std::vector<char> const data = randomBytes(n);
    for (auto _ : state) {
        unsigned short crc = 0;
        for (char c : data)
            Util::CRC16(crc, c);
        benchmark::DoNotOptimize(crc);
    }
    setBytes(state, n);
}
BENCHMARK(BM_CRC16ByteFold)->Arg(4096);

void BM_Memcpy(benchmark::State& state) {
    std::size_t const n = static_cast<std::size_t>(state.range(0));
    std::vector<unsigned char> src(n, 1), dst(n);
    for (auto _ : state) {
        std::memcpy(dst.data(), src.data(), n);
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}
BENCHMARK(BM_Memcpy)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_IPPCopyBytes(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<unsigned char> src(n, 1), dst(n);
    for (auto _ : state) {
        IPP::Copy(n, src.data(), dst.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}
BENCHMARK(BM_IPPCopyBytes)->Arg(64)->Arg(4096)->Arg(1 << 20);

void BM_IPPMoveOverlapping(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<unsigned char> buffer(n + 8, 1);
    for (auto _ : state) {
        IPP::Move(n, buffer.data(), buffer.data() + 3);
        benchmark::ClobberMemory();
    }
    setBytes(state, n);
}
BENCHMARK(BM_IPPMoveOverlapping)->Arg(64)->Arg(4096)->Arg(1 << 20);

// Four-byte copies as a byte stream makes them, one value at a time.
void BM_IPPCopyFourBytes(benchmark::State& state) {
    std::vector<unsigned char> src(4096, 1), dst(4096);
    for (auto _ : state) {
        for (std::size_t i = 0; i < src.size(); i += 4)
            IPP::Copy(4, src.data() + i, dst.data() + i);
        benchmark::ClobberMemory();
    }
    setBytes(state, src.size());
}
BENCHMARK(BM_IPPCopyFourBytes);

void BM_IPPSetFloat(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<float> dst(n);
    for (auto _ : state) {
        IPP::Set(n, dst.data(), 0.25f);
        benchmark::ClobberMemory();
    }
    setBytes(state, n * sizeof(float));
}
BENCHMARK(BM_IPPSetFloat)->Arg(4096);

void BM_ConvertShortToFloat(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<short> src(n, 1234);
    std::vector<float> dst(n);
    for (auto _ : state) {
        IPP::Convert(n, src.data(), dst.data(), 15);
        benchmark::ClobberMemory();
    }
    setBytes(state, n * sizeof(short));
}
BENCHMARK(BM_ConvertShortToFloat)->Arg(4096);

void BM_ConvertFloatToShort(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    bool const rounding = state.range(1) != 0;
    std::vector<float> src(n);
    for (unsigned int i = 0; i < n; ++i)
        src[i] = static_cast<float>(i % 200) / 100.0f - 1.0f;
    std::vector<short> dst(n);
    for (auto _ : state) {
        IPP::Convert(n, src.data(), dst.data(), -15, rounding);
        benchmark::ClobberMemory();
    }
    setBytes(state, n * sizeof(float));
}
BENCHMARK(BM_ConvertFloatToShort)->Args({4096, 0})->Args({4096, 1});

void BM_ConvertFloatToDouble(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<float> src(n, 0.5f);
    std::vector<double> dst(n);
    for (auto _ : state) {
        IPP::Convert(n, src.data(), dst.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n * sizeof(float));
}
BENCHMARK(BM_ConvertFloatToDouble)->Arg(4096);

void BM_ConvertDoubleToFloat(benchmark::State& state) {
    unsigned int const n = static_cast<unsigned int>(state.range(0));
    std::vector<double> src(n, 0.5);
    std::vector<float> dst(n);
    for (auto _ : state) {
        IPP::Convert(n, src.data(), dst.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, n * sizeof(double));
}
BENCHMARK(BM_ConvertDoubleToFloat)->Arg(4096);

} // namespace
