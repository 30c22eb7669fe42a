// zbase: end-to-end tests of the zstanza tool, run as a separate process.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

namespace {

const std::string kTool = std::string(ZBASE_BINARY_DIR) + "/tools/zstanza";
const std::string kExamples = std::string(ZBASE_SOURCE_DIR) + "/examples";

std::string slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void spit(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

struct Result {
  int code;
  std::string out;
  std::string err;
};

// A fresh directory per test holding a copy of the sample configuration;
// runs the tool there.
class ZStanzaToolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char tmpl[] = "/tmp/zstanza-tool-XXXXXX";
    dir_ = mkdtemp(tmpl);
    std::filesystem::copy_file(kExamples + "/app.conf", dir_ + "/app.conf");
    std::filesystem::copy_file(kExamples + "/app.conf.obf", dir_ + "/app.conf.obf");
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::string path(const std::string& name) const { return dir_ + "/" + name; }

  Result run(std::vector<std::string> args, bool withKelDir = true) {
    const std::string out = path(".out"), err = path(".err");
    pid_t pid = fork();
    if (pid == 0) {
      if (chdir(dir_.c_str()) != 0) _exit(99);
      int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      dup2(o, 1);
      dup2(e, 2);
      if (!withKelDir) unsetenv("QXKELDIR");
      std::vector<char*> argv{const_cast<char*>(kTool.c_str())};
      for (std::string& a : args) argv.push_back(&a[0]);
      argv.push_back(nullptr);
      execv(kTool.c_str(), argv.data());
      _exit(98);
    }
    int status = 0;
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (waitpid(pid, &status, WNOHANG) == 0) {
      if (std::chrono::steady_clock::now() > deadline) {
        kill(pid, SIGKILL);
        waitpid(pid, &status, 0);
        ADD_FAILURE() << "zstanza did not finish";
        return {-1, "", ""};
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, slurp(out), slurp(err)};
  }

  std::string dir_;
};

}  // namespace

TEST_F(ZStanzaToolTest, ReadsTheSampleConfiguration) {
  Result r = run({"list", "app.conf"});
  EXPECT_EQ(0, r.code);
  EXPECT_EQ("server\ndatabase\nmirrors\nlogging\nconfiguration-database\n", r.out);
  EXPECT_EQ("", r.err);

  r = run({"get", "app.conf", "mirrors", "mirror"});
  EXPECT_EQ(
      "https://m1.example.com/orders\nhttps://m2.example.com/orders\n"
      "https://m3.example.com/orders\n",
      r.out);
  EXPECT_EQ("4\n", run({"get", "--int", "app.conf", "server", "workers"}).out);
  EXPECT_EQ("yes\n", run({"get", "app.conf", "server", "tls", "--bool"}).out);
  EXPECT_EQ("10485760\n", run({"get", "--long", "app.conf", "logging", "max size"}).out);
  // The hidden value comes from the side file; list does not show it.
  EXPECT_EQ("Tr0ub4dor&3\n", run({"get", "app.conf", "database", "password"}).out);
  EXPECT_EQ(
      "url = db://db.example.com:50000/ORDERS\nuser = orders_app\n"
      "password (obfuscated, 1 value)\n",
      run({"list", "app.conf", "database"}).out);
  EXPECT_EQ("app.conf: 5 stanzas, 11 keys, 1 obfuscated\n", run({"check", "app.conf"}).out);

  // Dumped as the library writes it: the sample is already in that form.
  r = run({"dump", "app.conf"});
  EXPECT_EQ(0, r.code);
  EXPECT_EQ(slurp(path("app.conf")), r.out);
  r = run({"dump", "--no-comments", "app.conf"});
  EXPECT_EQ(std::string::npos, r.out.find('#'));
  EXPECT_EQ(0u, r.out.find("[server]\nhost = orders.example.com\nworkers = 4\n"));

  // Without QXKELDIR the tool finds the tables itself.
  EXPECT_EQ("4\n", run({"get", "app.conf", "server", "workers"}, false).out);
}

TEST_F(ZStanzaToolTest, EditsInPlaceAndKeepsTheLayout) {
  EXPECT_EQ(0, run({"set", "app.conf", "server", "port", "9090"}).code);
  EXPECT_EQ(0, run({"add", "app.conf", "mirrors", "mirror", "https://m2.example.com/orders",
                    "https://m4.example.com/orders"})
                   .code);
  EXPECT_EQ(0, run({"comment", "app.conf", "logging", "level", "one of\nerror, warn, info"}).code);
  EXPECT_EQ(0, run({"del", "app.conf", "logging", "max size"}).code);
  EXPECT_EQ(0, run({"set", "--obfuscated", "app.conf", "database", "password", "n3w"}).code);
  const std::string after = slurp(path("app.conf"));
  // The new key went into its commented-out template.
  EXPECT_NE(std::string::npos, after.find("# port = 8080\nport = 9090\n\n# Worker threads"));
  EXPECT_NE(std::string::npos, after.find("mirror = https://m3.example.com/orders\n"
                                          "mirror = https://m4.example.com/orders\n"));
  EXPECT_NE(std::string::npos,
            after.find("[logging]\n\n#one of\n#error, warn, info\nlevel = info\n"
                       "file = /var/log/orders/service.log\n\n[configuration-database]"));
  EXPECT_EQ(std::string::npos, after.find("n3w"));
  EXPECT_EQ("n3w\n", run({"get", "app.conf", "database", "password"}).out);
  EXPECT_EQ("9090\n", run({"get", "app.conf", "server", "port"}).out);

  // A stanza goes with its lines; a missing file is created.
  EXPECT_EQ(0, run({"del", "app.conf", "mirrors"}).code);
  EXPECT_EQ(std::string::npos, slurp(path("app.conf")).find("mirror"));
  EXPECT_EQ(0, run({"set", "new.conf", "a", "k", "v"}).code);
  EXPECT_EQ("\n[a]\nk = v\n", slurp(path("new.conf")));
}

TEST_F(ZStanzaToolTest, ErrorsGiveOneLineAndTheirExitCode) {
  spit(path("bad.conf"), "[a]\noops\n");
  const std::string sample = slurp(path("app.conf"));
  struct Case {
    std::vector<std::string> args;
    int code;
    std::string err;
  } cases[] = {
      {{"get", "app.conf", "server", "colour"},
       1,
       "The configuration file app.conf is missing the required attribute colour in stanza "
       "server.\n"},
      {{"del", "app.conf", "nowhere"}, 1, "zstanza: no stanza 'nowhere'\n"},
      {{"comment", "app.conf", "server", "nokey", "x"},
       1,
       "zstanza: no key 'nokey' in stanza 'server'\n"},
      {{"get", "--int", "app.conf", "logging", "level"},
       3,
       "The configuration file app.conf has an invalid numeric value info for key level in "
       "stanza logging.\n"},
      {{"set", "bad.conf", "a", "k", "v"},
       3,
       "The configuration file \"bad.conf\" contains invalid data at line 2. Data: \"oops\"\n"},
      {{"check", "missing.conf"},
       4,
       "Access failed for configuration file missing.conf.  The access function was fopen(r) "
       "and return code was 2\n"},
      {{"set", "app.conf", "database", "password", "plain"},
       2,
       "zstanza: key 'password' in stanza 'database' holds obfuscated values: use "
       "--obfuscated (see zstanza --help)\n"},
      {{"set", "app.conf", "server", "host", "a\nb"},
       2,
       "zstanza: a value cannot span lines (see zstanza --help)\n"},
      {{"get", "app.conf", "server"},
       2,
       "zstanza: get takes FILE STANZA KEY (see zstanza --help)\n"},
      {{"frobnicate", "app.conf"},
       2,
       "zstanza: unknown command 'frobnicate' (see zstanza --help)\n"},
      {{"get", "app.conf", "", "k"},
       2,
       "zstanza: file, stanza and key names cannot be empty (see zstanza --help)\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.args[0] + " " + c.args[c.args.size() - 1]);
    Result r = run(c.args);
    EXPECT_EQ(c.code, r.code);
    EXPECT_EQ(c.err, r.err);
    EXPECT_EQ("", r.out);
  }
  EXPECT_EQ(sample, slurp(path("app.conf")));
  EXPECT_EQ("[a]\noops\n", slurp(path("bad.conf")));

  Result r = run({"--help"});
  EXPECT_EQ(0, r.code);
  EXPECT_NE(std::string::npos, r.out.find("Exit codes:"));
}
