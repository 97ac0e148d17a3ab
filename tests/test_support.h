// Helpers shared by the tests: temporary folders and child processes.
#pragma once

#include <string>
#include <vector>

namespace velmora_test {

// A fresh folder under the system's temporary folder, removed with everything in it when the
// object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& Path() const { return m_path; }
    // Path() + "/" + name.
    std::string operator/(std::string const& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// The result of a finished child process.
struct RunResult {
    int exitCode = -1; // -1 when the child did not exit normally
    std::string out;   // standard output
    std::string err;   // standard error
};

// Runs argv[0] with the given arguments and extra "NAME=value" environment entries, feeding
// it no input, and waits for it.
RunResult Run(std::vector<std::string> const& argv, std::vector<std::string> const& env = {});

// The whole content of a file ("" when it cannot be read).
std::string ReadFile(std::string const& path);
void WriteFile(std::string const& path, std::string const& content);

} // namespace velmora_test
