// The command that saves the memory statistics; the others are in transcripts/memory.txt.

#include "app/supervision/app_AppManagerCommandBundle.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

TEST(MemoryCommands, SaveWritesWhatOutputPrints) {
  framework::Shell shell;
  AppManagerCommandBundle("Bundle").initializeCommands(shell);
  test::SimulatedController controller({}, 120);
  controller.build();
  controller.runUntil(120L * 600);  // more than the file stream's buffer holds
  controller.writeFile("/tmp/track.csv", std::string(100000, 'x'));
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp/track.csv"),
            "0 Saved memory statistics to /tmp/track.csv\n");
  const std::string saved = controller.readFile("/tmp/track.csv");
  EXPECT_EQ(test::ask(shell, "memory stats output"), "0 " + saved);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), '\n'), 601);
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp"), "13 Cannot open file /tmp");
  ASSERT_EQ(::mkfifo((controller.machine.root() + "/tmp/fifo").c_str(), 0600), 0);
  EXPECT_EQ(test::ask(shell, "memory stats save /tmp/fifo"), "13 Cannot open file /tmp/fifo");
  {
    const test::Limit full(RLIMIT_FSIZE, saved.size() - 1);
    EXPECT_EQ(test::ask(shell, "memory stats save /tmp/full.csv"),
              "13 Cannot write file /tmp/full.csv\n");
  }
  EXPECT_FALSE(controller.hasFile("/tmp/full.csv"));
}

}  // namespace
}  // namespace services::app
