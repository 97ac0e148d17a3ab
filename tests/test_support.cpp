#include "test_support.h"

#include <fcntl.h>
#include <spawn.h>
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
    std::vector<char*> args;
    for (auto const& a : argv)
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

} // namespace velmora_test
