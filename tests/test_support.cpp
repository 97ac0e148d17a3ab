#include "test_support.h"

#include <velmora/platform_testing.h>
#include <velmora/preferences_store.h>

#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <pwd.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

extern char** environ;

namespace velmora_test {

TempDir::TempDir() {
    char const* base = std::getenv("TMPDIR");
    std::string pattern =
        std::string(base != nullptr && *base != '\0' ? base : "/tmp") + "/velmora-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("mkdtemp failed");
    m_path = pattern;
}

TempDir::~TempDir() {
    std::error_code ec;
    // Tests may leave read-only folders behind; open them up so removal succeeds.
    for (auto it = std::filesystem::recursive_directory_iterator(m_path, ec);
         it != std::filesystem::recursive_directory_iterator(); it.increment(ec))
        if (it->is_directory(ec) && !it->is_symlink(ec))
            std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                         std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(m_path, ec);
}

namespace {

// An ELF file's class, byte order and machine ("" for any other file).
std::string elfKind(std::string const& path) {
    std::string head(20, '\0');
    std::ifstream in(path, std::ios::binary);
    if (!in.read(head.data(), std::streamsize(head.size())) || head.rfind("\177ELF", 0) != 0)
        return "";
    return head.substr(4, 2) + head.substr(18, 2);
}

} // namespace

RunResult Run(std::vector<std::string> const& argv, std::vector<std::string> const& env) {
    // Output goes to files, so a chatty child can never block on a full pipe.
    TempDir const capture;
    std::string const outPath = capture / "out";
    std::string const errPath = capture / "err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, outPath.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, errPath.c_str(), O_WRONLY | O_CREAT, 0600);

    // The child gets this environment with the given "NAME=value" entries replacing their
    // namesakes.
    std::vector<std::string> environment(env);
    for (char** e = environ; *e != nullptr; ++e) {
        std::string const entry = *e;
        std::string const name = entry.substr(0, entry.find('=') + 1);
        if (std::none_of(env.begin(), env.end(),
                         [&](std::string const& extra) { return extra.rfind(name, 0) == 0; }))
            environment.push_back(entry);
    }
    // In a cross build, programs for the tests' own CPU run under the emulator that ctest names
    // (binfmt_misc may not start them); the host's own tools run as they are.
    std::vector<std::string> command;
    char const* const emulator = std::getenv("VELMORA_TEST_EMULATOR");
    if (emulator != nullptr && !argv.empty() && elfKind(argv[0]) == elfKind("/proc/self/exe")) {
        std::istringstream words(emulator);
        for (std::string word; words >> word;)
            command.push_back(word);
    }
    command.insert(command.end(), argv.begin(), argv.end());
    std::vector<char*> args;
    for (auto const& a : command)
        args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    std::vector<char*> envp;
    for (auto const& e : environment)
        envp.push_back(const_cast<char*>(e.c_str()));
    envp.push_back(nullptr);

    RunResult result;
    pid_t pid = 0;
    int const rc = ::posix_spawn(&pid, args[0], &actions, nullptr, args.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    if (rc != 0) {
        result.err = std::string("spawn failed: ") + std::strerror(rc);
        return result;
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.out = ReadFile(outPath);
    result.err = ReadFile(errPath);
    return result;
}

std::string ReadFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(std::string const& path, std::string const& content) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << content;
}

std::string ReadAll(int fd) {
    std::string text;
    char buffer[4096];
    for (ssize_t n; (n = ::read(fd, buffer, sizeof buffer)) > 0;)
        text.append(buffer, std::size_t(n));
    return text;
}

Ref Str(std::string const& utf8) {
    return Ref(CFStringCreateWithCString(nullptr, utf8.c_str(), kCFStringEncodingUTF8));
}

Ref Int(std::int64_t value) {
    return Ref(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

std::string Utf8(CFTypeRef string) {
    std::string out(4096, '\0');
    if (string == nullptr || CFGetTypeID(string) != CFStringGetTypeID() ||
        !CFStringGetCString(CFStringRef(string), out.data(), CFIndex(out.size()),
                            kCFStringEncodingUTF8))
        return "";
    return out.c_str();
}

std::string LastError() {
    return Utf8(Ref(VelmoraPreferencesCopyLastError()).get());
}

std::vector<std::string> Domain::Keys() const {
    Ref const list(CFPreferencesCopyKeyList(name, user, host));
    std::vector<std::string> keys;
    for (CFIndex i = 0; list && i < CFArrayGetCount(CFArrayRef(list.get())); ++i)
        keys.push_back(Utf8(CFArrayGetValueAtIndex(CFArrayRef(list.get()), i)));
    return keys;
}

std::filesystem::path Domain::File() const {
    return Utf8(Ref(VelmoraPreferencesCopyFilePath(name, user, host)).get());
}

void StoreTest::SetUp() {
    ::setenv("VELMORA_PREFS_ROOT", (m_dir / "root").c_str(), 1);
    VelmoraResetPreferencesForTesting();
}

std::string Xml(std::filesystem::path const& file) {
    std::string xml;
    for (char c : Run({"/usr/bin/plistutil", "-f", "xml", "-i", file}).out)
        if (c != '\n' && c != '\t')
            xml += c;
    std::size_t const at = xml.find("<plist version=\"1.0\">");
    return at == std::string::npos ? "" : xml.substr(at + 21, xml.size() - at - 29);
}

std::vector<std::filesystem::path> Entries(std::filesystem::path const& folder,
                                           std::string const& prefix, std::string const& suffix) {
    std::vector<std::filesystem::path> found;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        std::string const name = entry.path().filename();
        if (name.rfind(prefix, 0) == 0 && name.size() >= suffix.size() &&
            name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0)
            found.push_back(entry.path());
    }
    return found;
}

std::map<std::string, std::string> Snapshot(std::filesystem::path const& root, bool withLocks) {
    std::map<std::string, std::string> tree;
    for (auto const& entry : std::filesystem::recursive_directory_iterator(root))
        if (withLocks || entry.path().extension() != ".lock")
            tree[entry.path()] =
                std::to_string(unsigned(entry.symlink_status().permissions())) +
                (entry.is_symlink()        ? " link " + read_symlink(entry.path()).string()
                 : entry.is_directory()    ? " folder"
                 : entry.is_regular_file() ? " file " + ReadFile(entry.path())
                                           : " special");
    return tree;
}

Limits AsNobody(double seconds) {
    Limits limits;
    limits.seconds = seconds;
    if (passwd const* nobody = ::getpwnam("nobody"))
        limits.uid = nobody->pw_uid, limits.gids = {nobody->pw_gid};
    return limits;
}

namespace {

long ResidentKiB(pid_t pid) {
    std::string const status = ReadFile("/proc/" + std::to_string(pid) + "/status");
    std::size_t const at = status.find("VmRSS:");
    return at == std::string::npos ? 0 : std::atol(status.c_str() + at + 6);
}

} // namespace

Child::Child(std::function<std::string()> const& body, Limits limits)
    : m_limits(std::move(limits)), m_baseKiB(ResidentKiB(::getpid())) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        return;
    m_pid = ::fork();
    if (m_pid == 0) {
        std::vector<gid_t> const& groups = m_limits.gids;
        std::string message = "cannot become user " + std::to_string(m_limits.uid);
        if (m_limits.uid == 0 || ::geteuid() != 0 ||
            (!groups.empty() && ::setgroups(groups.size(), groups.data()) == 0 &&
             ::setgid(groups[0]) == 0 && ::setuid(m_limits.uid) == 0)) {
            VelmoraResetPreferencesForTesting();
            message = body();
        }
        ::_exit(::write(fds[1], message.data(), message.size()) < 0 ? 1 : 0);
    }
    ::close(fds[1]);
    m_fd = fds[0];
    ::fcntl(m_fd, F_SETFL, O_NONBLOCK); // read as it comes, so a long message cannot block
}

Outcome Child::Wait() {
    Outcome outcome;
    if (m_pid < 0)
        outcome.failure = "cannot fork";
    std::string message;
    int status = 0;
    rusage usage{};
    while (m_pid > 0 && ::wait4(m_pid, &status, WNOHANG, &usage) != m_pid) {
        pollfd p{m_fd, POLLIN, 0};
        ::poll(&p, 1, 5);
        message += ReadAll(m_fd);
        std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - m_start;
        long const grown = m_limits.maxKiB > 0 ? ResidentKiB(m_pid) - m_baseKiB : 0;
        if (elapsed.count() > m_limits.seconds || grown > m_limits.maxKiB) {
            ::kill(m_pid, SIGKILL);
            ::wait4(m_pid, &status, 0, &usage);
            outcome.failure =
                grown > m_limits.maxKiB
                    ? "killed having grown by " + std::to_string(grown / 1024) + " MiB"
                    : "killed after " + std::to_string(m_limits.seconds) + " s";
            break;
        }
    }
    message += ReadAll(m_fd);
    ::close(m_fd);
    outcome.grownKiB = std::max(0L, usage.ru_maxrss - m_baseKiB);
    if (!outcome.failure.empty())
        return outcome;
    if (WIFSIGNALED(status))
        outcome.failure = std::string("crashed: ") + ::strsignal(WTERMSIG(status));
    else if (WEXITSTATUS(status) != 0)
        outcome.failure = "exited with " + std::to_string(WEXITSTATUS(status));
    else if (message.rfind("skip: ", 0) == 0)
        outcome.skip = message.substr(6);
    else
        outcome.failure = message;
    return outcome;
}

std::string BigEndian(std::uint64_t value, int bytes) {
    std::string out;
    while (bytes-- > 0)
        out += char((value >> (8 * bytes)) & 0xFF);
    return out;
}

std::string Repeat(std::string const& text, std::size_t times) {
    std::string out;
    out.reserve(text.size() * times);
    while (times-- > 0)
        out += text;
    return out;
}

std::string Marker(int kind, std::size_t count) {
    if (count < 15)
        return std::string(1, char(kind << 4 | int(count)));
    return std::string(1, char(kind << 4 | 0xF)) + "\x13" + BigEndian(count, 8);
}

std::string Ascii(std::string const& text) {
    return Marker(0x5, text.size()) + text;
}

std::string Bplist::Join(Refs const& refs) const {
    std::string out;
    for (auto const r : refs)
        out += BigEndian(r, refSize);
    return out;
}

std::string Bplist::File(std::vector<std::string> const& objects) const {
    std::string out = "bplist00";
    std::vector<std::uint64_t> offsets;
    for (auto const& object : objects) {
        offsets.push_back(out.size());
        out += object;
    }
    std::uint64_t const table = out.size();
    int const offsetSize = table < 0x100 ? 1 : table < 0x10000 ? 2 : 4;
    for (auto const offset : offsets)
        out += BigEndian(offset, offsetSize);
    return out + std::string(6, '\0') + char(offsetSize) + char(refSize) +
           BigEndian(objects.size(), 8) + BigEndian(0, 8) + BigEndian(table, 8);
}

std::string Bplist::KeyK(std::vector<std::string> const& values) const {
    std::vector<std::string> objects = {Dict({1}, {2}), Ascii("k")};
    objects.insert(objects.end(), values.begin(), values.end());
    return File(objects);
}

} // namespace velmora_test
