// The shell: splitting lines, finding commands, and the host's own commands.
#include "host/console/fw_Shell.h"

#include <gtest/gtest.h>

#include <future>

#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandLine.h"
#include "host/console/fw_HostCommands.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/service/fw_ServiceHost.h"
#include "support/ConsoleSetting.h"
#include "util/fw_Exception.h"
#include "util/fw_ShownText.h"
#include "util/ut_PutStream.h"

namespace framework {
namespace {

using test::addCommand;
using test::ask;
using Words = std::vector<std::string>;

TEST(SplitLine, GivesWordsOrTheColumn) {
  const struct {
    const char* name;
    std::string line;
    Words words;
    std::string error;
  } rows[] = {
      {"blank", " \t ", {}, ""},
      {"words", "  a\tbc  d ", {"a", "bc", "d"}, ""},
      {"quoted in a word", "a\"b c\"d", {"ab cd"}, ""},
      {"empty word", "a \"\" b", {"a", "", "b"}, ""},
      {"escapes", R"("a\"b\\c\d")", {R"(a"b\cd)"}, ""},
      {"backslash outside", R"(a\ b)", {"a\\", "b"}, ""},
      {"high bytes", "\xC3\xA4", {"\xC3\xA4"}, ""},
      {"unterminated", "ab \"cd", {}, "unterminated quote at column 4\n"},
      {"escaped end", R"(a "\")", {}, "unterminated quote at column 3\n"},
      {"lone backslash", R"("\)", {}, "unterminated quote at column 1\n"},
      {"control", "a b\x1B[2J", {}, "control character at column 4\n"},
      {"zero", std::string("a\0b", 3), {}, "control character at column 2\n"},
      {"C1", "a\xC2\x9B", {}, "control character at column 2\n"},
      {"no UTF-8", "\"a\xC3\"", {}, "no UTF-8 at column 3\n"},
      {"quoted tab", "\"a\tb\"", {}, "control character at column 3\n"},
      {"escaped control", "\"\\\x07\"", {}, "control character at column 3\n"},
  };
  for (const auto& row : rows) {
    std::string error;
    const auto words = splitLine(row.line, error);
    EXPECT_EQ(words.has_value(), row.error.empty()) << row.name;
    EXPECT_EQ(words.value_or(Words()), row.words) << row.name;
    EXPECT_EQ(error, row.error) << row.name;
    EXPECT_EQ(splitLine(joinWords(row.words), error), row.words) << row.name;
  }
}

TEST(ShownText, KeepsWhatIsUtf8AndNoControl) {
  const struct {
    const char* name;
    std::string text;
    std::string shown;
  } rows[] = {
      {"ASCII", "a ~", "a ~"},
      {"two to four bytes",
       "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF",
       "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
      {"C0 and delete", std::string("\0\n\x1B[2J\x1F\x7F", 8), "???[2J??"},
      {"C1", "web\xC2\x9B[J\xC2\x80\xC2\x9F", "web?[J??"},
      {"bytes of C1", "\x9B[J", "?[J"},
      {"overlong", "\xC0\x9B\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "???????????"},
      {"surrogates", "\xED\xA0\x80", "???"},
      {"beyond Unicode", "\xF4\x90\x80\x80\xF8\xFF", "??????"},
      {"cut", "\xE2\x82.\xE2\x82", "??.??"},
      {"turned and broken lines", "\xE2\x80\xAE\xE2\x80\xA8\xE2\x81\xA6", "???"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(shownText(row.text), row.shown) << row.name;
    EXPECT_EQ(isShown(row.text), row.text == row.shown) << row.name;
  }
  EXPECT_EQ(shownLines("a\nb\r\n"), "a\nb?\n");
}

constexpr strings::stringtoken memoryPath[] = {strings::token<"memory">};
constexpr strings::stringtoken statsPath[] = {strings::token<"memory">, strings::token<"stats">};
const CommandHandler::commanddata memoryData = {"Memory", "memory: m.\n", "memory WORD\n", 1,
                                                memoryPath};
const CommandHandler::commanddata statsData = {"Stats", "memory stats: s.\n", "memory stats\n", 2,
                                               statsPath};

int replyArguments(Console& console, const utility::Arguments& arguments, const char* command) {
  console.reply(Ok, "%s", command);
  for (unsigned int i = 0; i < arguments.ArgCount(); ++i) {
    console.reply(Ok, " [%s]", arguments.ArgValue(i));
  }
  return 1;
}

TEST(Shell, LongestMatchWinsAndArgumentsFollowIt) {
  Shell shell;
  addCommand(shell, statsData, [](auto& console, const auto& arguments) {
    return replyArguments(console, arguments, "stats");
  });
  EXPECT_EQ(ask(shell, "memory what"), "1 usage: memory stats\n");
  addCommand(shell, memoryData, [](auto& console, const auto& arguments) {
    return arguments.ArgCount() == 0 ? 0 : replyArguments(console, arguments, "memory");
  });
  EXPECT_EQ(ask(shell, "memory stats \"a b\" c"), "0 stats [a b] [c]");
  EXPECT_EQ(ask(shell, "memory statsx"), "0 memory [statsx]");
  EXPECT_EQ(ask(shell, "memory"), "1 usage: memory WORD\n");
}

TEST(Shell, ThrowingCommandIsRefusedAndTheShellGoesOn) {
  Shell shell;
  addCommand(shell, memoryData, [](auto&, const auto&) -> int {
    throw new Exception(strings::tGSstreamOverflow, "test", "test", "", true);
  });
  const std::string failed = "13 the command failed; the log says why\n";
  EXPECT_EQ(ask(shell, "memory"), failed);
  EXPECT_EQ(ask(shell, "memory"), failed);
}

TEST(Console, FirstCodeThatIsNotGoodCountsAndTheNextReplyStartsAfresh) {
  Console console;
  console.reply(Ok, "a");
  console.reply(Refused, "%s", std::string(40000, 'b').c_str());
  console.reply(Usage, "c");
  std::string text;
  EXPECT_EQ(console.takeReply(text), Refused);
  EXPECT_EQ(text, "a" + std::string(40000, 'b') + "c");
  EXPECT_EQ(console.takeReply(text), Ok);
  EXPECT_EQ(text, "");
}

TEST(Console, WrongUseOfTheOutputLockIsSaidOnStandardOutput) {
  Console console;
  testing::internal::CaptureStdout();
  console.outputLock();
  console.outputLock();
  console.outputUnLock();
  console.outputUnLock();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Console: output lock failure\nConsole: output unlock failure\n");
}

// A service with a thread, a report and a subscription, which brings a command too.
class Sample : public ActiveService {
 public:
  explicit Sample(const char* name) : ActiveService(name) { setRequestedThreads(1); }

  void threadDo(int /*index*/) override {
    m_waiter.lock();
    while (!requestToShutdown()) m_waiter.wait(1);
    m_waiter.unlock();
  }
  void information(utility::PutStream& stream, int indentation, bool detailed) const override {
    stream.Indent(indentation);
    stream.PutS(detailed ? "report, detailed\n" : "report\n");
  }
  bool serviceEvent(strings::stringtoken /*event*/, const void* data) override {
    s_event.set_value(data == nullptr ? "nothing" : static_cast<const char*>(data));
    return true;
  }
  const ServiceInfo* serviceInfo() const override { return nullptr; }
  const strings::stringtoken* eventSubscription() const override {
    static constexpr strings::stringtoken list[] = {strings::token<"goingDown">,
                                                    strings::tGSendOfList};
    return list;
  }

  static std::promise<std::string> s_event;
};

std::promise<std::string> Sample::s_event;

Service* buildSample(const char* name) { return new Sample(name); }
const ServiceFactory factory(buildSample, "Sample");

class HostCommands : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    ServiceHost::instance().build({"Sample"});
    ServiceHost::instance().start();
  }
  static void TearDownTestSuite() {
    ServiceHost::instance().stop();
    ServiceHost::instance().destroy();
  }

  HostCommands() {
    Sample::s_event = {};
    registerHostCommands(m_shell, [this] { m_shutdown = true; });
  }

  std::string ask(const std::string& line) const { return test::ask(m_shell, line); }

  Shell m_shell;
  bool m_shutdown = false;
};

TEST_F(HostCommands, AServiceThatFailedIsShown) {
  std::atomic<bool>& failed = *ServiceHost::instance().find("Sample")->failed;
  failed = true;
  EXPECT_NE(ask("services").find("\nSample  failed  1\n"), std::string::npos);
  failed = false;
}

TEST_F(HostCommands, EventsReachTheirSubscribers) {
  const std::pair<std::string, std::string> rows[] = {
      {"", "nothing"}, {" web", "web"}, {" web \"now  or\" never", "web now  or never"}};
  for (const auto& [text, data] : rows) {
    Sample::s_event = {};
    auto delivered = Sample::s_event.get_future();
    EXPECT_EQ(ask("event send goingDown" + text), "0 event goingDown sent\n");
    ASSERT_EQ(delivered.wait_for(std::chrono::seconds(10)), std::future_status::ready) << text;
    EXPECT_EQ(delivered.get(), data);
  }
}

TEST_F(HostCommands, ShutdownIsCalledOnceTheReplyWasSent) {
  Console console;
  EXPECT_EQ(test::ask(m_shell, "shutdown", console), "0 shutting down\n");
  EXPECT_FALSE(m_shutdown);
  console.replySent();
  EXPECT_TRUE(m_shutdown);
}

}  // namespace
}  // namespace framework
