#include "bench/bench_rows.h"

#include <unistd.h>

#include <filesystem>

namespace bench {

std::string const& ScratchFolder() {
    // Never destroyed: the exit handler below still needs it after static destruction began.
    static std::string const* const folder = [] {
        char const* tmp = std::getenv("TMPDIR");
        std::string pattern =
            std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/velmora-bench-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::perror("bench: mkdtemp");
            std::exit(2);
        }
        std::atexit([] {
            std::error_code ignored;
            std::filesystem::remove_all(ScratchFolder(), ignored);
        });
        return new std::string(pattern);
    }();
    return *folder;
}

} // namespace bench
