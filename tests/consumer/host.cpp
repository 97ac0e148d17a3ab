// An outside host: loads the installed module with nothing but dlopen, as a host installer
// would, and runs the post-install step for Tempest in Japanese.
#include <installer/InstallerExtension.h>

#include <dlfcn.h>

#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2)
        return 2;
    void* module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) {
        std::fprintf(stderr, "host: %s\n", dlerror());
        return 1;
    }
    auto postInstall =
        reinterpret_cast<void (*)(InstallerParamRecord*)>(dlsym(module, "PostInstall"));
    InstallerParamRecord record{};
    installer::WriteInt16(&record, installer::kVersionOffset, installer::kRecordVersion);
    installer::WriteInt16(&record, installer::kMessageOffset, installer::kPostInstallMessage);
    installer::WriteInt32(&record, installer::kProductCodeOffset, 1400);
    installer::WriteUInt32(&record, installer::kLanguageCodeOffset, 11);
    if (postInstall == nullptr)
        return 1;
    postInstall(&record);
    std::int32_t const flags = installer::ReadInt32(&record, installer::kFlagsOffset);
    std::printf("host: flags 0x%08X\n", static_cast<unsigned>(flags));
    return flags == 0 ? 0 : 1;
}
