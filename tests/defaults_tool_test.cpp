// velmora-defaults: a session of commands against one store, each with its exit status, output
// and error, run in order. Values are read back through Util::ConfigFile by the helper, and
// whole domains go out and back in through export and import.
#include "test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#ifdef VELMORA_DEFAULTS_TOOL

namespace {

// The tool's arguments, or "sh" and a shell command in which t runs the tool and h the
// ConfigFile helper.
velmora_test::RunResult runRow(std::vector<std::string> const& args, std::string const& root) {
    std::vector<std::string> const env{"VELMORA_PREFS_ROOT=" + root, "T=" VELMORA_DEFAULTS_TOOL,
                                       "H=" VELMORA_PREFS_HELPER};
    if (!args.empty() && args[0] == "sh")
        return velmora_test::Run({"/bin/sh", "-c",
                                  "t() { $VELMORA_TEST_EMULATOR \"$T\" \"$@\"; }; "
                                  "h() { $VELMORA_TEST_EMULATOR \"$H\" \"$@\"; }; " +
                                      args[1]},
                                 env);
    std::vector<std::string> argv{VELMORA_DEFAULTS_TOOL};
    argv.insert(argv.end(), args.begin(), args.end());
    return velmora_test::Run(argv, env);
}

} // namespace

TEST(DefaultsTool, ReadsWritesAndDeletesLikeDefaults) {
    velmora_test::TempDir dir;
    // A link where a file belongs, and a property list whose only key is no text.
    ::mkdir((dir / "user").c_str(), 0700);
    ::symlink("/nonexistent", (dir / "user/com.velmora.link.plist").c_str());
    velmora_test::Bplist const b;
    velmora_test::WriteFile(
        dir / "hidden.plist",
        b.File({b.Dict({1}, {2}), velmora_test::Ascii(std::string("a\0", 2)), "\x10\x01"}));
    struct Step {
        std::vector<std::string> args;
        int exitCode;
        std::string out, errHas; // standard output, a part of the error ("" when none is expected)
    };
    std::string const d = "com.velmora.tool";
    std::string const shared = "com.velmora.shared";
    std::string const all = "f = 2.0\ni = -5\np = plain/path-1.0\nq = \"42\"\ns = \"hello world\"\n"
                            "x = <00ff>\n";
    std::string const later = "b = 0\nf = 2.0\ng = <3f000000>\nn = 11\npath = plain/path-1.0\n"
                              "q = \"42\"\ns = \"hello world\"\nu = -1\nx = <00ff>\n";
    auto const json = [](std::string const& rest) {
        return R"({"domain": "com.velmora.shared", "scope": {"user": "all", "host": "current"}, )"
               R"("key": "Lang", )" +
               rest + "}\n";
    };
    Step const steps[] = {
        {{"write", d, "s", "hello world"}, 0, "", ""},
        {{"write", d, "i", "-int", "-5"}, 0, "", ""},
        {{"write", d, "f", "-real", "2"}, 0, "", ""},
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
        {{"--any-host", "write", d, "h", "-int", "3"}, 0, "", ""},
        {{"--any-host", "read", d}, 0, "h = 3\n", ""},
        // Without options the tool writes where ConfigFile reads, in ConfigFile's forms.
        {{"write", d, "g", "-float", "0.5"}, 0, "", ""},
        {{"write", d, "u", "-int", "4294967295"}, 0, "", ""},
        {{"write", d, "n", "-integer", "011"}, 0, "", ""},
        {{"write", d, "b", "-bool", "NO"}, 0, "", ""},
        {{"sh", "h read " + d + " float:g uint:u int:n bool:b string:s"},
         0,
         "0.5\n4294967295\n11\nfalse\nhello world\n",
         ""},
        {{"read-type", d, "g"}, 0, "Type is data (4 bytes: ConfigFile::GetFloat reads 0.5)\n", ""},
        {{"rename", d, "p", "path"}, 0, "", ""},
        {{"rename", d, "path", "s"}, 1, "", "key s already exists"},
        {{"find", "HELLO"}, 0, d + ": s = \"hello world\"\n", ""},
        {{"--all-users", "write", shared, "Lang", "ja"}, 0, "", ""},
        {{"read", shared, "Lang"},
         1,
         "",
         "domain com.velmora.shared does not exist for the current user on this host; it exists "
         "for all users on this host (--all-users)\n"},
        {{"--all-users", "--current-host", "--json", "read", shared, "Lang"},
         0,
         json(R"("type": "string", "value": "ja", "exit": 0)"),
         ""},
        {{"--all-users", "--json", "delete", shared, "Lang"},
         0,
         json(R"("deleted": true, "exit": 0)"),
         ""},
        {{"--all-users", "--json", "delete", shared, "Lang"},
         1,
         json(R"("deleted": false, "exit": 1, "error": "domain com.velmora.shared does not exist )"
              R"(for all users on this host")"),
         "does not exist"},
        {{"--all-users", "domains"}, 0, d + "\n", ""}, // the last key took the file with it
        {{"sh", "t export " + d + " - | head -n 1"},
         0,
         "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n",
         ""},
        // XML through a pipe, and the binary file the store wrote (sh globs no redirection).
        {{"sh", "t export " + d + " - | t import com.velmora.xml - && set -- " +
                    "\"$VELMORA_PREFS_ROOT\"/user/ByHost/" + d + ".*.plist && " +
                    "t import com.velmora.bin - <\"$1\" && t read com.velmora.xml && " +
                    "t read com.velmora.bin"},
         0,
         later + later,
         ""},
        {{"sh", "head -c 16777217 /dev/zero | t import com.velmora.big -"},
         1,
         "",
         "more than 16 MiB"},
        {{"import", "com.velmora.hidden", dir / "hidden.plist"}, 0, "", ""},
        {{"delete", "com.velmora.hidden"}, 0, "", ""},
        {{"domains"}, 0, "com.velmora.bin\n" + d + "\ncom.velmora.xml\n", ""},
        {{"--any-host", "write", "com.velmora.link", "k", "v"},
         1,
         "",
         "could not write domain com.velmora.link for the current user on any host"},
        {{"delete", d}, 0, "", ""},
        {{"read", d}, 1, "", "does not exist"},
        {{"write", "../escape", "k", "v"}, 1, "", "not a valid domain name"},
        {{"write", d, "k", "-int", "4294967296"}, 2, "", "not a 32-bit integer"},
        {{"write", d, "k", "-float", "0x1p3"}, 2, "", "not a decimal number"},
        {{"write", d, "k", "-bool", "maybe"}, 2, "", "not a boolean"},
        {{"write", d, "k", "-date", "x"}, 2, "", "unknown type -date"},
        {{"write", d, "k", "-data", "abc"}, 2, "", "odd number"},
        {{"write", d, "k", "-int"}, 2, "", "wrong arguments for write"},
        {{"frob"}, 2, "", "unknown command frob"},
        {{"--json", "frob"}, 2, "{\"exit\": 2, \"error\": \"unknown command frob\"}\n", "frob"},
        {{"--bogus", "domains"}, 2, "", "unknown option --bogus"},
        {{}, 2, "", "no command"},
    };
    for (auto const& step : steps) {
        auto const r = runRow(step.args, dir.Path());
        std::string const row = ::testing::PrintToString(step.args) + "\n" + r.err;
        // Nothing on stderr, or one line saying why; bad usage adds the usage line.
        long const lines = step.errHas.empty() ? 0 : step.exitCode == 2 ? 2 : 1;
        EXPECT_EQ(std::tuple(r.exitCode, r.out, std::count(r.err.begin(), r.err.end(), '\n')),
                  std::tuple(step.exitCode, step.out, lines))
            << row;
        EXPECT_NE(r.err.find(step.errHas), std::string::npos) << row;
    }
}

