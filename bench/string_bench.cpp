// String operations beside their std::string / <charconv> equivalents on the same inputs.
#include "common/common_path.h"
#include "common/common_string.h"

#include <benchmark/benchmark.h>

#include <charconv>
#include <cstring>
#include <string>
#include <vector>

namespace {

// Words of a few letters separated by single spaces, then "quixotic", the only word with a
// "q", so that the searches below scan the whole text.
std::string wordText(std::size_t length) {
    std::string s;
    s.reserve(length + 8);
    char const* const words[] = {"alpha", "be", "gamma", "d", "epsilon", "zeta", "eta"};
    for (std::size_t i = 0; s.size() < length; ++i) {
        s += words[i % 7];
        s += ' ';
    }
    s += "quixotic";
    return s;
}

// --- Find ---------------------------------------------------------------------------------

void BM_Find_Char_String(benchmark::State& state) {
    String const s(wordText(static_cast<std::size_t>(state.range(0))).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.Find('q', 0, true));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Find_Char_Std(benchmark::State& state) {
    std::string const s = wordText(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find('q'));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Find_CharNoCase_String(benchmark::State& state) {
    String const s(wordText(static_cast<std::size_t>(state.range(0))).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.Find('Q', 0, false));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Find_Text_String(benchmark::State& state) {
    String const s(wordText(static_cast<std::size_t>(state.range(0))).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.Find("quixotic", 0, true));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_Find_Text_Std(benchmark::State& state) {
    std::string const s = wordText(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(s.find("quixotic"));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

// The hard case for a naive search: text "aaa...a" and a pattern of half its length ending in
// "b", in either case, so that every position matches almost to the end of the pattern.
void BM_Find_HalfPattern(benchmark::State& state) {
    auto const n = static_cast<std::size_t>(state.range(0));
    String const s(std::string(n, 'a').c_str());
    std::string const pattern = std::string(n / 2, 'A') + "b";
    bool const caseSensitive = state.range(1) != 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(s.Find(pattern.c_str(), 0, caseSensitive));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Find_HalfPattern)
    ->ArgsProduct({{64 << 10, 1 << 20}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Find_Char_String)->Arg(64)->Arg(4096);
BENCHMARK(BM_Find_Char_Std)->Arg(64)->Arg(4096);
BENCHMARK(BM_Find_CharNoCase_String)->Arg(64)->Arg(4096);
BENCHMARK(BM_Find_Text_String)->Arg(64)->Arg(4096);
BENCHMARK(BM_Find_Text_Std)->Arg(64)->Arg(4096);

// --- Replace ------------------------------------------------------------------------------

// The obvious std::string replacement: find, append, repeat.
std::string stdReplace(std::string const& s, std::string const& what, std::string const& with) {
    std::string out;
    out.reserve(s.size());
    std::size_t done = 0;
    for (std::size_t hit; (hit = s.find(what, done)) != std::string::npos; done = hit + what.size())
        out.append(s, done, hit - done).append(with);
    out.append(s, done, std::string::npos);
    return out;
}

void BM_Replace_String(benchmark::State& state) {
    String const s(wordText(static_cast<std::size_t>(state.range(0))).c_str());
    String const what("gamma");
    String const with("GAMMA-RAY");
    for (auto _ : state)
        benchmark::DoNotOptimize(s.Replace(what, with));
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

void BM_Replace_Std(benchmark::State& state) {
    std::string const s = wordText(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state)
        benchmark::DoNotOptimize(stdReplace(s, "gamma", "GAMMA-RAY"));
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Replace_String)->RangeMultiplier(4)->Range(256, 65536)->Complexity(benchmark::oN);
BENCHMARK(BM_Replace_Std)->Arg(256)->Arg(4096)->Arg(65536);

// --- Split --------------------------------------------------------------------------------

std::string csvLine(std::size_t fields) {
    std::string s;
    for (std::size_t i = 0; i < fields; ++i) {
        if (i != 0)
            s += ',';
        s += (i % 5 == 4) ? "" : "field" + std::to_string(i);
    }
    return s;
}

void BM_Split_String(benchmark::State& state) {
    String const s(csvLine(static_cast<std::size_t>(state.range(0))).c_str());
    std::vector<String> out;
    for (auto _ : state) {
        s.Split(',', out);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void BM_Split_Std(benchmark::State& state) {
    std::string const s = csvLine(static_cast<std::size_t>(state.range(0)));
    std::vector<std::string> out;
    for (auto _ : state) {
        out.clear();
        std::size_t start = 0;
        for (std::size_t hit; (hit = s.find(',', start)) != std::string::npos; start = hit + 1)
            out.emplace_back(s, start, hit - start);
        out.emplace_back(s, start, std::string::npos);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_Split_String)->Arg(8)->Arg(256);
BENCHMARK(BM_Split_Std)->Arg(8)->Arg(256);

// --- SimplifyWhiteSpace -------------------------------------------------------------------

std::string spacedText(std::size_t length) {
    std::string s = "  ";
    for (std::size_t i = 0; s.size() < length; ++i)
        s += (i % 3 == 0) ? "word \t\n " : "x  ";
    return s;
}

void BM_SimplifyWhiteSpace_String(benchmark::State& state) {
    String const s(spacedText(static_cast<std::size_t>(state.range(0))).c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(s.SimplifyWhiteSpace());
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

void BM_SimplifyWhiteSpace_Std(benchmark::State& state) {
    std::string const s = spacedText(static_cast<std::size_t>(state.range(0)));
    auto white = [](unsigned char c) { return c == ' ' || (c >= 9 && c <= 13) || c == 0xA0; };
    for (auto _ : state) {
        std::string out;
        out.reserve(s.size());
        bool pending = false;
        for (char c : s) {
            if (white(static_cast<unsigned char>(c))) {
                pending = !out.empty();
            } else {
                if (pending)
                    out += ' ';
                pending = false;
                out += c;
            }
        }
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

BENCHMARK(BM_SimplifyWhiteSpace_String)->Arg(64)->Arg(4096);
BENCHMARK(BM_SimplifyWhiteSpace_Std)->Arg(64)->Arg(4096);

// --- ToInt --------------------------------------------------------------------------------

char const* const kIntTexts[] = {"0",      "7",           "-12",        "4096",
                                 "123456", "-2147483648", "2147483647", "99"};

void BM_ToInt_String(benchmark::State& state) {
    std::vector<String> texts(std::begin(kIntTexts), std::end(kIntTexts));
    for (auto _ : state) {
        for (String const& t : texts) {
            bool ok = false;
            benchmark::DoNotOptimize(t.ToInt(&ok, 10));
            benchmark::DoNotOptimize(ok);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(texts.size()));
}

void BM_ToInt_FromChars(benchmark::State& state) {
    std::vector<std::string> texts(std::begin(kIntTexts), std::end(kIntTexts));
    for (auto _ : state) {
        for (std::string const& t : texts) {
            int value = 0;
            auto const r = std::from_chars(t.data(), t.data() + t.size(), value, 10);
            benchmark::DoNotOptimize(value);
            benchmark::DoNotOptimize(r.ec);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(texts.size()));
}

BENCHMARK(BM_ToInt_String);
BENCHMARK(BM_ToInt_FromChars);

// --- Number -------------------------------------------------------------------------------

int const kInts[] = {0, 7, -12, 4096, 123456, -2147483647 - 1, 2147483647, 99};

void BM_Number_String(benchmark::State& state) {
    unsigned int const base = static_cast<unsigned int>(state.range(0));
    for (auto _ : state) {
        for (int v : kInts)
            benchmark::DoNotOptimize(String::Number(v, base));
    }
    state.SetItemsProcessed(state.iterations() * 8);
}

// to_chars into a buffer, then a std::string of the result: the same work Number does.
void BM_Number_ToChars(benchmark::State& state) {
    int const base = static_cast<int>(state.range(0));
    for (auto _ : state) {
        for (int v : kInts) {
            char buffer[40];
            auto const r = std::to_chars(buffer, buffer + sizeof buffer, v, base);
            benchmark::DoNotOptimize(std::string(buffer, r.ptr));
        }
    }
    state.SetItemsProcessed(state.iterations() * 8);
}

void BM_Number_LongLong_String(benchmark::State& state) {
    for (auto _ : state) {
        for (int v : kInts)
            benchmark::DoNotOptimize(String::Number(static_cast<long long>(v) * 1000003, 10));
    }
    state.SetItemsProcessed(state.iterations() * 8);
}

void BM_Number_Double_String(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(String::Number(3.14159265, 4, 'f'));
}

void BM_Number_Double_ToChars(benchmark::State& state) {
    for (auto _ : state) {
        char buffer[64];
        auto const r =
            std::to_chars(buffer, buffer + sizeof buffer, 3.14159265, std::chars_format::fixed, 4);
        benchmark::DoNotOptimize(std::string(buffer, r.ptr));
    }
}

BENCHMARK(BM_Number_String)->Arg(10)->Arg(16);
BENCHMARK(BM_Number_ToChars)->Arg(10)->Arg(16);
BENCHMARK(BM_Number_LongLong_String);
BENCHMARK(BM_Number_Double_String);
BENCHMARK(BM_Number_Double_ToChars);

// --- Arg ----------------------------------------------------------------------------------

void BM_Arg_String(benchmark::State& state) {
    String const pattern("Could not open the file \"%1\" (error %2).");
    String const path("/Library/Audio/Plug-Ins/Components/Example.component");
    for (auto _ : state)
        benchmark::DoNotOptimize(pattern.Arg(path).Arg(-43));
}

// The same message built by hand with std::string and to_chars.
void BM_Arg_Std(benchmark::State& state) {
    std::string const pattern("Could not open the file \"%1\" (error %2).");
    std::string const path("/Library/Audio/Plug-Ins/Components/Example.component");
    for (auto _ : state) {
        std::string s = pattern;
        s.replace(s.find("%1"), 2, path);
        char buffer[16];
        auto const r = std::to_chars(buffer, buffer + sizeof buffer, -43);
        s.replace(s.find("%2"), 2, buffer, static_cast<std::size_t>(r.ptr - buffer));
        benchmark::DoNotOptimize(s);
    }
}

// One long template: the cost must grow with its length, not its square.
void BM_Arg_LongTemplate_String(benchmark::State& state) {
    std::string const body = wordText(static_cast<std::size_t>(state.range(0)));
    String const pattern((body + " %1").c_str());
    for (auto _ : state)
        benchmark::DoNotOptimize(pattern.Arg("x"));
    state.SetBytesProcessed(state.iterations() * state.range(0));
    state.SetComplexityN(state.range(0));
}

BENCHMARK(BM_Arg_String);
BENCHMARK(BM_Arg_Std);
BENCHMARK(BM_Arg_LongTemplate_String)
    ->RangeMultiplier(4)
    ->Range(256, 65536)
    ->Complexity(benchmark::oN);

// --- Paths --------------------------------------------------------------------------------

// Cleaning and comparing a path of n "a/../" pairs: every pair is removed, so a cleaner that
// shifts what follows after each removal takes quadratic time.
void BM_PathCleaning(benchmark::State& state) {
    std::string text = "/";
    while (text.size() < static_cast<std::size_t>(state.range(0)))
        text += "a/../";
    FolderPath const path(String(text.c_str()));
    FolderPath const same(String((text + "b/..").c_str()));
    for (auto _ : state) {
        benchmark::DoNotOptimize(path.ToString());
        benchmark::DoNotOptimize(path == same);
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_PathCleaning)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
