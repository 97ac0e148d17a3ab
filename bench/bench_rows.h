// The comparison benchmarks: each measurement is one implementation of one row, named
// "<operation>/<size>/<implementation>", where the implementation is "velmora" or a key of
// a peer or a baseline ("libc", "std", "qt", "juce", "boost", "memcpy", ...). scripts/bench
// pairs them up by operation and size and judges the ratios.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>

namespace bench {

// Registers one measurement, timed in wall-clock time (some rows wait for the disk).
template <typename Function>
benchmark::internal::Benchmark* Row(std::string const& operation, std::string const& size,
                                    std::string const& implementation, Function&& function) {
    std::string const name = operation + "/" + size + "/" + implementation;
    return benchmark::RegisterBenchmark(name.c_str(), std::forward<Function>(function))
        ->UseRealTime();
}

// Stops the run: a peer or baseline that computes something else than Velmora would make
// its ratio meaningless.
[[noreturn]] inline void Mismatch(char const* what) {
    std::fprintf(stderr, "bench: results differ: %s\n", what);
    std::exit(3);
}

// The same pseudo-random sequence in every run, so that every implementation gets the
// same inputs.
inline std::mt19937_64& Random() {
    static std::mt19937_64 generator(20261123);
    return generator;
}

// A private folder for the whole run (under $TMPDIR, else /tmp), removed at exit.
std::string const& ScratchFolder();

// Keeps the items processed per iteration in the report.
inline void CountItems(benchmark::State& state, std::int64_t itemsPerIteration) {
    state.SetItemsProcessed(state.iterations() * itemsPerIteration);
}

} // namespace bench
