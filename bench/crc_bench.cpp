// CRC-16/ARC of one block, beside boost's crc_16_type and a loop that only reads the block.
#include "Util/CRC16.h"
#include "bench/bench_rows.h"

#if VELMORA_BENCH_BOOST
#include <boost/crc.hpp>
#endif

#include <cstring>
#include <vector>

namespace {

std::vector<char> const& Block() {
    static std::vector<char> const bytes = [] {
        std::vector<char> b(64u << 20);
        for (char& c : b)
            c = static_cast<char>(bench::Random()());
        return b;
    }();
    return bytes;
}

// What any pass over the block costs: 8 bytes at a time summed, which the compiler vectorises.
std::uint64_t readAll(char const* p, std::size_t n) {
    std::uint64_t sum = 0;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, p + i, 8);
        sum += word;
    }
    for (; i < n; ++i)
        sum += static_cast<unsigned char>(p[i]);
    return sum;
}

void add(char const* size, std::size_t n) {
    bench::Row("CRC-16/ARC", size, "velmora", [n](benchmark::State& state) {
        char const* const p = Block().data();
        for (auto _ : state)
            benchmark::DoNotOptimize(Util::CRC16(p, static_cast<unsigned int>(n)));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(n));
    });
#if VELMORA_BENCH_BOOST
    bench::Row("CRC-16/ARC", size, "boost", [n](benchmark::State& state) {
        char const* const p = Block().data();
        boost::crc_16_type check;
        check.process_bytes(p, n);
        if (check.checksum() != Util::CRC16(p, static_cast<unsigned int>(n)))
            bench::Mismatch("boost::crc_16_type");
        for (auto _ : state) {
            boost::crc_16_type crc;
            crc.process_bytes(p, n);
            benchmark::DoNotOptimize(crc.checksum());
        }
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(n));
    });
#endif
    bench::Row("CRC-16/ARC", size, "read", [n](benchmark::State& state) {
        char const* const p = Block().data();
        for (auto _ : state)
            benchmark::DoNotOptimize(readAll(p, n));
        state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(n));
    });
}

int const registered = (add("64 B", 64), add("4 KiB", 4096), add("64 MiB", 64u << 20), 0);

} // namespace
