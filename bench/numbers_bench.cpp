// Number formatting and parsing over 200,000 values, beside the C library, Qt and JUCE. Every
// implementation makes and drops its own text or number per value.
#include "bench/bench_rows.h"
#include "common/common_string.h"

#if VELMORA_BENCH_QT
#include <QByteArray>
#include <QString>
#endif
#if VELMORA_BENCH_JUCE
#include <juce_core/juce_core.h>
#endif

#include <cinttypes>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

std::size_t const kValues = 200000;
char const* const kSize = "200,000";

// Integers of every length: a random bit count, then random bits, then a random sign.
std::vector<int> const& Ints() {
    static std::vector<int> const values = [] {
        std::vector<int> v(kValues);
        for (int& x : v) {
            unsigned int const bits = static_cast<unsigned int>(bench::Random()() % 32);
            std::int64_t const magnitude =
                static_cast<std::int64_t>(bench::Random()() >> (64 - bits));
            x = static_cast<int>(bench::Random()() % 2 ? -magnitude : magnitude);
        }
        return v;
    }();
    return values;
}

// Doubles from 0.001 to a million of either sign, as settings and measurements are.
std::vector<double> const& Doubles() {
    static std::vector<double> const values = [] {
        std::uniform_real_distribution<double> mantissa(-1.0, 1.0);
        std::uniform_int_distribution<int> exponent(-3, 6);
        std::vector<double> v(kValues);
        for (double& x : v)
            x = mantissa(bench::Random()) * std::pow(10.0, exponent(bench::Random()));
        return v;
    }();
    return values;
}

template <typename Value>
std::vector<std::string> printed(std::vector<Value> const& values, char const* format) {
    std::vector<std::string> texts;
    for (Value v : values) {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, format, v);
        texts.emplace_back(buffer);
    }
    return texts;
}

std::vector<std::string> const& IntTexts() {
    static std::vector<std::string> const texts = printed(Ints(), "%d");
    return texts;
}
// ToInt64 takes 0 to 4294967295 (and "-0").
std::vector<std::string> const& Int64Texts() {
    static std::vector<std::string> const texts = [] {
        std::vector<std::uint64_t> v(kValues);
        for (std::uint64_t& x : v)
            x = bench::Random()() >> (32 + bench::Random()() % 32);
        return printed(v, "%" PRIu64);
    }();
    return texts;
}
std::vector<std::string> const& DoubleTexts() {
    static std::vector<std::string> const texts = printed(Doubles(), "%f");
    return texts;
}

template <typename Text, typename Make>
std::vector<Text> converted(std::vector<std::string> const& texts, Make make) {
    std::vector<Text> out;
    out.reserve(texts.size());
    for (std::string const& t : texts)
        out.push_back(make(t));
    return out;
}

void countValues(benchmark::State& state) {
    bench::CountItems(state, static_cast<std::int64_t>(kValues));
}

// --- Formatting -----------------------------------------------------------------------------

void formatting() {
    bench::Row("Number(int)", kSize, "velmora", [](benchmark::State& state) {
        if (String::Number(-123456) != "-123456")
            bench::Mismatch("Number(int)");
        Ints();
        for (auto _ : state)
            for (int v : Ints())
                benchmark::DoNotOptimize(String::Number(v));
        countValues(state);
    });
    bench::Row("Number(int)", kSize, "libc", [](benchmark::State& state) {
        Ints(); // made before the clock runs
        for (auto _ : state)
            for (int v : Ints()) {
                char buffer[16];
                benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, "%d", v));
                benchmark::ClobberMemory();
            }
        countValues(state);
    });
    bench::Row("Number(double)", kSize, "velmora", [](benchmark::State& state) {
        Doubles();
        for (auto _ : state)
            for (double v : Doubles())
                benchmark::DoNotOptimize(String::Number(v));
        countValues(state);
    });
    bench::Row("Number(double)", kSize, "libc", [](benchmark::State& state) {
        Doubles();
        for (auto _ : state)
            for (double v : Doubles()) {
                char buffer[64];
                benchmark::DoNotOptimize(std::snprintf(buffer, sizeof buffer, "%f", v));
                benchmark::ClobberMemory();
            }
        countValues(state);
    });
#if VELMORA_BENCH_QT
    bench::Row("Number(int)", kSize, "qt", [](benchmark::State& state) {
        Ints(); // made before the clock runs
        for (auto _ : state)
            for (int v : Ints())
                benchmark::DoNotOptimize(QString::number(v));
        countValues(state);
    });
    bench::Row("Number(int)", kSize, "qt-bytes", [](benchmark::State& state) {
        Ints(); // made before the clock runs
        for (auto _ : state)
            for (int v : Ints())
                benchmark::DoNotOptimize(QByteArray::number(v));
        countValues(state);
    });
    bench::Row("Number(double)", kSize, "qt", [](benchmark::State& state) {
        Doubles();
        for (auto _ : state)
            for (double v : Doubles())
                benchmark::DoNotOptimize(QString::number(v, 'f', 6));
        countValues(state);
    });
    bench::Row("Number(double)", kSize, "qt-bytes", [](benchmark::State& state) {
        Doubles();
        for (auto _ : state)
            for (double v : Doubles())
                benchmark::DoNotOptimize(QByteArray::number(v, 'f', 6));
        countValues(state);
    });
