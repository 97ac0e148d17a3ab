// Text operations on 1 MiB and 16 MiB of words, beside a plain std::string loop doing the
// same work, Qt's QString and QByteArray, and juce::String. Each row checks at set-up that
// every implementation gives the same result as Velmora.
#include "bench/bench_rows.h"
#include "common/common_path.h"
#include "common/common_string.h"

#if VELMORA_BENCH_QT
#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#endif
#if VELMORA_BENCH_JUCE
#include <juce_core/juce_core.h>
#endif

#include <cstring>
#include <map>
#include <vector>

namespace {

// Words of a few letters separated by a space, now and then by a tab and two spaces, then
// "%1 quixotic": the only marker, and the only "q", so that searches scan the whole text.
std::string const& Text(std::size_t length) {
    static std::map<std::size_t, std::string> texts;
    std::string& s = texts[length];
    if (s.empty()) {
        char const* const words[] = {"alpha", "be", "gamma", "d", "epsilon", "zeta", "eta"};
        s.reserve(length + 16);
        for (std::size_t i = 0; s.size() + 12 < length; ++i) {
            s += words[i % 7];
            s += i % 13 == 0 ? "\t  " : " ";
        }
        s.resize(length - 11, ' ');
        s += "%1 quixotic";
    }
    return s;
}

bool isWhite(char c) {
    return (c >= 0x09 && c <= 0x0D) || c == ' ' || static_cast<unsigned char>(c) == 0xA0;
}

// The plain loops: what a developer writes with std::string alone.
std::string stdReplace(std::string const& s, std::string const& what, std::string const& with) {
    std::string out;
    out.reserve(s.size());
    std::size_t done = 0;
    for (std::size_t hit; (hit = s.find(what, done)) != std::string::npos; done = hit + what.size())
        out.append(s, done, hit - done).append(with);
    return out.append(s, done, std::string::npos);
}
std::string stdArg(std::string const& s, std::string const& a) {
    std::size_t const at = s.find("%1");
    return std::string(s, 0, at).append(a).append(s, at + 2, std::string::npos);
}
std::vector<std::string> stdSplit(std::string const& s, char sep) {
    std::vector<std::string> fields;
    std::size_t start = 0;
    for (std::size_t at; (at = s.find(sep, start)) != std::string::npos; start = at + 1)
        fields.emplace_back(s, start, at - start);
    fields.emplace_back(s, start, std::string::npos);
    return fields;
}
std::string stdSimplify(std::string const& s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size();) {
        if (isWhite(s[i])) {
            while (i < s.size() && isWhite(s[i]))
                ++i;
            if (!out.empty() && i < s.size())
                out += ' ';
        } else {
            out += s[i++];
        }
    }
    return out;
}

String const& Velmora(std::size_t length) {
    static std::map<std::size_t, String> texts;
    String& s = texts[length];
    if (s.GetLength() == 0)
        s = String(Text(length).c_str());
    return s;
}

template <typename Result, typename Function>
void timed(benchmark::State& state, std::size_t length, Function function) {
    for (auto _ : state) {
        Result result = function();
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(length));
}

