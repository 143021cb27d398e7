// The command line of a running process, or the title that it gave itself: read, matched, shown.

#include "app/supervision/app_CommandLine.h"
#include "app/supervision/app_ProcessMatcher.h"
#include "fuzz/play.h"
#include "host/service/fw_RunningCheck.h"
#include "support/SimulatedController.h"
#include "util/fw_ShownText.h"

using services::app::AppManager;
using services::app::CommandLine;

void play(const std::string& input) {
  static const test::SimulatedController controller;
  framework::Logger::setLevel(-1);
  std::filesystem::create_directories(controller.machine.root() + "/proc/70");
  controller.writeFile("/proc/70/cmdline", input);

  const std::string bytes = input.substr(0, CommandLine::maxSize);
  std::string text = bytes;
  std::ranges::replace(text, '\0', ' ');
  const std::string word = text.substr(0, text.find_first_of(" \t"));
  const std::string base = word.substr(word.rfind('/') + 1);
  CommandLine commandLine;
  REQUIRE(commandLine.read("/proc/70"));
  REQUIRE(commandLine.bytes() == bytes);
  char name[16], shownText[CommandLine::maxSize + 1];
  int pid = 0;
  REQUIRE(AppManager::extractProcessInfo("/proc/70", name, sizeof name, shownText, sizeof shownText,
                                         pid));
  REQUIRE(pid == 70 && name == base.substr(0, 15) && shownText == text);
  REQUIRE(!AppManager::extractProcessInfo("/proc/71", name, sizeof name, nullptr, 0, pid));

  services::app::Process web(strings::GS.toToken("web"), false, nullptr);
  services::app::Process all(strings::GS.toToken("all"), false, "^(/[a-z]+)*/web[0-9]* ");
  services::app::ProcessMatcher matcher;
  matcher.add(web);
  matcher.add(all);
  const auto answer = matcher.find(commandLine);
  REQUIRE(!answer.failed);
  REQUIRE(base != "web" || answer.record == &web);

  const auto config = test::configOf({{"AppManager.data", test::listOf({"web", "all/^/web"})}});
  const std::string shown = test::printed([&](auto& stream) {
    framework::RunningCheck::of("AppManager")(config, "AppManager", stream,
                                              [](const char*) { return std::string(); });
  });
  REQUIRE(framework::shownLines(shown) == shown);
}
