// Throughput of Util::ByteStream, writing and reading a mix of numbers and large byte vectors,
// beside memcpy of the same amount. Calls go through DataStream&, as callers of the interface
// make them.
#include "Util/ByteStream.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

// One record: an int, a short, a float and a double, 18 bytes in the stream.
unsigned int const kRecordBytes = 4 + 2 + 4 + 8;
unsigned int const kRecords = 4096;

void setBytes(benchmark::State& state, std::size_t bytesPerIteration) {
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) *
                            static_cast<int64_t>(bytesPerIteration));
}

Util::DataStream::EndianType order(benchmark::State const& state) {
    return state.range(0) != 0 ? Util::DataStream::ENDIAN_BIG : Util::DataStream::ENDIAN_LITTLE;
}

void writeRecords(Util::DataStream& s) {
    for (unsigned int i = 0; i < kRecords; ++i)
        s << static_cast<int>(i) << static_cast<short>(i) << 0.5f * static_cast<float>(i)
          << 0.25 * i;
}

// range(0): 0 little-endian (host order here), 1 big-endian (every value reversed).
void BM_WriteMixed(benchmark::State& state) {
    for (auto _ : state) {
        Util::ByteStream stream(kRecords * kRecordBytes);
        stream.SetEndianType(order(state));
        writeRecords(stream);
        benchmark::DoNotOptimize(stream.GetBuffer());
    }
    setBytes(state, kRecords * kRecordBytes);
}
BENCHMARK(BM_WriteMixed)->Arg(0)->Arg(1);

// The same writes over data already there: no growth, so this is the cost of the calls alone.
void BM_OverwriteMixed(benchmark::State& state) {
    Util::ByteStream stream;
    writeRecords(stream);
    for (auto _ : state) {
        stream.SetPosition(0);
        writeRecords(stream);
        benchmark::DoNotOptimize(stream.GetBuffer());
    }
    setBytes(state, kRecords * kRecordBytes);
}
BENCHMARK(BM_OverwriteMixed);

void BM_ReadMixed(benchmark::State& state) {
    Util::ByteStream stream;
    stream.SetEndianType(order(state));
    writeRecords(stream);
    Util::DataStream& s = stream;
    for (auto _ : state) {
        s.SetPosition(0);
        int i = 0;
        short h = 0;
        float f = 0;
        double d = 0;
        for (unsigned int r = 0; r < kRecords; ++r) {
            s >> i >> h >> f >> d;
            benchmark::DoNotOptimize(d);
        }
    }
    setBytes(state, kRecords * kRecordBytes);
}
BENCHMARK(BM_ReadMixed)->Arg(0)->Arg(1);

// The same mix packed by hand with memcpy into a preallocated buffer: the ceiling.
void BM_MemcpyMixed(benchmark::State& state) {
    Bytes buffer(kRecords * kRecordBytes);
    for (auto _ : state) {
        unsigned char* p = buffer.data();
        for (unsigned int r = 0; r < kRecords; ++r) {
            int const i = static_cast<int>(r);
            short const h = static_cast<short>(r);
            float const f = 0.5f * static_cast<float>(r);
            double const d = 0.25 * r;
            std::memcpy(p, &i, 4);
            std::memcpy(p + 4, &h, 2);
            std::memcpy(p + 6, &f, 4);
            std::memcpy(p + 10, &d, 8);
            p += kRecordBytes;
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, kRecords * kRecordBytes);
}
BENCHMARK(BM_MemcpyMixed);

// range(0): the vector's size in bytes; eight vectors per iteration, with a length word each.
void BM_WriteVectors(benchmark::State& state) {
    Bytes const block(static_cast<std::size_t>(state.range(0)), 0x5A);
    unsigned int const size = static_cast<unsigned int>(block.size());
    Util::ByteStream stream(8 * (4 + size));
    Util::DataStream& s = stream;
    for (int k = 0; k < 8; ++k) // first touch of the pages happens here, not in the timing
        s << size << block;
    for (auto _ : state) {
        s.SetPosition(0);
        for (int k = 0; k < 8; ++k)
            s << size << block;
        benchmark::DoNotOptimize(stream.GetBuffer());
    }
    setBytes(state, 8 * block.size());
}
BENCHMARK(BM_WriteVectors)->Arg(4096)->Arg(1 << 20);

void BM_ReadVectors(benchmark::State& state) {
    Bytes block(static_cast<std::size_t>(state.range(0)), 0x5A);
    unsigned int const size = static_cast<unsigned int>(block.size());
    Util::ByteStream stream;
    for (int k = 0; k < 8; ++k)
        stream << size << block;
    Util::DataStream& s = stream;
    for (auto _ : state) {
        s.SetPosition(0);
        for (int k = 0; k < 8; ++k) {
            unsigned int n = 0;
            s >> n >> block;
            benchmark::DoNotOptimize(block.data());
        }
    }
    setBytes(state, 8 * block.size());
}
BENCHMARK(BM_ReadVectors)->Arg(4096)->Arg(1 << 20);

void BM_MemcpyVectors(benchmark::State& state) {
    std::size_t const n = static_cast<std::size_t>(state.range(0));
    Bytes const src(n, 0x5A);
    Bytes dst(8 * n);
    for (auto _ : state) {
        for (int k = 0; k < 8; ++k)
            std::memcpy(dst.data() + k * n, src.data(), n);
        benchmark::DoNotOptimize(dst.data());
        benchmark::ClobberMemory();
    }
    setBytes(state, 8 * n);
}
BENCHMARK(BM_MemcpyVectors)->Arg(4096)->Arg(1 << 20);

} // namespace
