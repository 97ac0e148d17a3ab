// velmora-defaults: a session of commands against one store, each with its exit status, output
// and error, run in order.
#include "test_support.h"

#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#ifdef VELMORA_DEFAULTS_TOOL

TEST(DefaultsTool, ReadsWritesAndDeletesLikeDefaults) {
    velmora_test::TempDir dir;
    struct Step {
        std::vector<std::string> args;
        int exitCode;
        std::string out, errHas; // standard output, a part of the error ("" when none is expected)
    };
    std::string const d = "com.velmora.tool";
    std::string const all = "f = 2.0\ni = -5\np = plain/path-1.0\nq = \"42\"\ns = \"hello world\"\n"
                            "x = <00ff>\n";
    Step const steps[] = {
        {{"write", d, "s", "hello world"}, 0, "", ""},
        {{"write", d, "i", "-int", "-5"}, 0, "", ""},
        {{"write", d, "f", "-float", "2"}, 0, "", ""},
        {{"write", d, "x", "-data", "00fF"}, 0, "", ""},
        {{"write", d, "q", "-string", "42"}, 0, "", ""},
        {{"write", d, "p", "plain/path-1.0"}, 0, "", ""},
        {{"read", d}, 0, all, ""},
        {{"read", d, "nope"}, 1, "", "key nope does not exist"},
        {{"delete", d, "i"}, 0, "", ""},
        {{"delete", d, "i"}, 1, "", "does not exist"},
        {{"--all-users", "write", d, "s", "everyone"}, 0, "", ""},
        {{"--all-users", "read", d, "s"}, 0, "everyone\n", ""},
        {{"read", d, "s"}, 0, "hello world\n", ""},
        {{"-currentHost", "write", d, "h", "-int", "3"}, 0, "", ""},
        {{"--current-host", "read", d}, 0, "h = 3\n", ""},
        {{"write", "com.velmora.other", "k", "v"}, 0, "", ""},
        {{"domains"}, 0, "com.velmora.other\ncom.velmora.tool\n", ""},
        {{"--all-users", "domains"}, 0, "com.velmora.tool\n", ""},
        {{"write", "com.velmora.link", "k", "v"},
         1,
         "", // a link where the file belongs
         "could not write domain com.velmora.link (current user, any host)"},
        {{"delete", d}, 0, "", ""},
        {{"read", d}, 1, "", "does not exist"},
        {{"write", "../escape", "k", "v"}, 1, "", "not a valid domain name"},
        {{"write", d, "k", "-int", "12x"}, 2, "", "not a 64-bit integer"},
        {{"write", d, "k", "-data", "abc"}, 2, "", "odd number"},
        {{"write", d, "k", "-int"}, 2, "", "wrong arguments for write"},
        {{"frob"}, 2, "", "unknown command frob"},
        {{"--bogus", "domains"}, 2, "", "unknown option --bogus"},
        {{}, 2, "", "no command"},
    };
    for (auto const& step : steps) {
        if (step.args.size() > 1 && step.args[1] == "com.velmora.link") // the row then fails
            ::symlink("/nonexistent", (dir / "user/com.velmora.link.plist").c_str());
        std::vector<std::string> argv{VELMORA_DEFAULTS_TOOL};
        argv.insert(argv.end(), step.args.begin(), step.args.end());
        auto const r = velmora_test::Run(argv, {"VELMORA_PREFS_ROOT=" + dir.Path()});
        std::string const row = ::testing::PrintToString(step.args) + "\n" + r.err;
        // Nothing on stderr, or one line saying why; bad usage adds the usage line.
        long const lines = step.errHas.empty() ? 0 : step.exitCode == 2 ? 2 : 1;
        EXPECT_EQ(std::tuple(r.exitCode, r.out, std::count(r.err.begin(), r.err.end(), '\n')),
                  std::tuple(step.exitCode, step.out, lines))
            << row;
        EXPECT_NE(r.err.find(step.errHas), std::string::npos) << row;
    }
}

#endif
