// The console client, run as a program against a server.
#include <pty.h>

#include "host/console/fw_HostCommands.h"
#include "mcsh/Client.h"
#include "mcsh/Top.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

const auto echoData = commandOf<"memory", "output">("Echo", "", "memory output\n");
const auto setData = commandOf<"sysinfo", "set">("Set", "", "sysinfo set\n");
const auto addData = commandOf<"user", "add">("Add", "", "user add\n");
const auto failData = commandOf<"memory", "reset">("Fail", "", "memory reset\n");

const std::string program = test::built("bin/mcsh");

using Ended = std::pair<int, std::string>;  // the exit status and the output

class Mcsh : public test::ConsoleServing {
 protected:
  Mcsh() {
    for (const auto* data : {&echoData, &setData, &addData}) {
      test::addCommand(m_shell, *data, [](auto& console, const auto& arguments) {
        for (unsigned int i = 0; i < arguments.ArgCount(); ++i) {
          console.reply(Ok, "[%s]", arguments.ArgValue(i));
        }
        return 1;
      });
    }
    test::addCommand(m_shell, failData, [](auto& console, const auto&) {
      console.reply(Refused, "fai\x1B\xC2\x9B\xFFled\n");
      return 1;
    });
    registerHostCommands(m_shell, [] {});
  }

  // Runs the program with arguments as a shell reads them and this standard input.
  Ended run(const std::string& arguments, const std::string& input = "") const {
    m_files.write("input", input);
    const std::string line =
        "unset MC_CONSOLE; " + program + " " + arguments + " <" + m_files.path("input") + " 2>&1";
    FILE* pipe = ::popen(line.c_str(), "r");
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
    return {WEXITSTATUS(::pclose(pipe)), output};
  }

  Ended runHere(const std::string& arguments, const std::string& input = "") const {
    return run("--help >/dev/null; MC_CONSOLE=" + m_path + " " + program + " " + arguments, input);
  }
};

TEST_F(Mcsh, RunsOneCommandWithItsWordsUntouched) {
  const std::pair<const char*, Ended> rows[] = {
      {"memory output 'a  b' --socket '' -h 'c\"d\\e' 'f\\g'",
       {0, "[a  b][--socket][][-h][c\"d\\e][f\\g]"}},
      {"memory reset", {1, "fai???led\n"}},
      {"nonsense", {1, "unknown command: nonsense; try help\n"}},
      {"memory output \"$(printf 'a\\nmemory reset')\"",
       {2, "mcsh: a command is UTF-8 without control characters\n"}},
  };
  for (const auto& [arguments, ended] : rows) EXPECT_EQ(runHere(arguments), ended) << arguments;
}

TEST_F(Mcsh, RunsTheLinesOfItsInputUpToTheFirstThatFails) {
  const std::pair<const char*, Ended> rows[] = {
      {"\n  \n# memory reset\n\t# x\n memory output a \n", {0, "[a]"}},
      {"memory output a\nmemory output b", {0, "[a][b]"}},
      {"memory output a\nmemory reset\nmemory output b\n", {1, "[a]fai???led\n"}},
      {"memory output \"a\nmemory output b\n", {1, "unterminated quote at column 15\n"}},
      {"memory output a\nexit\nmemory output b\n", {0, "[a]"}},
  };
  for (const auto& [input, ended] : rows) EXPECT_EQ(runHere("", input), ended) << input;
}

TEST_F(Mcsh, TellsWrongCallsAndMissingConsoles) {
  EXPECT_EQ(run("--nonsense x").first, 2);
  EXPECT_EQ(run("--socket").first, 2);
  EXPECT_EQ(runHere("--timeout 0 help").first, 2);
  const Ended help = run("--help");
  EXPECT_EQ(help.first, 0);
  EXPECT_TRUE(help.second.starts_with("usage: mcsh "));
  const std::string missing = m_files.path("missing");
  EXPECT_EQ(run("--socket " + missing + " help"),
            Ended(2, "mcsh: " + missing + ": No such file or directory\n"));
}

