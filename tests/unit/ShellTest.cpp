// The shell: splitting lines, finding commands, and what they answer.

#include "host/console/fw_HostCommands.h"
#include "host/console/fw_TypedLine.h"
#include "support/ConsoleSetting.h"
#include "util/fw_ShownText.h"
#include "util/fw_Value.h"

namespace framework {
namespace {

using test::addCommand;
using test::ask;
using Words = std::vector<std::string>;

TEST(SplitLine, GivesWordsOrTheColumn) {
  const struct {
    std::string line;
    Words words;
    std::string error;
  } rows[] = {
      {"  a\tbc  d ", {"a", "bc", "d"}, ""},
      {"a\"b c\"d", {"ab cd"}, ""},
      {"a \"\" b", {"a", "", "b"}, ""},
      {R"("a\"b\\c\d")", {R"(a"b\cd)"}, ""},
      {R"(a\ b)", {"a\\", "b"}, ""},
      {"ab \"cd", {}, "unterminated quote at column 4\n"},
      {R"(a "\")", {}, "unterminated quote at column 3\n"},
      {"a b\x1B[2J", {}, "control character at column 4\n"},
      {std::string("a\0b", 3), {}, "control character at column 2\n"},
      {"\"\\\x07\"", {}, "control character at column 3\n"},
  };
  for (const auto& row : rows) {
    std::string error;
    const auto words = splitLine(row.line, error);
    EXPECT_EQ(words.has_value(), row.error.empty()) << row.line;
    EXPECT_EQ(words.value_or(Words()), row.words) << row.line;
    EXPECT_EQ(error, row.error) << row.line;
  }
}

TEST(ShownText, KeepsWhatIsUtf8AndNoControl) {
  const std::string longest =
      "\xC2\xA0\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBD\xF0\x90\x80\x80\xF4\x8F\xBF\xBF";
  const std::pair<std::string, std::string> rows[] = {
      {"a ~", "a ~"},
      {longest, longest},
      {std::string("\0\n\x1B[2J\x1F\x7F", 8), "???[2J??"},
      {"web\xC2\x9B[J\xC2\x80\xC2\x9F", "web?[J??"},                    // C1
      {"\x9B[J", "?[J"},                                                // its bytes
      {"\xC0\x9B\xC1\xBF\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "???????????"},  // overlong
      {"\xED\xA0\x80", "???"},                                          // a surrogate
      {"\xF4\x90\x80\x80\xF8\xFF", "??????"},                           // beyond Unicode
      {"\xE2\x82.\xE2\x82", "??.??"},                                   // cut
      {"\xE2\x80\xAE\xE2\x80\xA8\xE2\x81\xA6", "???"},                  // turned and broken lines
  };
  for (const auto& [text, shown] : rows) {
    EXPECT_EQ(shownText(text), shown);
    EXPECT_EQ(isShown(text), text == shown) << shown;
  }
  EXPECT_EQ(shownLines("a\nb\r\n"), "a\nb?\n");
}

TEST(Value, IsJsonWithoutControlCharactersWhateverATextHolds) {
  const Value value = Value::Record{{"a\"b\\", Value::List{1,
                                                           true,
                                                           {},
                                                           "\n\x7F\xC2\x9B\xE2\x80\xA8\xFF"
                                                           "\xF0\x9F\x98\x80"}}};
  EXPECT_EQ(value.json(),
            "{\"a\\\"b\\\\\":[1,true,null,\"\\u000a\\u007f\\u009b\\u2028\xEF\xBF\xBD"
            "\xF0\x9F\x98\x80\"]}");
}

const auto memoryData = commandOf<"memory">("Memory", "memory: m.\n", "memory WORD\n");

TEST(Shell, ThrowingCommandIsRefusedAndTheShellGoesOn) {
  Shell shell;
  addCommand(shell, memoryData, [](auto&, const auto&) -> int {
    throw new Exception(strings::tGSstreamOverflow, "test", "test", "", true);
  });
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(ask(shell, "memory"), "13 the command failed; the log says why\n");
  }
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

TEST(HostCommands, ShutdownIsCalledOnceTheReplyWasSent) {
  Shell shell;
  bool isShutDown = false;
  registerHostCommands(shell, [&] { isShutDown = true; });
  Console console;
  EXPECT_EQ(ask(shell, "shutdown", console), "0 shutting down\n");
  EXPECT_FALSE(isShutDown);
  console.replySent();
  EXPECT_TRUE(isShutDown);
}

}  // namespace
}  // namespace framework
