// The preference store: one key set and synchronised (written and fsynced), and a read from
// the process's cache, beside a small file written and fsynced by hand, QSettings and JUCE's
// PropertiesFile. Also the installer step end to end: velmora-install-host writing "Lang"
// into Tempest's three domains, beside three small files written and fsynced by a C loop.
#include "Util/ConfigFile.h"
#include "bench/bench_rows.h"

#if VELMORA_BENCH_QT
#include <QSettings>
#include <QString>
#include <QVariant>
#endif
#if VELMORA_BENCH_JUCE
#include <juce_data_structures/juce_data_structures.h>
#endif

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

extern char** environ;

namespace {

char const* const kSize = "1 key";

// The store lives in the run's scratch folder, set before the store is first used.
std::string const& PrefsRoot() {
    static std::string const root = [] {
        std::string r = bench::ScratchFolder() + "/prefs";
        ::setenv("VELMORA_PREFS_ROOT", r.c_str(), 1);
        return r;
    }();
    return root;
}

// What a careful program does by hand: the whole small file written, then fsynced.
void writeAndSync(std::string const& path, std::string const& text) {
    int const fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || ::write(fd, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::fsync(fd) != 0 || ::close(fd) != 0) {
        std::perror("bench: writing a file");
        std::exit(2);
    }
}

// The property list the store writes for one string key, so both write the same bytes.
std::string const kPlist = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                           "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                           "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                           "<plist version=\"1.0\">\n<dict>\n\t<key>Lang</key>\n"
                           "\t<string>ja</string>\n</dict>\n</plist>\n";

char const* language(benchmark::IterationCount i) {
    return i % 2 ? "ja" : "en";
}

void preferences() {
    bench::Row("Preferences set + sync", kSize, "velmora", [](benchmark::State& state) {
        PrefsRoot();
        Util::ConfigFile prefs("com.velmora.bench.sync");
        benchmark::IterationCount i = 0;
        for (auto _ : state) {
            prefs.SetString("Lang", language(++i));
            prefs.Synchronize();
        }
    });
    bench::Row("Preferences set + sync", kSize, "fsync", [](benchmark::State& state) {
        std::string const path = bench::ScratchFolder() + "/by-hand.plist";
        for (auto _ : state)
            writeAndSync(path, kPlist);
    });
    bench::Row("Preferences cached read", kSize, "velmora", [](benchmark::State& state) {
        PrefsRoot();
        Util::ConfigFile prefs("com.velmora.bench.read");
        prefs.SetString("Lang", "ja");
        prefs.Synchronize();
        for (auto _ : state)
            benchmark::DoNotOptimize(prefs.GetString("Lang", "en"));
    });
#if VELMORA_BENCH_QT
    bench::Row("Preferences set + sync", kSize, "qt", [](benchmark::State& state) {
        QSettings settings(QString::fromLocal8Bit((bench::ScratchFolder() + "/qt.ini").c_str()),
                           QSettings::IniFormat);
        benchmark::IterationCount i = 0;
        for (auto _ : state) {
            settings.setValue("Lang", language(++i));
            settings.sync();
        }
    });
    bench::Row("Preferences cached read", kSize, "qt", [](benchmark::State& state) {
        QSettings settings(
            QString::fromLocal8Bit((bench::ScratchFolder() + "/qt-read.ini").c_str()),
            QSettings::IniFormat);
        settings.setValue("Lang", "ja");
        settings.sync();
        for (auto _ : state)
            benchmark::DoNotOptimize(settings.value("Lang", "en").toString());
    });
#endif
#if VELMORA_BENCH_JUCE
    auto const options = [] {
        juce::PropertiesFile::Options o;
        o.millisecondsBeforeSaving = -1; // saved when asked, as the others are
        return o;
    };
    bench::Row("Preferences set + sync", kSize, "juce", [options](benchmark::State& state) {
        juce::PropertiesFile settings(juce::File(bench::ScratchFolder() + "/juce.xml"), options());
        benchmark::IterationCount i = 0;
        for (auto _ : state) {
            settings.setValue("Lang", language(++i));
            settings.saveIfNeeded();
        }
    });
    bench::Row("Preferences cached read", kSize, "juce", [options](benchmark::State& state) {
        juce::PropertiesFile settings(juce::File(bench::ScratchFolder() + "/juce-read.xml"),
                                      options());
        settings.setValue("Lang", "ja");
        settings.saveIfNeeded();
        for (auto _ : state)
            benchmark::DoNotOptimize(settings.getValue("Lang", "en"));
    });
#endif
}

#ifdef VELMORA_INSTALL_HOST
void installerStep() {
    bench::Row("Installer step", "Tempest, 3 domains", "velmora", [](benchmark::State& state) {
        PrefsRoot();
        benchmark::IterationCount i = 0;
        for (auto _ : state) {
            char const* const argv[] = {VELMORA_INSTALL_HOST, "--product",   "Tempest",
                                        "--language",         language(++i), nullptr};
            posix_spawn_file_actions_t actions;
            posix_spawn_file_actions_init(&actions);
            posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
            pid_t pid = 0;
            int status = 0;
            if (posix_spawn(&pid, argv[0], &actions, nullptr, const_cast<char**>(argv), environ) !=
                    0 ||
                ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
                WEXITSTATUS(status) != 0) {
                std::fprintf(stderr, "bench: %s failed\n", argv[0]);
                std::exit(2);
            }
            posix_spawn_file_actions_destroy(&actions);
        }
    });
    bench::Row("Installer step", "Tempest, 3 domains", "fsync", [](benchmark::State& state) {
        for (auto _ : state)
            for (char const* format : {"AU", "VST", "VST3"})
                writeAndSync(bench::ScratchFolder() + "/step." + format + ".plist", kPlist);
    });
}
#else
void installerStep() {}
#endif

int const registered = (preferences(), installerStep(), 0);

} // namespace
