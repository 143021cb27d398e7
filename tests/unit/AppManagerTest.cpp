// The supervision service where no history leads: results that do not fit, failures, hostile texts,
// the real machine.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <filesystem>

#include "host/base/st_StringRepository.h"
#include "host/service/ap_ApplicationService.h"
#include "support/Printed.h"
#include "support/SimulatedController.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"

namespace services::app {
namespace {

using test::SimulatedController;

strings::stringtoken token(const char* name) { return strings::GS.toToken(name); }

TEST(Control, GivesAClaimBackWhenTheReportDoesNotFit) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  AppManager& manager = controller.build();
  std::array<char, 100> text;
  utility::BufferStream stream(text.data(), 100, false);
  try {
    manager.information(stream, 0, false);
    FAIL();
  } catch (framework::Exception* full) {
    delete full;
  }
  manager.Shutdown();  // so that a claim that is held is not waited for
  Process* process = manager.openProcess(token("a"));
  EXPECT_NE(process, nullptr);
}

TEST(Control, AnswersWithoutAService) {
  EXPECT_EQ(AppManager::getSingleton(), nullptr);
  EXPECT_FALSE(AppManager::startProcess(token("a")));
  EXPECT_EQ(AppManager::getProcessState(token("a")), Process::Unclassified);
  AppManager::setProcessSuspend(token("a"), true);
}

TEST(Control, KeepsTheLeadingOutputOfACommand) {
  SimulatedController controller;
  controller.machine.onCommand("readslot", [](const platform::Command& command) {
    try {
      command.output->SendOutputStream("ABCDEFGH", 8);
    } catch (framework::Exception* full) {
      delete full;
    }
    return platform::Result{};
  });
  controller.machine.onCommand("false", [](const platform::Command&) {
    return platform::Result{platform::Outcome::Exited, 1};
  });
  std::array<char, 5> text;
  EXPECT_TRUE(AppManager::getExternalValue("readslot", text.data(), 5));
  EXPECT_STREQ(text.data(), "ABCD");
  EXPECT_FALSE(AppManager::getExternalValue("false", text.data(), 5));
}

TEST(Control, ReadsProcesses) {
  using namespace std::string_literals;
  const struct {
    const char* name;
    std::string bytes;
    std::string baseName;
    std::string commandLine;
  } rows[] = {
      {"arguments",
       "/opt/bin/web\0-p\0"
       "80\0"s,
       "web", "/opt/bin/web -p 80 "},
      {"kernel thread", "", "", ""},
      {"no slash", "init\0"s, "init", "init "},
      {"blank in the first word", "web: worker", "web:", "web: worker"},
      {"tab and slashes behind it", "/a/b\t/c/d", "b", "/a/b\t/c/d"},
      {"ends in a slash", "/a/b/", "", "/a/b/"},
      {"too long", std::string(2000, 'x'), std::string(255, 'x'), std::string(1023, 'x')},
  };
  SimulatedController controller;
  std::filesystem::create_directories(controller.machine.root() + "/proc/412");
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    controller.writeFile("/proc/412/cmdline", row.bytes);
    std::array<char, 256> baseName;
    std::array<char, 1024> commandLine;
    int pid = -1;
    ASSERT_TRUE(AppManager::extractProcessInfo("/proc/412", baseName.data(), 256,
                                               commandLine.data(), 1024, pid));
    EXPECT_EQ(baseName.data(), row.baseName);
    EXPECT_EQ(commandLine.data(), row.commandLine);
    EXPECT_EQ(pid, 412);
  }
  int pid = -1;
  std::array<char, 8> small;
  const test::DebugLines debug(strings::token<"AppManager">);
  EXPECT_FALSE(AppManager::extractProcessInfo("/proc/413", small.data(), 8, nullptr, 0, pid));
  EXPECT_TRUE(controller.log.has("]:  Open Sys-Call returned -1\n"));
}

TEST(Loop, GoesOnAfterAnExceptionInACycle) {
  SimulatedController controller;
  controller.setList("data", {"a"});
  controller.setInt("pollSeconds", 10);
  controller.onInit("a", "start", [] { throw std::runtime_error("no more"); });
  controller.build();
  controller.runUntil(170);
  EXPECT_GE(controller.log.count("AppManager: poll cycle ended by an exception: no more"), 2);
  EXPECT_GE(controller.timesOf("/app/etc/init.d/aS start").size(), 2U);
}

TEST(Memory, AValueIsWhatFollowsItsKey) {
  const struct {
    const char* name;
    const char* text;
    unsigned int size;
    const char* value;
  } rows[] = {
      {"up to a tab", "Key: 12\tkB", 8, "12"}, {"up to a carriage return", "Key: 12\r\n", 8, "12"},
      {"cut", "Key: 1234567", 4, "123"},       {"just fits", "Key: 123", 4, "123"},
      {"no room", "Key: 123", 1, ""},
  };
  for (const auto& row : rows) {
    std::array<char, 8> value;
    value.fill('#');
    AppManager::extractValue(row.text, "Key:", value.data(), row.size);
    EXPECT_STREQ(value.data(), row.value) << row.name;
  }
}

// A process that ends with 0 once it is sent the signal with that value.
pid_t childThatExpects(int value) {
  constexpr int eventSignal = 45;
  sigset_t wanted;
  ::sigemptyset(&wanted);
  ::sigaddset(&wanted, eventSignal);
  ::sigprocmask(SIG_BLOCK, &wanted, nullptr);  // for the child, which inherits it
  const pid_t child = ::fork();
  if (child != 0) {
    ::sigprocmask(SIG_UNBLOCK, &wanted, nullptr);
    return child;
  }
  const timespec limit{.tv_sec = 20, .tv_nsec = 0};
  siginfo_t received{};
  const int signal = ::sigtimedwait(&wanted, &received, &limit);
  ::_exit(signal == eventSignal && received.si_value.sival_int == value ? 0 : 1);
}

TEST(Propagate, ARealProcessReceivesTheSignalWithTheToken) {
  const pid_t child = childThatExpects(strings::tGSlogMigrationMc3);
  framework::Config::setConfig({});  // on the real machine: no lists, so no script is written
  const AppManager manager("AppManager");
  const auto portal = ApplicationService::registerPortal("sfcbd", child);
  manager.propagateServiceEvent(strings::tGSsfcbd, strings::tGSlogMigrationMc3);
  int status = -1;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  ApplicationService::unregisterPortal("sfcbd", portal);
}

}  // namespace
}  // namespace services::app
