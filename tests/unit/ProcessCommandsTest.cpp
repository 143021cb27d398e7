// The operator's process commands.
#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

#include "app/app_AppManager.h"
#include "host/framework/fw_Config.h"
#include "host/framework/st_StringRepository.h"
#include "host/platform/SimulatedPlatform.h"
#include "support/PluginCommands.h"

namespace services::ops {
namespace {

using app::AppManager;
using app::Process;

class ProcessCommands : public testing::Test, protected test::PluginCommands {
 protected:
  ProcessCommands() : PluginCommands("ProcessCommands") {}

  // Builds the supervision service with two daemons.
  void supervise(const char* architecture) {
    utility::StringArray daemons;
    daemons.Append("slow");
    daemons.Append("fast");
    framework::Config config;
    config.set("AppManager.data", {.value = daemons});
    config.set("AppManager.nokill", {.value = utility::StringArray()});
    framework::Config::setConfig(std::move(config));
    ::setenv("MC_ARCH", architecture, 1);
    m_manager = std::make_unique<AppManager>("AppManager");
  }

  platform::SimulatedPlatform m_machine;
  std::unique_ptr<AppManager> m_manager;
};

TEST_F(ProcessCommands, WithoutSupervisionEachSaysSo) {
  for (const char* line : {"process list", "process start slow", "process stop slow",
                           "process restart slow", "process suspend slow", "process resume slow"}) {
    EXPECT_EQ(ask(line), "13 no process supervision runs in this host\n") << line;
  }
}

TEST_F(ProcessCommands, ListShowsEachDaemonInTheOrderOfNames) {
  supervise("ARM");
  Process* slow = m_manager->openProcess(strings::GS.toToken("slow"));
  slow->startScan();
  slow->addInstance(412);
  slow->addInstance(7);
  slow->endScan();
  slow->setState(Process::Up);
  m_manager->closeProcess(slow);
  m_machine.pass(7999999);
  EXPECT_EQ(ask("process suspend fast"), "0 fast suspended\n");
  EXPECT_EQ(ask("process list"),
            "0 NAME  STATE         SUSPENDED  PIDS   SECONDS\n"
            "fast  Unclassified  yes        -      -\n"
            "slow  Up            no         412,7  7\n");
}

TEST_F(ProcessCommands, ControlRunsTheInitScript) {
  supervise("ARM");
  const struct {
    const char* line;
    const char* reply;
  } rows[] = {
      {"process start slow", "0 start of slow issued\n"},
      {"process restart slow", "0 restart of slow issued\n"},
      {"process stop slow",
       "0 stop of slow issued\n"
       "it will be started again; to keep it down: process suspend slow\n"},
      {"process suspend slow", "0 slow suspended\n"},
      {"process stop slow", "0 stop of slow issued\n"},
      {"process resume slow", "0 slow resumed\n"},
  };
  for (const auto& row : rows) EXPECT_EQ(ask(row.line), row.reply) << row.line;
  EXPECT_FALSE(AppManager::getProcessSuspend(strings::GS.toToken("slow")));
  std::string actions;
  for (const auto& command : m_machine.commands()) actions += command.line + "\n";
  EXPECT_EQ(actions,
            "/app/etc/init.d/slowS start\n/app/etc/init.d/slowS restart\n"
            "/app/etc/init.d/slowS stop\n/app/etc/init.d/slowS stop\n");
}

TEST_F(ProcessCommands, RefusedAndMalformed) {
  supervise("PC");
  const struct {
    const char* line;
    const char* reply;
  } rows[] = {
      {"process start slow",
       "13 start of slow refused: process control is off here (see MC_ARCH)\n"},
      {"process list",
       "0 process control is off here (see MC_ARCH): no daemon is restarted\n"
       "NAME  STATE         SUSPENDED  PIDS  SECONDS\n"
       "fast  Unclassified  no         -     -\n"
       "slow  Unclassified  no         -     -\n"},
      {"process start nobody", "13 no such process: nobody\n"},
      {"process explain nobody", "13 no such process: nobody\n"},
      {"process explain slow", "0 slow: programs of that name\nno running process\n"},
      {"process suspend nobody", "13 no such process: nobody\n"},
      {"process start", "1 usage: process start NAME\n"},
      {"process list slow", "1 usage: process list\n"},
  };
  const auto before = strings::GS.toToken("ProcessCommandsTest before");
  for (const auto& row : rows) EXPECT_EQ(ask(row.line), row.reply) << row.line;
  EXPECT_EQ(strings::GS.toToken("ProcessCommandsTest after"), before + 1) << "names made tokens";
  EXPECT_TRUE(m_machine.commands().empty());
}

}  // namespace
}  // namespace services::ops
