// Preference store costs: a read from the process's cache, loading a domain from its file,
// and a synchronisation that writes (lock, re-read, temporary file, two fsyncs, rename).
#include <CoreFoundation/CoreFoundation.h>
#include <velmora/platform_testing.h>

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace {

std::string g_root;

// Points the store at a private folder for the whole run, removed at exit, and starts the
// domain afresh with keys k0..k<keys-1>.
CFStringRef FreshDomain(int keys) {
    if (g_root.empty()) {
        char const* tmp = std::getenv("TMPDIR");
        std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/velmora-bench-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            std::abort();
        g_root = pattern;
        ::setenv("VELMORA_PREFS_ROOT", g_root.c_str(), 1);
        std::atexit([] { std::filesystem::remove_all(g_root); });
    }
    std::filesystem::remove_all(g_root + "/user");
    VelmoraResetPreferencesForTesting();
    CFStringRef const domain = CFSTR("com.velmora.bench");
    for (int i = 0; i < keys; ++i) {
        std::string const name = "k" + std::to_string(i);
        CFStringRef key = CFStringCreateWithCString(nullptr, name.c_str(), kCFStringEncodingUTF8);
        CFNumberRef value = CFNumberCreate(nullptr, kCFNumberIntType, &i);
        CFPreferencesSetValue(key, value, domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        CFRelease(value);
        CFRelease(key);
    }
    if (!CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost))
        std::abort();
    return domain;
}

void BM_CopyValueFromCache(benchmark::State& state) {
    CFStringRef const domain = FreshDomain(100);
    for (auto _ : state) {
        CFPropertyListRef value = CFPreferencesCopyValue(
            CFSTR("k50"), domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        benchmark::DoNotOptimize(value);
        CFRelease(value);
    }
}
BENCHMARK(BM_CopyValueFromCache);

void BM_LoadDomainFromFile(benchmark::State& state) {
    CFStringRef const domain = FreshDomain(static_cast<int>(state.range(0)));
    for (auto _ : state) {
        VelmoraResetPreferencesForTesting();
        CFPropertyListRef value = CFPreferencesCopyValue(
            CFSTR("k0"), domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost);
        benchmark::DoNotOptimize(value);
        CFRelease(value);
    }
}
BENCHMARK(BM_LoadDomainFromFile)->Arg(10)->Arg(1000)->Arg(200000)->Unit(benchmark::kMillisecond);

// Setting K new keys and synchronising them at once: linear but for the sort of the keys, so
// 4x the keys should cost little more than 4x the time.
void BM_SynchronizeNewKeys(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(FreshDomain(static_cast<int>(state.range(0))));
}
BENCHMARK(BM_SynchronizeNewKeys)->Arg(50000)->Arg(200000)->Unit(benchmark::kMillisecond);

void BM_SynchronizeOneChange(benchmark::State& state) {
    CFStringRef const domain = FreshDomain(static_cast<int>(state.range(0)));
    int n = 0;
    for (auto _ : state) {
        CFNumberRef value = CFNumberCreate(nullptr, kCFNumberIntType, &n);
        CFPreferencesSetValue(CFSTR("k0"), value, domain, kCFPreferencesCurrentUser,
                              kCFPreferencesAnyHost);
        CFRelease(value);
        benchmark::DoNotOptimize(
            CFPreferencesSynchronize(domain, kCFPreferencesCurrentUser, kCFPreferencesAnyHost));
        ++n;
    }
}
BENCHMARK(BM_SynchronizeOneChange)->Arg(10)->Arg(1000)->Arg(200000)->Unit(benchmark::kMicrosecond);

} // namespace
