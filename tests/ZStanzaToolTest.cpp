// zbase: end-to-end tests of the zstanza tool, run as a separate process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Z/ZFileLock.h"
#include "ZChildProcess.h"
#include "ZTestSupport.h"

namespace {

const std::string kTool = std::string(ZBASE_BINARY_DIR) + "/tools/zstanza";
const std::string kExamples = std::string(ZBASE_SOURCE_DIR) + "/examples";

struct Result {
  int code;
  std::string out, err;
};

// A fresh directory per test holding a copy of the sample configuration;
// runs the tool (or, for args[0] "sh", the shell) there.
class ZStanzaToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    for (const char* f : {"app.conf", "app.conf.obf"})
      std::filesystem::copy_file(kExamples + "/" + f, path(f));
  }
  std::string path(const std::string& name) const { return dir_.path + "/" + name; }

  // Starts a run whose output goes to .out.N and .err.N; `input` is its stdin.
  pid_t start(std::vector<std::string> args, int n = 0, const std::string& input = "") {
    const std::string tag = "." + std::to_string(n);
    writeFile(path(".in" + tag), input);
    return spawnChild([&] {
      if (chdir(dir_.path.c_str()) != 0) return 99;
      dup2(open((".in" + tag).c_str(), O_RDONLY), 0);
      dup2(open((".out" + tag).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
      dup2(open((".err" + tag).c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
      const std::string prog = args[0] == "sh" ? "/bin/sh" : kTool;
      std::vector<char*> argv{const_cast<char*>(prog.c_str())};
      for (size_t i = args[0] == "sh" ? 1 : 0; i < args.size(); ++i) argv.push_back(&args[i][0]);
      argv.push_back(nullptr);
      execv(prog.c_str(), argv.data());
      return 98;
    });
  }

  // Waits for a run, at most 60 seconds: a run that hangs fails the test.
  Result finish(pid_t pid, int n = 0) {
    const std::string tag = "." + std::to_string(n);
    return {reapChild(pid), readFile(path(".out" + tag)), readFile(path(".err" + tag))};
  }

  Result run(std::vector<std::string> args, const std::string& input = "") {
    return finish(start(args, 0, input));
  }

  // Runs `take` in a child that then holds what it took until killed.
  template <typename Take>
  pid_t holder(Take take) {
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    pid_t pid = spawnChild([&] {
      take();
      if (write(ready[1], "x", 1) != 1) return 97;
      for (;;) ::pause();
    });
    char c;
    EXPECT_EQ(1, read(ready[0], &c, 1));
    close(ready[0]);
    close(ready[1]);
    return pid;
  }
  void release(pid_t pid) {
    kill(pid, SIGKILL);
    reapChild(pid);
  }

  TempDir dir_;
};

}  // namespace

TEST_F(ZStanzaToolTest, ReadsTheSampleConfigurationInEveryFormat) {
  Result r = run({"list", "app.conf"});
  EXPECT_EQ("server\ndatabase\nmirrors\nlogging\nconfiguration-database\n", r.out);
  EXPECT_EQ("", r.err);
  EXPECT_EQ(0, r.code);
  const std::string m = "https://m1.example.com/orders\",\"https://m2.example.com/orders";
  EXPECT_EQ("[\"" + m + "\",\"https://m3.example.com/orders\"]\n",
            run({"get", "--format=json", "app.conf", "mirrors", "mirror"}).out);
  EXPECT_EQ("4\n", run({"get", "--int", "app.conf", "server", "workers"}).out);
  EXPECT_EQ("yes\n", run({"get", "app.conf", "server", "tls", "--bool"}).out);
  EXPECT_EQ("10485760\n", run({"get", "--long", "app.conf", "logging", "max size"}).out);
  EXPECT_EQ("8080\n", run({"get", "app.conf", "server", "port", "--default", "8080"}).out);
  // The hidden value comes from the side file; list does not show it.
  EXPECT_EQ("Tr0ub4dor&3\n", run({"get", "app.conf", "database", "password"}).out);
  const std::string db = "url = db://db.example.com:50000/ORDERS\nuser = orders_app\n";
  EXPECT_EQ(db + "password (obfuscated, 1 value)\n", run({"list", "app.conf", "database"}).out);
  EXPECT_EQ("[database]\n" + db, run({"list", "--format", "ini", "app.conf", "database"}).out);
  EXPECT_EQ("url\nuser\npassword\n", run({"list", "app.conf", "database", "--keys"}).out);
  EXPECT_EQ(
      "{\"level\":[\"info\"],\"file\":[\"/var/log/orders/service.log\"],"
      "\"max size\":[\"10485760\"]}\n",
      run({"list", "app.conf", "logging", "--format=json"}).out);
  EXPECT_EQ("app.conf: 5 stanzas, 11 keys, 1 obfuscated\n", run({"check", "app.conf"}).out);
  EXPECT_EQ(readFile(path("app.conf")), run({"dump", "app.conf"}).out);
  r = run({"dump", "--no-comments", "app.conf"});
  EXPECT_EQ(0u, r.out.find("[server]\nhost = orders.example.com\nworkers = 4\n"));
  // Standard input as the file; an edit of it goes to standard output.
  EXPECT_EQ("[a]\nk = -5\n", run({"set", "-", "a", "k", "-5"}, "[a]\nk = 1\n").out);
  EXPECT_EQ("1\n", run({"get", "-", "a", "k"}, "[a]\nk = 1\n").out);
}

TEST_F(ZStanzaToolTest, EditsInPlaceAndSaysWhetherTheFileChanged) {
  EXPECT_EQ(0, run({"set", "app.conf", "server", "port", "9090"}).code);
  EXPECT_EQ(0, run({"add", "app.conf", "mirrors", "mirror", "https://m2.example.com/orders",
                    "https://m4.example.com/orders"})
                   .code);
  EXPECT_EQ(0, run({"comment", "app.conf", "logging", "level", "one of\nerror, warn, info"}).code);
  EXPECT_EQ(0, run({"del", "app.conf", "logging", "max size"}).code);
  EXPECT_EQ(0, run({"set", "--obfuscated", "app.conf", "database", "password", "n3w"}).code);
  const std::string after = readFile(path("app.conf"));
  // The new key went into its commented-out template.
  EXPECT_NE(std::string::npos, after.find("# port = 8080\nport = 9090\n\n# Worker threads"));
  EXPECT_NE(std::string::npos, after.find("mirror = https://m3.example.com/orders\n"
                                          "mirror = https://m4.example.com/orders\n"));
  EXPECT_NE(std::string::npos,
            after.find("[logging]\n\n#one of\n#error, warn, info\nlevel = info\n"
                       "file = /var/log/orders/service.log\n\n[configuration-database]"));
  EXPECT_EQ(std::string::npos, after.find("n3w"));
  EXPECT_EQ("n3w\n", run({"get", "app.conf", "database", "password"}).out);

  // An edit that changes nothing leaves the file alone and says so.
  Result r = run({"set", "--verbose", "--check-changed", "app.conf", "server", "port", "9090"});
  EXPECT_EQ(7, r.code);
  EXPECT_EQ("zstanza: app.conf: unchanged\n", r.err);
  EXPECT_EQ(0, run({"del", "app.conf", "nowhere"}).code);  // without --existing
  EXPECT_EQ(after, readFile(path("app.conf")));

  // A value too long for a command line; merge keeps the target's layout.
  const std::string big(300000, 'v');
  writeFile(path("big"), big + "\n");
  EXPECT_EQ(0, run({"set", "app.conf", "server", "cert", "--value-file", "big"}).code);
  EXPECT_EQ(big + "\n", run({"get", "app.conf", "server", "cert"}).out);
  r = run({"merge", "--verbose", "app.conf", "-"}, "# lost\n[server]\nport = 1\n[new]\nk = v\n");
  EXPECT_EQ("zstanza: app.conf: changed\n", r.err);
  EXPECT_NE(std::string::npos,
            readFile(path("app.conf")).find("# port = 8080\nport = 1\n\n# Worker"));
  EXPECT_EQ(std::string::npos, readFile(path("app.conf")).find("lost"));
  EXPECT_EQ("v\n", run({"get", "app.conf", "new", "k"}).out);

  // A stanza goes with its lines; a missing file is created.
  EXPECT_EQ(0, run({"del", "app.conf", "mirrors"}).code);
  EXPECT_EQ(std::string::npos, readFile(path("app.conf")).find("mirror"));
  EXPECT_EQ(0, run({"set", "new.conf", "a", "k", "v"}).code);
  EXPECT_EQ("\n[a]\nk = v\n", readFile(path("new.conf")));
}

TEST_F(ZStanzaToolTest, ApplyIsAllOrNothing) {
  const std::string sample = readFile(path("app.conf"));
  const std::string edits = "# quoting\nset server banner \"say \\\"hi\\\" \\\\o/\"\n";
  Result r = run({"apply", "app.conf"}, edits + "del --existing nowhere\nset server x 1\n");
  EXPECT_EQ(1, r.code);
  EXPECT_EQ("zstanza: line 3: no stanza 'nowhere'\n", r.err);
  EXPECT_EQ(sample, readFile(path("app.conf")));
  r = run({"apply", "app.conf"}, edits + "set server 'x y\n");
  EXPECT_EQ("zstanza: line 3: a ' is not closed (see zstanza --help)\n", r.err);
  EXPECT_EQ(sample, readFile(path("app.conf")));

  r = run({"apply", "app.conf"},
          edits + "add mirrors mirror it\\'s -- --obfuscated\ndel logging\n");
  EXPECT_EQ(0, r.code);
  EXPECT_EQ("say \"hi\" \\o/\n", run({"get", "app.conf", "server", "banner"}).out);
  EXPECT_EQ("it's\n--obfuscated\n", run({"get", "app.conf", "mirrors", "mirror"}).out.substr(90));
  EXPECT_EQ(1, run({"get", "app.conf", "logging", "level"}).code);
}

TEST_F(ZStanzaToolTest, ShellFormatEvaluatesToTheExactValues) {
  const std::vector<std::string> values = {"it's", "$(touch pwned) `id` $HOME", "a\"b\\c'", "-x"};
  for (size_t i = 0; i < values.size(); ++i) {
    EXPECT_EQ(0, run({"set", "app.conf", "odd", "k" + std::to_string(i), values[i]}).code);
  }
  EXPECT_EQ(2, run({"set", "app.conf", "odd", "k9", "two\nlines"}).code);
  writeFile(path("vars"), run({"list", "--format=sh", "app.conf", "odd"}).out +
                              run({"get", "--format=sh", "app.conf", "mirrors", "mirror"}).out);
  Result r = run({"sh", "-c",
                  ". ./vars; printf '%s|' \"$odd_k0\" \"$odd_k1\" \"$odd_k2\" \"$odd_k3\" "
                  "\"$mirrors_mirror\""});
  EXPECT_EQ(values[0] + "|" + values[1] + "|" + values[2] + "|-x|" +
                run({"get", "app.conf", "mirrors", "mirror"}).out.substr(0, 89) + "|",
            r.out);
  EXPECT_FALSE(std::filesystem::exists(path("pwned")));
}

TEST_F(ZStanzaToolTest, ErrorsGiveOneLineAndTheirExitCode) {
  writeFile(path("bad.conf"), "[a]\n\x01oops\x1b[2J\n");
  const std::string sample = readFile(path("app.conf"));
  struct Case {
    std::vector<std::string> args;
    int code;
    std::string err;
  } cases[] = {
      {{"get", "app.conf", "server", "colour"},
       1,
       "The configuration file app.conf is missing the required attribute colour in stanza "
       "server."},
      {{"del", "--existing", "app.conf", "nowhere"}, 1, "no stanza 'nowhere'"},
      {{"set", "--existing", "app.conf", "server", "colour", "red"},
       1,
       "no key 'colour' in stanza 'server'"},
      {{"get", "--int", "app.conf", "logging", "level"},
       3,
       "The configuration file app.conf has an invalid numeric value info for key level in "
       "stanza logging."},
      {{"set", "bad.conf", "a", "k", "v"},
       3,
       "The configuration file \"bad.conf\" contains invalid data at line 2. Data: "
       "\"\\x01oops\\x1b[2J\""},
      {{"check", "missing.conf"}, 4, "missing.conf: No such file or directory"},
      {{"set", "app.conf", "s", "k", "--value-file", "nofile"},
       4,
       "nofile: No such file or directory"},
      {{"set", "app.conf", "database", "password", "plain"},
       2,
       "key 'password' in stanza 'database' holds obfuscated values: use --obfuscated"},
      {{"set", "app.conf", "a]", "k", "v"}, 2, "a stanza name cannot contain ']': 'a]'"},
      {{"set", "app.conf", "a", "k=1", "v"}, 2, "a key cannot contain '=': 'k=1'"},
      {{"add", "app.conf", "a", " k", "v"}, 2, "a key cannot begin or end with blanks: ' k'"},
      {{"set", "app.conf", "a", "k", " v"}, 2, "a value cannot begin or end with blanks: ' v'"},
      {{"get", "app.conf", "server"}, 2, "get takes FILE STANZA KEY"},
      {{"get", "app.conf", "server", "-5"}, 2, "unknown option '-5'"},
      {{"list", "--obfuscated", "app.conf"}, 2, "--obfuscated goes with set and add"},
      {{"apply", "-"}, 2, "standard input cannot be both FILE and the edit lines"},
      {{"frobnicate", "app.conf"}, 2, "unknown command 'frobnicate'"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[c.args.size() - 1]);
    Result r = run(c.args);
    EXPECT_EQ(c.code, r.code);
    EXPECT_EQ("zstanza: " + c.err + (c.code == 2 ? " (see zstanza --help)\n" : "\n"), r.err);
    EXPECT_EQ("", r.out);
  }
  EXPECT_EQ(sample, readFile(path("app.conf")));
  EXPECT_EQ("zstanza 7.0.0\n", run({"--version"}).out);
}

TEST_F(ZStanzaToolTest, ConcurrentEditsLoseNothing) {
  const int n = 24;  // every third run sets one shared key, the others a key of their own
  std::vector<pid_t> pids;
  for (int i = 0; i < n; ++i) {
    const std::string k = std::to_string(i);
    pids.push_back(start(
        {"set", "--wait=45", "app.conf", i % 3 ? "each" : "same", i % 3 ? "k" + k : "k", "v" + k},
        i));
  }
  for (int i = 0; i < n; ++i) ASSERT_EQ(0, finish(pids[i], i).code);
  const std::string each = run({"list", "app.conf", "each"}).out;
  for (int i = 1; i < n; i += i % 3 == 1 ? 1 : 2) {
    const std::string k = std::to_string(i);
    EXPECT_NE(std::string::npos, each.find("k" + k + " = v" + k + "\n")) << k;
  }
  const std::string same = run({"get", "app.conf", "same", "k"}).out;
  EXPECT_EQ(0, std::stoi(same.substr(1)) % 3) << same;
}

TEST_F(ZStanzaToolTest, AHolderBeyondTheWaitGivesTheTimeoutExit) {
  const std::string dir = dir_.path;
  pid_t pid =
      holder([&] { (new ZUnixProcessReadWriteFileLock("app.conf", dir.c_str()))->writeLock(); });
  Result r = run({"set", "--wait", "1", "app.conf", "server", "port", "1"});
  EXPECT_EQ(6, r.code);
  EXPECT_EQ("zstanza: app.conf: still locked by another process after 1 second\n", r.err);
  EXPECT_EQ(6, run({"del", "--wait=0", "app.conf", "server"}).code);
  release(pid);
  // A reader of the library's own kind: its record lock on the file itself.
  const std::string file = path("app.conf");
  pid = holder([&] {
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    if (fcntl(open(file.c_str(), O_RDONLY), F_SETLK, &lock) != 0) _exit(96);
  });
  EXPECT_EQ(6, run({"set", "--wait", "0.5", "app.conf", "server", "port", "1"}).code);
  release(pid);
  EXPECT_EQ(0, run({"set", "--wait", "0", "app.conf", "server", "port", "1"}).code);
}
