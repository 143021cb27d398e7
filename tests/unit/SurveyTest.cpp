// What is said of the records and the processes that run: to an operator, and by a check.

#include "host/service/fw_RunningCheck.h"
#include "host/service/fw_ServiceFactory.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using Lines = std::vector<std::string>;

framework::Config configOf(const std::map<std::string, Lines>& lists) {
  framework::Config config;
  for (const auto& [key, entries] : lists) {
    config.set("Other." + key, {.value = test::listOf(entries)});
  }
  return config;
}

const char* const running =
    "0 99\nsaid before\n"
    "NAME  STATE  SUSPENDED  PIDS\n"
    "web   Up     yes        71\n"
    "wide  Up     no         71\n"
    "all   Up     yes        -\n"
    "old   Down   yes        -\n";

std::string surveyed(const framework::Config& config, const char* list, Lines& warnings) {
  return test::printed([&](auto& stream) {
    warnings = framework::RunningCheck::of("AppManager")(
        config, "Other", stream,
        [list](const char* line) { return std::string(line) == "process list" ? list : line; });
  });
}

TEST(Survey, ShowsWhatEachRecordClaimsAndWarnsOfWhatIsAmiss) {
  test::SimulatedController controller;
  for (int pid = 70;
       const char* line : {"/app/bin/web --port 80", "/app/bin/webmail\t\xC2\x9Bx",
                           "/usr/sbin/mchost --config /cfg/mc.toml", "", "/opt/go(1)/gone.py -d"}) {
    controller.addProcess(pid++, line);
  }
  Lines warnings;
  EXPECT_EQ(
      surveyed(configOf({{"data", {" all//bin/web", "web", "", "gone", "wide/cfg", "broken/("}}}),
               running, warnings),
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
  EXPECT_EQ(warnings, (Lines{
                          "gone: no running process matches, but gone.py (74) runs; is "
                          "\"gone/^/opt/go\\(1\\)/gone\\.py( |$)\" meant?",
                          "wide: no running process matches",
                          "wide: matches mchost itself",
                          "broken: no running process matches",
                          "process 70 (web) matches all, web; the first of them gets it",
                      }));
  EXPECT_EQ(surveyed({}, "", warnings), "");
  EXPECT_EQ(warnings, Lines());
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
  const auto warnings = [] {
    const auto all = configOf({{"data", {" good//x", "", "plain", "none", "sfcbd", "snmpd"}},
                               {"nokill", {"good ", "ghost", ""}},
                               {"killNonEssential", {"nobody"}}});
    Lines lines;
    const auto look = framework::ServiceProperties::lookOf("AppManager");
    for (const auto& [key, entry, text] : look(all, "Other")) {
      lines.push_back(key + " " + std::to_string(static_cast<int>(entry)) + " " + text);
    }
    return lines;
  };
  const Lines lists = {"nokill 1 \"ghost\": no daemon of the list data",
                       "killNonEssential 0 \"nobody\": no daemon of the list data"};
  Lines expected = {"data 2 \"plain\": its init script /app/etc/init.d/plainS cannot be run",
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
