// Listing a folder of 20,000 or 100,000 files, all of them or those matching "*.wav", beside
// readdir with the same filter and a sort, Qt's QDir::entryList and JUCE's findChildFiles.
#include "Util/Dir.h"
#include "bench/bench_rows.h"

#if VELMORA_BENCH_QT
#include <QDir>
#include <QStringList>
#endif
#if VELMORA_BENCH_JUCE
#include <juce_core/juce_core.h>
#endif

#include <dirent.h>
#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

namespace {

// A folder of count files, half of them "take-NNNNNN.wav" and half "take-NNNNNN.txt", made
// once per run.
std::string const& Folder(std::size_t count) {
    static std::map<std::size_t, std::string> folders;
    std::string& folder = folders[count];
    if (folder.empty()) {
        folder = bench::ScratchFolder() + "/files-" + std::to_string(count);
        if (::mkdir(folder.c_str(), 0755) != 0) {
            std::perror("bench: mkdir");
            std::exit(2);
        }
        for (std::size_t i = 0; i < count; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "/take-%06zu.%s", i, i % 2 ? "txt" : "wav");
            int const fd = ::open((folder + name).c_str(), O_CREAT | O_WRONLY, 0644);
            if (fd < 0) {
                std::perror("bench: open");
                std::exit(2);
            }
            ::close(fd);
        }
    }
    return folder;
}

// readdir, the regular files whose names end in suffix without regard to case, sorted.
std::vector<std::string> readdirList(std::string const& folder, char const* suffix) {
    std::vector<std::string> names;
    std::size_t const suffixLength = std::strlen(suffix);
    DIR* const listing = ::opendir(folder.c_str());
    while (dirent const* entry = ::readdir(listing)) {
        bool regular = entry->d_type == DT_REG;
        if (entry->d_type == DT_UNKNOWN || entry->d_type == DT_LNK) {
            struct stat st;
            regular =
                ::stat((folder + "/" + entry->d_name).c_str(), &st) == 0 && S_ISREG(st.st_mode);
        }
        std::size_t const length = std::strlen(entry->d_name);
        if (regular && length >= suffixLength &&
            ::strcasecmp(entry->d_name + length - suffixLength, suffix) == 0)
            names.emplace_back(entry->d_name, length);
    }
    ::closedir(listing);
    std::sort(names.begin(), names.end());
    return names;
}

void add(std::size_t count, bool filtered) {
    std::string const size = std::to_string(count / 1000) + "k files" + (filtered ? ", *.wav" : "");
    char const* const filter = filtered ? "*.wav" : "";
    char const* const suffix = filtered ? ".wav" : "";
    std::size_t const expected = filtered ? count / 2 : count;
    bench::Row("Dir::GetFilenames", size, "velmora", [=](benchmark::State& state) {
        Util::Dir dir(FolderPath(String(Folder(count).c_str())));
        std::vector<String> names;
        dir.GetFilenames(names, filter, false);
        if (names.size() != expected)
            bench::Mismatch("Dir::GetFilenames");
        for (auto _ : state) {
            dir.GetFilenames(names, filter, false);
            benchmark::DoNotOptimize(names.data());
        }
        bench::CountItems(state, static_cast<std::int64_t>(count));
    });
    bench::Row("Dir::GetFilenames", size, "libc", [=](benchmark::State& state) {
        for (auto _ : state)
            benchmark::DoNotOptimize(readdirList(Folder(count), suffix));
        bench::CountItems(state, static_cast<std::int64_t>(count));
    });
#if VELMORA_BENCH_QT
    bench::Row("Dir::GetFilenames", size, "qt", [=](benchmark::State& state) {
        QDir const dir(QString::fromLocal8Bit(Folder(count).c_str()));
        QStringList const filters = filtered ? QStringList{"*.wav"} : QStringList{};
        if (static_cast<std::size_t>(dir.entryList(filters, QDir::Files, QDir::Name).size()) !=
            expected)
            bench::Mismatch("QDir::entryList");
        for (auto _ : state)
            benchmark::DoNotOptimize(dir.entryList(filters, QDir::Files, QDir::Name));
        bench::CountItems(state, static_cast<std::int64_t>(count));
    });
#endif
#if VELMORA_BENCH_JUCE
    bench::Row("Dir::GetFilenames", size, "juce", [=](benchmark::State& state) {
        juce::File const dir(Folder(count));
        char const* const wildcard = filtered ? "*.wav" : "*";
        for (auto _ : state)
            benchmark::DoNotOptimize(dir.findChildFiles(juce::File::findFiles, false, wildcard));
        bench::CountItems(state, static_cast<std::int64_t>(count));
    });
#endif
}

int const registered =
    (add(20000, false), add(20000, true), add(100000, false), add(100000, true), 0);

} // namespace
