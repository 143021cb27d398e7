// The commands on the memory statistics: texts and codes, with and without the service.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "app/app_AppManagerCommandBundle.h"
#include "support/Printed.h"
#include "support/SimulatedController.h"
#include "support/Temporary.h"

namespace services::app {
namespace {

constexpr const char* header =
    "timeStamp,totalBytes,usedBytes,freeBytes,extraBytes,sysBytesFree,sysPercentFree\n";

class MemoryCommands : public testing::Test {
 protected:
  MemoryCommands() { AppManagerCommandBundle("Bundle").initializeCommands(m_shell); }

  std::string ask(const std::string& line) const {
    return test::ask(m_shell, "memory stats " + line);
  }

  framework::Shell m_shell;
  test::SimulatedController m_controller;
};

TEST_F(MemoryCommands, WithoutTheServiceEachSaysSo) {
  EXPECT_EQ(ask("output"), "0 Memory statistics measurement is not configured in this process.\n");
  EXPECT_EQ(ask("save /tmp/a"),
            "0 memory statistics measurement is not configured in thisbprocess.\n");
  EXPECT_EQ(ask("reset"), "0 memory statistics measurement is not configured in this process.\n");
  EXPECT_EQ(ask("save"), "13 must specify filename\n");
  EXPECT_FALSE(m_controller.hasFile("/tmp/a"));
}

TEST_F(MemoryCommands, SaveWritesWhatOutputPrints) {
  m_controller.setInt("pollSeconds", 120);
  m_controller.build();
  EXPECT_EQ(ask("output"), std::string("0 ") + header);
  m_controller.runUntil(120 * 600);  // more than the file stream's buffer holds
  m_controller.writeFile("/tmp/track.csv", std::string(100000, 'x'));
  EXPECT_EQ(ask("save /tmp/track.csv"), "0 Saved memory statistics to /tmp/track.csv\n");
  const std::string saved = m_controller.readFile("/tmp/track.csv");
  EXPECT_EQ(ask("output"), "0 " + saved);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 601);
  EXPECT_EQ(ask("save /none/a.csv"), "13 Cannot open file /none/a.csv");
  EXPECT_EQ(ask("save /tmp"), "13 Cannot open file /tmp");
  ASSERT_EQ(::mkfifo((m_controller.machine.root() + "/tmp/fifo").c_str(), 0600), 0);
  EXPECT_EQ(ask("save /tmp/fifo"), "13 Cannot open file /tmp/fifo");
  {
    const test::Limit full(RLIMIT_FSIZE, saved.size() - 1);
    EXPECT_EQ(ask("save /tmp/full.csv"), "13 Cannot write file /tmp/full.csv\n");
  }
  EXPECT_FALSE(m_controller.hasFile("/tmp/full.csv"));
  EXPECT_EQ(ask("reset"), "0 memory statistics have been reset.\n");
  EXPECT_EQ(ask("output"), std::string("0 ") + header);
}

TEST_F(MemoryCommands, HelpShowsTheirTexts) {
  const std::string text = test::printed([this](auto& out) {
    for (const auto* command : m_shell.commandsFrom({})) command->information(out, 0, true);
  });
  EXPECT_EQ(text,
            "memory stats output: output the memory stats to the console.\n"
            "usage: memory stats output\n"
            "memory stats reset: reset the memory stats back to an initial state.\n"
            "usage: memory stats reset\n"
            "memory stats save: save the memory stats to a file.\n"
            "usage: memory stats save <filename>\n");
}

}  // namespace
}  // namespace services::app
