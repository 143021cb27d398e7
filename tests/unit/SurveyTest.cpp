// What is said of the records and the processes that run: to an operator, and by a check.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "host/service/fw_RunningCheck.h"
#include "host/service/fw_ServiceFactory.h"
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
  controller.addProcess(74, "/opt/go(1)/gone.py -d");
  framework::Config config;
  utility::StringArray list;
  for (const char* entry : {" all//bin/web", "web", "", "gone", "wide/cfg", "broken/("}) {
    list.Append(entry);
  }
  config.set("Other.data", {.value = list});
  std::vector<std::string> warnings;
  EXPECT_EQ(test::printed([&](auto& stream) {
              warnings = framework::RunningCheck::of("AppManager")(
                  config, "Other", stream, [](const char* line) {
                    EXPECT_STREQ(line, "process list");
                    return "0 99\nsaid before\n"
                           "NAME  STATE  SUSPENDED  PIDS\n"
                           "web   Up     yes        71\n"
                           "wide  Up     no         71\n"
                           "all   Up     yes        -\n"
                           "old   Down   yes        -\n";
                  });
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
            "HOW     PID  PROGRAM  COMMAND LINE\n"
            "nearly  74   gone.py  /opt/go(1)/gone.py -d\n"
            "wide: command lines that match cfg\n"
            "HOW     PID  PROGRAM  COMMAND LINE\n"
            "claims  72   mchost   /usr/sbin/mchost --config /cfg/mc.toml\n"
            "broken: programs of that name, since its pattern does not compile\n"
            "no running process\n"
            "a start with this configuration changes on the running host\n"
            "all: suspended now, and no longer then\n"
            "gone: supervised from then on\n"
            "broken: supervised from then on\n"
            "old: supervised no more\n");
  EXPECT_EQ(warnings, (std::vector<std::string>{
                          "gone: no running process matches, but gone.py (74) runs; is "
                          "\"gone/^/opt/go\\(1\\)/gone\\.py( |$)\" meant?",
                          "wide: no running process matches",
                          "wide: matches mchost itself",
                          "broken: no running process matches",
                          "process 70 (web) matches all, web; the first of them gets it",
                      }));
  EXPECT_EQ(test::printed([](auto& stream) {
              EXPECT_TRUE(
                  framework::RunningCheck::of("AppManager")({}, "Other", stream, nullptr).empty());
            }),
            "");
  EXPECT_EQ(framework::RunningCheck::of("Nobody"), nullptr);
}

TEST(Installation, IsHeldAgainstTheConfiguration) {
  test::SimulatedController controller;
  std::filesystem::create_directories(controller.machine.root() + "/app/etc/init.d");
  std::filesystem::create_directories(controller.machine.root() + "/sbin");
  for (const char* script : {"good", "plain", "sfcbd", "snmpd"}) {
    const std::string path = std::string("/app/etc/init.d/") + script + "S";
    controller.writeFile(path, "");
    if (script != std::string("plain")) ::chmod((controller.machine.root() + path).c_str(), 0755);
  }
  controller.writeFile("/opt/bin/snmpd", "");
  const auto config = [&](const char* key, const std::vector<std::string>& entries) {
    utility::StringArray list;
    for (const std::string& entry : entries) list.Append(entry);
    return std::pair(std::string("Other.") + key, framework::Property{.value = list});
  };
  framework::Config all;
  for (const auto& [name, property] :
       {config("data", {" good//x", "", "plain", "none", "sfcbd", "snmpd"}),
        config("nokill", {"good ", "ghost", ""}), config("killNonEssential", {"nobody"})}) {
    all.set(name, property);
  }
  const auto warnings = [&] {
    std::vector<std::string> lines;
    const auto look = framework::ServiceProperties::lookOf("AppManager");
    for (const auto& [key, entry, text] : look(all, "Other")) {
      lines.push_back(key + " " + std::to_string(static_cast<int>(entry)) + " " + text);
    }
    return lines;
  };
  const std::vector<std::string> lists = {
      "nokill 1 \"ghost\": no daemon of the list data",
      "killNonEssential 0 \"nobody\": no daemon of the list data"};
  std::vector<std::string> expected = {
      "data 2 \"plain\": its init script /app/etc/init.d/plainS cannot be run",
      "data 3 \"none\": its init script /app/etc/init.d/noneS is not there",
      "data 4 \"sfcbd\": starts suspended, since /opt/sbin/sfcbd is not there"};
  expected.insert(expected.end(), lists.begin(), lists.end());
  EXPECT_EQ(warnings(), expected);
  controller.writeFile("/cfg/do.crashmail", "");
  expected.emplace_back(
      "data -1 crash mail is on by /cfg/do.crashmail, but /sbin/sendmail cannot be run");
  EXPECT_EQ(warnings(), expected);
  controller.writeFile("/sbin/sendmail", "");
  ::chmod((controller.machine.root() + "/sbin/sendmail").c_str(), 0755);
  ::setenv("MC_ARCH", "PC", 1);  // where no script is run
  EXPECT_EQ(warnings(), lists);
}

}  // namespace
}  // namespace services::app
