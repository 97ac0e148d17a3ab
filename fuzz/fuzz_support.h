// Helpers shared by the fuzz targets: a check that stops the run where libFuzzer and the
// replay driver both see it, and a private preference store for the targets that write one.
#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

// Stops the process when cond is false. Active in every build type, unlike assert.
#define FUZZ_CHECK(cond)                                                                           \
    do {                                                                                           \
        if (!(cond)) {                                                                             \
            std::fprintf(stderr, "%s:%d: check failed: %s\n", __FILE__, __LINE__, #cond);          \
            std::abort();                                                                          \
        }                                                                                          \
    } while (0)

namespace velmora_fuzz {

// The store's root for this process: a fresh folder, on tmpfs when there is one so that the
// store's fsyncs stay cheap. Made on first use, removed at exit.
inline std::string const& PrefsRoot() {
    // Never freed: the exit handler below still needs it after static destructors have run.
    static std::string const* const root = [] {
        char const* tmp = std::getenv("TMPDIR");
        std::string base = tmp != nullptr && tmp[0] == '/' ? tmp : "";
        if (base.empty())
            base = ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::string path = base + "/velmora-fuzz-XXXXXX";
        if (::mkdtemp(&path[0]) == nullptr) {
            std::perror("velmora fuzz: mkdtemp");
            std::abort();
        }
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(PrefsRoot(), ignored);
        });
        return new std::string(path);
    }();
    return *root;
}

// Points the preference store at PrefsRoot() and switches alerts off. Call before the first
// preference call of the process.
inline void UsePrivatePrefsRoot() {
    ::setenv("VELMORA_PREFS_ROOT", PrefsRoot().c_str(), 1);
    ::setenv("VELMORA_ALERTS", "none", 1);
    ::unsetenv("VELMORA_ALERT_LOG");
    ::unsetenv("VELMORA_ALERT_RESOURCES");
}

// Removes everything an input left below the root.
inline void ClearPrefsRoot() {
    std::error_code ignored;
    for (auto const& entry : std::filesystem::directory_iterator(PrefsRoot(), ignored))
        std::filesystem::remove_all(entry.path(), ignored);
}

} // namespace velmora_fuzz
