// The console client, run as a program against a server.
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "host/framework/fw_HostCommands.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

constexpr strings::stringtoken echoPath[] = {strings::tGSmemory, strings::tGSoutput};
constexpr strings::stringtoken failPath[] = {strings::tGSmemory, strings::tGSreset};
const CommandHandler::commanddata echoData = {"Echo", "", "memory output\n", 2, echoPath};
const CommandHandler::commanddata failData = {"Fail", "", "memory reset\n", 2, failPath};

std::string program() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "bin/mcsh";
}

struct Ended {
  int status;
  std::string output;
};

class Mcsh : public testing::Test {
 protected:
  Mcsh() {
    testing_console::addCommand(m_shell, echoData, [](auto& console, const auto& arguments) {
      for (unsigned int i = 0; i < arguments.ArgCount(); ++i) {
        console.reply(Ok, "[%s]", arguments.ArgValue(i));
      }
      return 1;
    });
    testing_console::addCommand(m_shell, failData, [](auto& console, const auto&) {
      console.reply(Refused, "failed\n");
      return 1;
    });
    registerHostCommands(m_shell, [] {});
  }

  void SetUp() override { ASSERT_EQ(m_server.start(m_path), ""); }

  // Runs the program with arguments as a shell reads them and this standard input.
  Ended run(const std::string& arguments, const std::string& input = "") const {
    const std::string file = m_directory.path() + "/input";
    std::ofstream(file) << input;
    const std::string line =
        "unset MC_CONSOLE; " + program() + " " + arguments + " <" + file + " 2>&1";
    FILE* pipe = ::popen(line.c_str(), "r");
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
    return {WEXITSTATUS(::pclose(pipe)), output};
  }

  Ended runHere(const std::string& arguments, const std::string& input = "") const {
    return run("--socket " + m_path + " " + arguments, input);
  }

  testing_console::TempDirectory m_directory;
  const std::string m_path = m_directory.path() + "/console";
  Shell m_shell;
  ConsoleServer m_server{m_shell};
};

TEST_F(Mcsh, RunsOneCommandWithItsWordsUntouched) {
  const struct {
    const char* arguments;
    int status;
    const char* output;
  } rows[] = {
      {"memory output", 0, ""},
      {"memory output 'a  b' --socket '' -h 'c\"d\\e' 'f\\g'", 0,
       "[a  b][--socket][][-h][c\"d\\e][f\\g]"},
      {"memory reset", 1, "failed\n"},
      {"nonsense", 1, "unknown command: nonsense; try help\n"},
      {"memory output \"$(printf 'a\\nmemory reset')\"", 2,
       "mcsh: a command holds no control characters\n"},
  };
  for (const auto& row : rows) {
    const Ended ended = runHere(row.arguments);
    EXPECT_EQ(ended.status, row.status) << row.arguments;
    EXPECT_EQ(ended.output, row.output) << row.arguments;
  }
}

TEST_F(Mcsh, RunsTheLinesOfItsInputUpToTheFirstThatFails) {
  const struct {
    const char* name;
    const char* input;
    int status;
    const char* output;
  } rows[] = {
      {"empty", "", 0, ""},
      {"in order", "memory output a\nmemory output \"b c\"\n", 0, "[a][b c]"},
      {"blank lines and comments", "\n  \n# memory reset\n\t# x\n memory output a \n", 0, "[a]"},
      {"last line without its end", "memory output a\nmemory output b", 0, "[a][b]"},
      {"failure", "memory output a\nmemory reset\nmemory output b\n", 1, "[a]failed\n"},
      {"malformed", "memory output \"a\nmemory output b\n", 1, "unterminated quote at column 15\n"},
      {"exit", "memory output a\nexit\nmemory output b\n", 0, "[a]"},
  };
  for (const auto& row : rows) {
    const Ended ended = runHere("", row.input);
    EXPECT_EQ(ended.status, row.status) << row.name;
    EXPECT_EQ(ended.output, row.output) << row.name;
  }
}

