// The sample conversions on 1,024 samples (a plug-in's block, in cache) and 16M samples (in
// memory), beside the plain scalar loop of the same rule and memcpy of the float buffer.
#include "IPP/IPP_util_mac.h"
#include "bench/bench_rows.h"
#include "bench/scalar_loops.h"

#include <cstring>
#include <memory>
#include <vector>

namespace {

// Buffers for n samples of every type, filled once with values in and beyond full scale.
struct Buffers {
    explicit Buffers(unsigned int n)
        : shorts(n), floats(n), doubles(n), outShorts(n), outFloats(n), outDoubles(n) {
        std::uniform_real_distribution<float> sample(-1.2f, 1.2f);
        for (unsigned int i = 0; i < n; ++i) {
            shorts[i] = static_cast<short>(bench::Random()());
            floats[i] = sample(bench::Random());
            doubles[i] = floats[i];
        }
    }
    std::vector<short> shorts;
    std::vector<float> floats;
    std::vector<double> doubles;
    std::vector<short> outShorts;
    std::vector<float> outFloats;
    std::vector<double> outDoubles;
};

Buffers& BuffersFor(unsigned int n) {
    static std::unique_ptr<Buffers> small, large;
    std::unique_ptr<Buffers>& b = n <= 1024 ? small : large;
    if (!b)
        b = std::make_unique<Buffers>(n);
    return *b;
}

template <typename Velmora, typename Scalar>
void add(char const* operation, char const* size, unsigned int n, Velmora velmora, Scalar scalar) {
    bench::Row(operation, size, "velmora", [=](benchmark::State& state) {
        Buffers& b = BuffersFor(n);
        for (auto _ : state) {
            velmora(b);
            benchmark::ClobberMemory();
        }
        bench::CountItems(state, n);
    });
    bench::Row(operation, size, "scalar", [=](benchmark::State& state) {
        Buffers& b = BuffersFor(n);
        for (auto _ : state) {
            scalar(b);
            benchmark::ClobberMemory();
        }
        bench::CountItems(state, n);
    });
    bench::Row(operation, size, "memcpy", [=](benchmark::State& state) {
        Buffers& b = BuffersFor(n);
        for (auto _ : state) {
            std::memcpy(b.outFloats.data(), b.floats.data(), n * sizeof(float));
            benchmark::ClobberMemory();
        }
        bench::CountItems(state, n);
    });
}

void add(char const* size, unsigned int n) {
    add(
        "Convert short -> float", size, n,
        [n](Buffers& b) { IPP::Convert(n, b.shorts.data(), b.outFloats.data(), 15); },
        [n](Buffers& b) {
            bench::ScalarShortToFloat(n, b.shorts.data(), b.outFloats.data(), 1.0f / 32768.0f);
        });
    add(
        "Convert float -> short", size, n,
        [n](Buffers& b) { IPP::Convert(n, b.floats.data(), b.outShorts.data(), -15, false); },
        [n](Buffers& b) {
            bench::ScalarFloatToShort(n, b.floats.data(), b.outShorts.data(), 32768.0f, 0.0f);
        });
    add(
        "Convert float -> short, rounding", size, n,
        [n](Buffers& b) { IPP::Convert(n, b.floats.data(), b.outShorts.data(), -15, true); },
        [n](Buffers& b) {
            bench::ScalarFloatToShort(n, b.floats.data(), b.outShorts.data(), 32768.0f, 0.5f);
        });
    add(
        "Convert float -> double", size, n,
        [n](Buffers& b) { IPP::Convert(n, b.floats.data(), b.outDoubles.data()); },
        [n](Buffers& b) { bench::ScalarFloatToDouble(n, b.floats.data(), b.outDoubles.data()); });
    add(
        "Convert double -> float", size, n,
        [n](Buffers& b) { IPP::Convert(n, b.doubles.data(), b.outFloats.data()); },
        [n](Buffers& b) { bench::ScalarDoubleToFloat(n, b.doubles.data(), b.outFloats.data()); });
}

int const registered = (add("1,024", 1024), add("16M", 16u << 20), 0);

} // namespace