TEST_F(Mcsh, TellsThatAHostIsSilentAndEndsByItsLimit) {
  using std::chrono::milliseconds;
  m_server.stop();
  ASSERT_EQ(m_server.listen(m_path), "");
  int notices = 0;
  const auto notice = [&] { ++notices; };
  mcsh::Client limited(
      m_path, {.notice = milliseconds(1), .noAnswerYet = notice, .limit = milliseconds(2)});
  EXPECT_THROW(limited.ask("help"), std::runtime_error);
  EXPECT_EQ(notices, 1);
  const auto start = [&] {
    if (++notices == 2) m_server.start();
  };
  mcsh::Client patient(m_path, {.notice = milliseconds(1), .noAnswerYet = start});
  EXPECT_EQ(patient.ask("memory output a").text, "[a]");
}

TEST_F(Mcsh, ReadsSecretsFromFiles) {
  m_files.write("one", "a b\"c\\d@=e\nmore\n");
  m_files.write("bare", "x=y");
  m_files.write("empty", "\nmore\n");
  m_files.write("tab", "a\tb\n");
  const std::string one = m_files.path("one");
  const std::string bare = m_files.path("bare");
  const std::string missing = m_files.path("missing");
  const struct {
    std::string arguments;
    Ended ended;
  } rows[] = {
      {"sysinfo set K@ " + one + " L v M@ " + bare, {0, "[K][a b\"c\\d@=e][L][v][M][x=y]"}},
      {"sysinfo set K '@" + one + "' L@", {0, "[K][@" + one + "][L@]"}},
      {"user add bob@ K@=" + one + " L=@=v M=v@ N@=" + bare,
       {0, "[bob@][K=a b\"c\\d@=e][L=@=v][M=v@][N=x=y]"}},
      {"sysinfo set K@ " + missing, {2, "mcsh: " + missing + ": No such file or directory\n"}},
      {"user add bob K@=" + m_files.path("empty"), {2, "mcsh: K: the secret is empty\n"}},
      {"user add bob K@=" + m_files.path("tab"),
       {2, "mcsh: K: the secret holds a control character or is no UTF-8\n"}},
  };
  for (const auto& row : rows) EXPECT_EQ(runHere(row.arguments), row.ended) << row.arguments;
  EXPECT_EQ(runHere("", "sysinfo set K@ " + bare + "\nuser add bob K@=" + missing + "\nhelp\n"),
            Ended(2, "[K][x=y]mcsh: " + missing + ": No such file or directory\n"));
  EXPECT_EQ(
      run("--help >/dev/null; setsid -w " + program + " --socket " + m_path + " sysinfo set K@ -",
          "secret\nsecret\n"),
      Ended(2, "mcsh: there is no terminal to ask for a secret\n"));
}

TEST(Top, SaysInOneSentenceWhetherAllIsWellAndShowsTheWorstFirst) {
  using Daemons = std::vector<mcsh::DaemonLine>;
  const mcsh::DaemonLine up{.name = "a", .state = "Up"};
  const mcsh::DaemonLine down{.name = "b", .state = "Down"};
  const mcsh::DaemonLine starting{.name = "c", .state = "Starting"};
  const mcsh::DaemonLine suspended{.name = "d", .state = "Down", .suspended = true};
  const mcsh::DaemonLine failing{.name = "e", .state = "Up", .marks = "FAILING 7x"};
  const std::pair<Daemons, const char*> rows[] = {
      {{}, "No daemon is supervised."},
      {{up, up}, "All is well: 2 daemons up."},
      {{up, suspended, starting}, "Nothing is wrong: 1 daemon up, 1 on the way, 1 suspended."},
      {{up, down, failing}, "2 daemons of 3 need a look: b, e."},
  };
  for (const auto& [daemons, headline] : rows) {
    EXPECT_EQ(mcsh::headlineOf({daemons, {}}), headline);
  }
  const auto picture = mcsh::pictureOf({{up, suspended, starting, down}, {"off"}}, 7);
  std::string names;
  for (const auto& line : picture) names += line.text.substr(0, 1);
  EXPECT_EQ(names,
            "1o"
            "Nbca")
      << "and the suspended one is left out";
  EXPECT_EQ(picture.back().text, "and 2 lines more");
}