TEST_F(Mcsh, TellsWrongCallsAndMissingConsoles) {
  EXPECT_EQ(run("--nonsense x").status, 2);
  EXPECT_EQ(run("--socket").status, 2);
  const Ended help = run("--help");
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.output.find("usage: mcsh "), 0U);
  const std::string missing = m_directory.path() + "/missing";
  const Ended ended = run("--socket " + missing + " help");
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.output, "mcsh: " + missing + ": No such file or directory\n");
}

TEST_F(Mcsh, FindsTheSocketInTheEnvironment) {
  EXPECT_EQ(
      run("--help >/dev/null; MC_CONSOLE=" + m_path + " " + program() + " memory output y").output,
      "[y]");
}

// A terminal on which mcsh prompts.
class Terminal {
 public:
  explicit Terminal(const std::string& path) {
    const std::string name = program();
    m_pid = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
    if (m_pid == 0) {
      ::setenv("TERM", "xterm", 1);
      ::execl(name.c_str(), "mcsh", "--socket", path.c_str(), nullptr);
      ::_exit(127);
    }
  }
  ~Terminal() { ::close(m_terminal); }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;

  // Types a text and waits until another has been shown.
  bool typed(const std::string& text, const std::string& expected) {
    if (::write(m_terminal, text.data(), text.size()) != ssize_t(text.size())) return false;
    while (m_shown.find(expected) == std::string::npos) {
      pollfd event{.fd = m_terminal, .events = POLLIN, .revents = 0};
      char chunk[256];
      if (::poll(&event, 1, 10000) != 1) return false;
      const ssize_t size = ::read(m_terminal, chunk, sizeof chunk);
      if (size <= 0) return false;
      m_shown.append(chunk, static_cast<std::size_t>(size));
    }
    m_shown.erase(0, m_shown.find(expected) + expected.size());
    return true;
  }

  int exitStatus() const {
    int status = 0;
    ::waitpid(m_pid, &status, 0);
    return WEXITSTATUS(status);
  }

  const std::string& shown() const { return m_shown; }

 private:
  int m_terminal = -1;
  pid_t m_pid = -1;
  std::string m_shown;
};

TEST_F(Mcsh, PromptsOnATerminalWithCompletionAndHistory) {
  Terminal terminal(m_path);
  EXPECT_TRUE(terminal.typed("", "mc> ")) << terminal.shown();
  EXPECT_TRUE(terminal.typed("mem\tou\t\"a b\"\n", "[a b]\r\n")) << terminal.shown();
  EXPECT_TRUE(terminal.typed("memory reset\n", "failed\r\n")) << terminal.shown();
  EXPECT_TRUE(terminal.typed("\x10\x10\n", "[a b]\r\n")) << "history: " << terminal.shown();
  EXPECT_TRUE(terminal.typed("", "mc> ")) << terminal.shown();
  EXPECT_TRUE(terminal.typed("ex\t\n", "\n")) << terminal.shown();
  EXPECT_EQ(terminal.exitStatus(), 0);
}

TEST_F(Mcsh, EndOfInputEndsThePromptAndALostHostIsTold) {
  Terminal first(m_path);
  EXPECT_TRUE(first.typed("", "mc> ")) << first.shown();
  // Completed, so the terminal is in the mode in which an end of input is a key like any other.
  EXPECT_TRUE(first.typed("serv\t", "ices")) << first.shown();
  EXPECT_TRUE(first.typed("\x15\x04", "\n")) << first.shown();
  EXPECT_EQ(first.exitStatus(), 0);
  Terminal second(m_path);
  EXPECT_TRUE(second.typed("", "mc> ")) << second.shown();
  m_server.stop();
  EXPECT_TRUE(second.typed("help\n", "the host closed the connection")) << second.shown();
  EXPECT_EQ(second.exitStatus(), 2);
}

}  // namespace
}  // namespace framework
