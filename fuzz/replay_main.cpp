// Runs a fuzz target's LLVMFuzzerTestOneInput once on every file named on the command line or
// found in a folder named there, without libFuzzer, so that any compiler builds it and the
// test suite replays the seed corpora and the saved crash inputs. A missing folder counts as
// empty: a target may have no regression inputs yet.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

bool runFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        std::fprintf(stderr, "replay: cannot read %s\n", path.c_str());
        return false;
    }
    std::string const bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // A buffer of exactly the input's size, as libFuzzer gives, so that the sanitizers catch a
    // read past its end.
    std::unique_ptr<std::uint8_t[]> const input(new std::uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), input.get());
    std::fprintf(stderr, "replay: %s (%zu bytes)\n", path.c_str(), bytes.size());
    LLVMFuzzerTestOneInput(input.get(), bytes.size());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    if (LLVMFuzzerInitialize != nullptr)
        LLVMFuzzerInitialize(&argc, &argv);
    namespace fs = std::filesystem;
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code error;
        std::vector<std::string> files;
        if (fs::is_directory(argv[i], error)) {
            for (auto const& entry : fs::directory_iterator(argv[i], error))
                if (entry.is_regular_file(error))
                    files.push_back(entry.path().string());
            std::sort(files.begin(), files.end());
        } else if (fs::exists(argv[i], error)) {
            files.push_back(argv[i]);
        }
        for (auto const& file : files) {
            if (!runFile(file))
                return 1;
            ++count;
        }
    }
    std::fprintf(stderr, "replay: %zu inputs passed\n", count);
    return 0;
}