// A terminal on which mcsh prompts, or runs a command.
class Terminal : public test::Unique {
 public:
  explicit Terminal(const std::string& path, const char* command = nullptr) {
    m_pid = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_pid == 0) {
      ::setenv("TERM", "xterm", 1);
      ::execl(program.c_str(), "mcsh", "--socket", path.c_str(), command, nullptr);
      ::_exit(127);
    }
  }
  ~Terminal() { ::close(m_terminal); }

  // Types a text and waits until another is shown; what was shown before it goes to `m_before`.
  void type(const std::string& text, const std::string& expected) {
    EXPECT_EQ(::write(m_terminal, text.data(), text.size()), ssize_t(text.size()));
    std::size_t place = m_shown.find(expected);
    for (; place == std::string::npos; place = m_shown.find(expected)) {
      pollfd event{.fd = m_terminal, .events = POLLIN, .revents = 0};
      char chunk[256];
      ASSERT_EQ(::poll(&event, 1, 60000), 1) << expected << " after " << m_shown;
      const ssize_t size = ::read(m_terminal, chunk, sizeof chunk);
      ASSERT_GT(size, 0) << expected << " after " << m_shown;
      m_shown.append(chunk, static_cast<std::size_t>(size));
    }
    m_before = m_shown.substr(0, place);
    m_shown.erase(0, place + expected.size());
  }

  std::string m_before;

  int exitStatus() const {
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    return WEXITSTATUS(status);
  }

 private:
  int m_terminal = -1;
  pid_t m_pid = -1;
  std::string m_shown;
};

TEST_F(Mcsh, PromptsWithCompletionAndAHistoryWithoutLinesThatMayHoldASecret) {
  Terminal terminal(m_path);
  terminal.type("", "mc> ");
  terminal.type("mem\tou\t\"a b\"\n", "[a b]\r\n");
  terminal.type("memory reset\n", "led\r\n");
  terminal.type("\x10\x10\n", "[a b]\r\n");
  terminal.type("", "mc> ");
  for (const char* line :
       {"sysinfo set K hush", "user add bob K=hush", "user ad bob K=hush", "memory reset \"hush"}) {
    terminal.type(std::string(line) + "\n", "\nmc> ");
  }
  terminal.type("\x10\n", "[a b]\r\n");
  terminal.type("", "mc> ");
  terminal.type("sysinfo set\n", "\nmc> ");
  terminal.type("\x10", "sysinfo set");
  terminal.type(
      "\x15"
      "ex\t\n",
      "\n");
  EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(Mcsh, AsksForSecretsWithoutEcho) {
  Terminal terminal(m_path);
  terminal.type("", "mc> ");
  terminal.type("user add bob K@=- L=v\n", "K: ");
  terminal.type("hush \"\n", "K again: ");
  EXPECT_EQ(terminal.m_before, "\r\n");
  terminal.type("hush \"\n", "[bob][K=hush \"][L=v]");
  EXPECT_EQ(terminal.m_before, "\r\n");
  terminal.type("", "\nmc> ");
  terminal.type("sysinfo set K@ -\n", "K: ");
  terminal.type("hush\n", "K again: ");
  terminal.type("\x03push\n", "K: the two differ\r\n");
  terminal.type("", "mc> ");  // keys typed before are not yet the prompt's
  terminal.type("memory output shown\n", "memory output shown");
  terminal.type("", "[shown]");
  terminal.type("", "\nmc> ");
  terminal.type("serv\t", "ices");  // so that an end of input is a key like any other
  terminal.type("\x15\x04", "\n");
  EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(Mcsh, GivesTheTerminalBackWhateverEndsAView) {
  const std::string left = "\x1B[?1049l";
  const std::pair<const char*, int> rows[] = {{"q", 0}, {"\x03", 0}, {nullptr, 2}};
  for (const auto& [key, status] : rows) {
    Terminal terminal(m_path, "top");
    terminal.type("", "unknown command: process");
    if (key == nullptr) m_server.stop();
    terminal.type(key == nullptr ? "" : key, left);
    EXPECT_EQ(terminal.exitStatus(), status);
  }
}

TEST_F(Mcsh, ALostHostIsToldAtThePrompt) {
  Terminal terminal(m_path);
  terminal.type("", "mc> ");
  m_server.stop();
  terminal.type("help\n", "the host closed the connection");
  EXPECT_EQ(terminal.exitStatus(), 2);
}

}  // namespace
}  // namespace framework
