// What is said of the records and the processes that run: to an operator, and by a check.
#include <gtest/gtest.h>

#include "host/service/fw_RunningCheck.h"
#include "support/Printed.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

TEST(Survey, ShowsWhatEachRecordClaimsAndWarnsOfWhatIsAmiss) {
  test::SimulatedController controller;
  controller.addProcess(70, "/app/bin/web --port 80");
  controller.addProcess(71, "/app/bin/webmail\t\xC2\x9Bx");
  controller.addProcess(72, "/usr/sbin/mchost --config /cfg/mc.toml");
  controller.addProcess(73, "");
  framework::Config config;
  utility::StringArray list;
  for (const char* entry : {" all//bin/web", "web", "", "gone", "wide/cfg", "broken/("}) {
    list.Append(entry);
  }
  config.set("Other.data", {.value = list});
  std::vector<std::string> warnings;
  EXPECT_EQ(test::printed([&](auto& stream) {
              warnings = framework::RunningCheck::of("AppManager")(config, "Other", stream);
            }),
            "all: command lines that match /bin/web\n"
            "HOW     PID  PROGRAM  COMMAND LINE\n"
            "claims  70   web      /app/bin/web --port 80\n"
            "claims  71   webmail  /app/bin/webmail??x\n"
            "web: programs of that name\n"
            "HOW           PID  PROGRAM  COMMAND LINE\n"
            "taken by all  70   web      /app/bin/web --port 80\n"
            "nearly        71   webmail  /app/bin/webmail??x\n"
            "gone: programs of that name\n"
            "no running process\n"
            "wide: command lines that match cfg\n"
            "HOW     PID  PROGRAM  COMMAND LINE\n"
            "claims  72   mchost   /usr/sbin/mchost --config /cfg/mc.toml\n"
            "broken: programs of that name, since its pattern does not compile\n"
            "no running process\n");
  EXPECT_EQ(warnings, (std::vector<std::string>{
                          "gone: no running process matches",
                          "wide: no running process matches",
                          "wide: matches mchost itself",
                          "broken: no running process matches",
                          "process 70 (web) matches all, web; the first of them gets it",
                      }));
  EXPECT_EQ(test::printed([](auto& stream) {
              EXPECT_TRUE(framework::RunningCheck::of("AppManager")({}, "Other", stream).empty());
            }),
            "");
  EXPECT_EQ(framework::RunningCheck::of("Nobody"), nullptr);
}

}  // namespace
}  // namespace services::app