#endif
#if VELMORA_BENCH_JUCE
    bench::Row("Number(int)", kSize, "juce", [](benchmark::State& state) {
        Ints(); // made before the clock runs
        for (auto _ : state)
            for (int v : Ints())
                benchmark::DoNotOptimize(juce::String(v));
        countValues(state);
    });
    bench::Row("Number(double)", kSize, "juce", [](benchmark::State& state) {
        Doubles();
        for (auto _ : state)
            for (double v : Doubles())
                benchmark::DoNotOptimize(juce::String(v, 6));
        countValues(state);
    });
#endif
}

// --- Parsing --------------------------------------------------------------------------------

// One parsing row: Velmora's parser and each peer's on the same texts; results must agree.
template <typename Velmora, typename Libc>
void parsing(char const* operation, std::vector<std::string> const& (*texts)(), Velmora velmora,
             Libc libc) {
    bench::Row(
        operation, kSize, "velmora", [operation, texts, velmora, libc](benchmark::State& state) {
            std::vector<String> const in =
                converted<String>(texts(), [](std::string const& t) { return String(t.c_str()); });
            for (std::size_t i = 0; i < in.size(); ++i)
                if (velmora(in[i]) != libc(texts()[i].c_str()))
                    bench::Mismatch(operation);
            for (auto _ : state)
                for (String const& t : in)
                    benchmark::DoNotOptimize(velmora(t));
            countValues(state);
        });
    bench::Row(operation, kSize, "libc", [texts, libc](benchmark::State& state) {
        texts();
        for (auto _ : state)
            for (std::string const& t : texts())
                benchmark::DoNotOptimize(libc(t.c_str()));
        countValues(state);
    });
}

void parsing() {
    parsing(
        "ToInt", IntTexts, [](String const& s) { return s.ToInt(); },
        [](char const* s) { return static_cast<int>(std::strtol(s, nullptr, 10)); });
    parsing(
        "ToInt64", Int64Texts, [](String const& s) { return static_cast<long long>(s.ToInt64()); },
        // ToInt64 gives the low 32 bits, sign-extended.
        [](char const* s) {
            return static_cast<long long>(static_cast<int>(std::strtoll(s, nullptr, 10)));
        });
    parsing(
        "ToDouble", DoubleTexts, [](String const& s) { return s.ToDouble(); },
        [](char const* s) { return std::strtod(s, nullptr); });
#if VELMORA_BENCH_QT
    bench::Row("ToInt", kSize, "qt", [](benchmark::State& state) {
        auto const in = converted<QString>(
            IntTexts(), [](std::string const& t) { return QString::fromLatin1(t.c_str()); });
        for (auto _ : state)
            for (QString const& t : in)
                benchmark::DoNotOptimize(t.toInt());
        countValues(state);
    });
    bench::Row("ToInt", kSize, "qt-bytes", [](benchmark::State& state) {
        auto const in = converted<QByteArray>(
            IntTexts(), [](std::string const& t) { return QByteArray(t.c_str()); });
        for (auto _ : state)
            for (QByteArray const& t : in)
                benchmark::DoNotOptimize(t.toInt());
        countValues(state);
    });
    bench::Row("ToInt64", kSize, "qt-bytes", [](benchmark::State& state) {
        auto const in = converted<QByteArray>(
            Int64Texts(), [](std::string const& t) { return QByteArray(t.c_str()); });
        for (auto _ : state)
            for (QByteArray const& t : in)
                benchmark::DoNotOptimize(t.toLongLong());
        countValues(state);
    });
    bench::Row("ToDouble", kSize, "qt-bytes", [](benchmark::State& state) {
        auto const in = converted<QByteArray>(
            DoubleTexts(), [](std::string const& t) { return QByteArray(t.c_str()); });
        for (auto _ : state)
            for (QByteArray const& t : in)
                benchmark::DoNotOptimize(t.toDouble());
        countValues(state);
    });
#endif
#if VELMORA_BENCH_JUCE
    bench::Row("ToInt", kSize, "juce", [](benchmark::State& state) {
        auto const in = converted<juce::String>(
            IntTexts(), [](std::string const& t) { return juce::String(t); });
        for (auto _ : state)
            for (juce::String const& t : in)
                benchmark::DoNotOptimize(t.getIntValue());
        countValues(state);
    });
    bench::Row("ToInt64", kSize, "juce", [](benchmark::State& state) {
        auto const in = converted<juce::String>(
            Int64Texts(), [](std::string const& t) { return juce::String(t); });
        for (auto _ : state)
            for (juce::String const& t : in)
                benchmark::DoNotOptimize(t.getLargeIntValue());
        countValues(state);
    });
    bench::Row("ToDouble", kSize, "juce", [](benchmark::State& state) {
        auto const in = converted<juce::String>(
            DoubleTexts(), [](std::string const& t) { return juce::String(t); });
        for (auto _ : state)
            for (juce::String const& t : in)
                benchmark::DoNotOptimize(t.getDoubleValue());
        countValues(state);
    });
#endif
}

int const registered = (formatting(), parsing(), 0);

} // namespace