// --help explains every command, option, variable and exit status; --version is the project's.
TEST(DefaultsTool, BothToolsExplainThemselves) {
    struct Row {
        std::string tool, name;
        std::vector<char const*> words;
    };
    std::vector<Row> const rows = {
        {VELMORA_DEFAULTS_TOOL,
         "velmora-defaults",
         {"read-type DOMAIN KEY", "rename", "find WORD", "export DOMAIN FILE|-", "import",
          "-integer", "-boolean", "-real", "--all-users", "--current-user", "-currentHost",
          "--any-host", "--json", "VELMORA_PREFS_ROOT", "Exit status:\n  0", "  2  bad usage",
          "Examples:"}},
#ifdef VELMORA_INSTALL_HOST_TOOL
        {VELMORA_INSTALL_HOST_TOOL,
         "velmora-install-host",
         {"--product", "--direct", "--dry-run", "--module", "--record-version", "--message",
          "--json", "VELMORA_ALERTS", "VELMORA_ALERT_LOG", "VELMORA_ALERT_RESOURCES",
          "VELMORA_PREFS_ROOT", "  3  a domain", "Examples:"}},
#endif
    };
    for (auto const& row : rows) {
        auto const help = velmora_test::Run({row.tool, "--help"});
        EXPECT_EQ(help.exitCode, 0) << row.name;
        for (char const* word : row.words)
            EXPECT_NE(help.out.find(word), std::string::npos) << row.name << ": " << word;
        auto const version = velmora_test::Run({row.tool, "--version"});
        EXPECT_EQ(version.out, row.name + " (Velmora) " VELMORA_VERSION "\n");
    }
}

#endif
