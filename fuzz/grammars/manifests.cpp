// The archive's files, as a kill or another program may have left them: a note of a file to be
// listed, and the two manifests.
#include <iostream>

#include "app/archive/app_AppFileLogger.h"
#include "fuzz/play.h"
#include "support/SimulatedController.h"

void play(const std::string& input) {
  framework::Logger::setLevel(-1);
  std::cout.setstate(std::ios::failbit);
  std::cerr.setstate(std::ios::failbit);
  static const test::SysInfoSetting sysInfo({}, {{"ManagedLogsEnable", true}});
  static const test::SimulatedController controller;
  const auto texts = textsOf(input, 3);
  const std::string working = "/var/log/logArchive.manifest.working";
  controller.writeFile("/var/log/logArchive.intended", texts[0]);
  controller.writeFile(working, texts[1]);
  controller.writeFile("/var/log/logArchive.manifest", texts[2]);
  framework::Config::setConfig(test::configOf({{"AppFileLogger.directory", "/var/log/"}}));

  services::app::AppFileLogger logger("AppFileLogger", nullptr);
  REQUIRE(logger.addLogFileToArchive("/var/log/mc.log.000001", "/var/log/", 1) == 0);
  const std::string whole = texts[1].substr(0, texts[1].rfind('\n') + 1);
  const std::string listed = "\n" + controller.readFile(working);
  REQUIRE(listed.starts_with("\n" + whole) && listed.ends_with("\n/var/log/mc.log.000001\n"));
  REQUIRE(controller.readFile("/var/log/logArchive.manifest") == texts[2]);
}