void add(char const* size, std::size_t n) {
    // Velmora, each checked against the plain loop once.
    bench::Row("Replace", size, "velmora", [n](benchmark::State& state) {
        String const& s = Velmora(n);
        if (std::string(s.Replace("gamma", "GAMMA-RAY").Latin1()) !=
            stdReplace(Text(n), "gamma", "GAMMA-RAY"))
            bench::Mismatch("Replace");
        timed<String>(state, n, [&] { return s.Replace("gamma", "GAMMA-RAY"); });
    });
    bench::Row("Arg", size, "velmora", [n](benchmark::State& state) {
        String const& s = Velmora(n);
        if (std::string(s.Arg("pianissimo").Latin1()) != stdArg(Text(n), "pianissimo"))
            bench::Mismatch("Arg");
        timed<String>(state, n, [&] { return s.Arg("pianissimo"); });
    });
    bench::Row("Split", size, "velmora", [n](benchmark::State& state) {
        String const& s = Velmora(n);
        std::vector<String> fields;
        s.Split(' ', fields);
        if (fields.size() != stdSplit(Text(n), ' ').size())
            bench::Mismatch("Split");
        timed<std::vector<String>>(state, n, [&] {
            std::vector<String> out;
            s.Split(' ', out);
            return out;
        });
    });
    bench::Row("SimplifyWhiteSpace", size, "velmora", [n](benchmark::State& state) {
        String const& s = Velmora(n);
        if (std::string(s.SimplifyWhiteSpace().Latin1()) != stdSimplify(Text(n)))
            bench::Mismatch("SimplifyWhiteSpace");
        timed<String>(state, n, [&] { return s.SimplifyWhiteSpace(); });
    });
    bench::Row("Find", size, "velmora", [n](benchmark::State& state) {
        String const& s = Velmora(n);
        if (s.Find("quixotic", 0, true).GetValue() != Text(n).find("quixotic"))
            bench::Mismatch("Find");
        timed<checked_value<unsigned int>>(state, n, [&] { return s.Find("quixotic", 0, true); });
    });
    // The case-insensitive search of a pattern half as long as the text, which only matches
    // at the end: "aa..ab" in "aa..aab"; case-sensitive beside it.
    for (bool caseSensitive : {false, true}) {
        bench::Row("Find half-text pattern", size, caseSensitive ? "case-sensitive" : "velmora",
                   [n, caseSensitive](benchmark::State& state) {
                       std::string text(n - 1, 'a');
                       text += 'b';
                       String const s(text.c_str());
                       std::string const pattern = text.substr(n / 2);
                       timed<checked_value<unsigned int>>(
                           state, n, [&] { return s.Find(pattern.c_str(), 0, caseSensitive); });
                   });
    }

    // The plain loops.
    bench::Row("Replace", size, "std", [n](benchmark::State& state) {
        timed<std::string>(state, n, [&] { return stdReplace(Text(n), "gamma", "GAMMA-RAY"); });
    });
    bench::Row("Arg", size, "std", [n](benchmark::State& state) {
        timed<std::string>(state, n, [&] { return stdArg(Text(n), "pianissimo"); });
    });
    bench::Row("Split", size, "std", [n](benchmark::State& state) {
        timed<std::vector<std::string>>(state, n, [&] { return stdSplit(Text(n), ' '); });
    });
    bench::Row("SimplifyWhiteSpace", size, "std", [n](benchmark::State& state) {
        timed<std::string>(state, n, [&] { return stdSimplify(Text(n)); });
    });
    bench::Row("Find", size, "std", [n](benchmark::State& state) {
        timed<std::size_t>(state, n, [&] { return Text(n).find("quixotic"); });
    });

#if VELMORA_BENCH_QT
    bench::Row("Replace", size, "qt", [n](benchmark::State& state) {
        QString const s = QString::fromLatin1(Text(n).c_str());
        timed<QString>(state, n, [&] { return QString(s).replace("gamma", "GAMMA-RAY"); });
    });
    bench::Row("Replace", size, "qt-bytes", [n](benchmark::State& state) {
        QByteArray const s(Text(n).c_str());
        timed<QByteArray>(state, n, [&] { return QByteArray(s).replace("gamma", "GAMMA-RAY"); });
    });
    bench::Row("Arg", size, "qt", [n](benchmark::State& state) {
        QString const s = QString::fromLatin1(Text(n).c_str());
        timed<QString>(state, n, [&] { return s.arg("pianissimo"); });
    });
    bench::Row("Split", size, "qt", [n](benchmark::State& state) {
        QString const s = QString::fromLatin1(Text(n).c_str());
        timed<QStringList>(state, n, [&] { return s.split(' '); });
    });
    bench::Row("Split", size, "qt-bytes", [n](benchmark::State& state) {
        QByteArray const s(Text(n).c_str());
        timed<QList<QByteArray>>(state, n, [&] { return s.split(' '); });
    });
    bench::Row("SimplifyWhiteSpace", size, "qt", [n](benchmark::State& state) {
        QString const s = QString::fromLatin1(Text(n).c_str());
        timed<QString>(state, n, [&] { return s.simplified(); });
    });
    bench::Row("SimplifyWhiteSpace", size, "qt-bytes", [n](benchmark::State& state) {
        QByteArray const s(Text(n).c_str());
        timed<QByteArray>(state, n, [&] { return s.simplified(); });
    });
    bench::Row("Find", size, "qt", [n](benchmark::State& state) {
        QString const s = QString::fromLatin1(Text(n).c_str());
        timed<int>(state, n, [&] { return s.indexOf(QLatin1String("quixotic")); });
    });
    bench::Row("Find", size, "qt-bytes", [n](benchmark::State& state) {
        QByteArray const s(Text(n).c_str());
        timed<int>(state, n, [&] { return s.indexOf("quixotic"); });
    });
#endif
#if VELMORA_BENCH_JUCE
    // juce::String::replace takes quadratic time (14 s for 1 MiB here): measured once, at
    // 1 MiB only.
    if (n <= (1u << 20))
        bench::Row("Replace", size, "juce",
                   [n](benchmark::State& state) {
                       juce::String const s(Text(n));
                       timed<juce::String>(state, n,
                                           [&] { return s.replace("gamma", "GAMMA-RAY"); });
                   })
            ->Iterations(1)
            ->Repetitions(1);
    bench::Row("Arg", size, "juce", [n](benchmark::State& state) {
        juce::String const s(Text(n));
        timed<juce::String>(state, n,
                            [&] { return s.replaceFirstOccurrenceOf("%1", "pianissimo"); });
    });
    bench::Row("Split", size, "juce", [n](benchmark::State& state) {
        juce::String const s(Text(n));
        timed<juce::StringArray>(state, n, [&] {
            juce::StringArray fields;
            fields.addTokens(s, " ", "");
            return fields;
        });
    });
    bench::Row("Find", size, "juce", [n](benchmark::State& state) {
        juce::String const s(Text(n));
        timed<int>(state, n, [&] { return s.indexOf("quixotic"); });
    });
#endif
}

// Cleaning and comparing a path of "a/../" pairs: every pair is removed, so a cleaner that
// shifts what follows after each removal takes quadratic time.
void pathCleaning() {
    bench::Row("Path cleaning (ToString, ==)", "100,000 characters", "velmora",
               [](benchmark::State& state) {
                   std::string text = "/";
                   while (text.size() < 100000)
                       text += "a/../";
                   FolderPath const path(String(text.c_str()));
                   FolderPath const same(String((text + "b/..").c_str()));
                   for (auto _ : state) {
                       benchmark::DoNotOptimize(path.ToString());
                       benchmark::DoNotOptimize(path == same);
                   }
               });
}

int const registered = (pathCleaning(), add("1 MiB", 1u << 20), add("16 MiB", 16u << 20), 0);

} // namespace
