// Lines that are typed at a console with all commands, in a host whose services do not run.

#include "fuzz/play.h"
#include "host/console/fw_CommandBundle.h"
#include "host/console/fw_HostCommands.h"
#include "host/console/fw_TypedLine.h"
#include "host/service/fw_ServiceHost.h"
#include "support/SimulatedController.h"
#include "util/fw_ShownText.h"

namespace {

void answer(const framework::Shell& shell, const std::string& line) {
  const std::string reply = test::ask(shell, line);
  REQUIRE(reply.starts_with("0 ") || reply.starts_with("1 ") || reply.starts_with("13 "));
  REQUIRE(framework::shownLines(reply) == reply);
}

struct Host {
  Host() {
    services::sysinfo::SysInfoManager::getManager()->load({}, 'A');
    framework::ServiceHost::instance().build(
        {"InterfaceCommands", "MailCommands", "PairingCommands", "PathCommands", "ProcessCommands",
         "SysInfoCommands", "UserCommands", "AppManagerCommandBundle"});
    framework::registerHostCommands(shell, [] {});
    framework::CommandBundle::registerAll(shell);
    for (const auto* command : shell.commandsFrom(utility::Arguments(std::vector<std::string>()))) {
      for (std::string words; words.size() < 12; words += " x") {  // too few, too many
        answer(shell, framework::Shell::pathOf(*command) + words);
      }
    }
  }
  const test::SimulatedController controller;
  framework::Shell shell;
};

}  // namespace

void play(const std::string& input) {
  static const Host host;
  framework::Logger::setLevel(-1);  // a line may have changed it
  std::istringstream lines(input);
  for (std::string line, error; std::getline(lines, line);) {
    if (const auto words = framework::splitLine(line, error)) {
      REQUIRE(framework::splitLine(framework::joinWords(*words), error) == words);
    }
    answer(host.shell, line);
  }
}
