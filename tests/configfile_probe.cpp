// Reads a preference domain through Util::ConfigFile in a process of its own, so the tests see
// what reached the files rather than a cache.
//
//   velmora_configfile_probe DOMAIN KIND:KEY...
//
// prints one line per KIND:KEY: string (default "(default)"), int, uint, float (default 0),
// bool (default false) or binary (hex bytes). Exits 0, or 2 for bad usage.
#include "Util/ConfigFile.h"

#include <cstdio>
#include <cstring>

int main(int argc, char** argv) {
    if (argc < 2)
        return 2;
    Util::ConfigFile const store(argv[1]);
    for (int i = 2; i < argc; ++i) {
        char const* colon = std::strchr(argv[i], ':');
        if (colon == nullptr)
            return 2;
        String const kind(argv[i], static_cast<unsigned int>(colon - argv[i]));
        String const key(colon + 1);
        std::vector<unsigned char> bytes;
        if (kind == "string")
            std::printf("%s\n", store.GetString(key, "(default)").Latin1());
        else if (kind == "int")
            std::printf("%d\n", store.GetInt(key, 0));
        else if (kind == "uint")
            std::printf("%u\n", store.GetUInt(key, 0));
        else if (kind == "float")
            std::printf("%g\n", static_cast<double>(store.GetFloat(key, 0.0f)));
        else if (kind == "bool")
            std::printf("%s\n", store.GetBool(key, false) ? "true" : "false");
        else if (kind == "binary") {
            store.GetBinary(key, bytes);
            for (unsigned char b : bytes)
                std::printf("%02x ", b);
            std::printf("\n");
        } else
            return 2;
    }
    return 0;
}
