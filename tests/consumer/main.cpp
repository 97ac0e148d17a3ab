// An outside program built against the installed Velmora package.
#include <Velmora.h>

#include <cstdio>

int main() {
    String const text = String("caf") + String(static_cast<char>(0x8E));
    Util::CFString bridged(text.Latin1(), Util::CFString::RELEASE);
    if (!(bridged.ToString() == text)) {
        std::fprintf(stderr, "consumer: round trip through CFString failed\n");
        return 1;
    }
    std::printf("consumer: %u bytes round-tripped\n", text.GetLength());
    return 0;
}
