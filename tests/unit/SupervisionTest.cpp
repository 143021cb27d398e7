// Random histories of daemons, played on the supervision service and on a model of it.
#include "support/SupervisionModel.h"

#include "host/base/ut_Array.h"
#include "host/service/ap_ApplicationService.h"
#include "host/service/fw_LockManager.h"
#include "host/service/fw_ManagedLogs.h"
#include "support/SimulatedController.h"

namespace services::app {
namespace {

using test::Happening;
using test::Random;
using test::Story;
using test::Texts;

constexpr std::int64_t millisecond = 1000;

strings::stringtoken token(const std::string& text) { return strings::GS.toToken(text.c_str()); }

// The service in a story, and its trace: what it logs, what it runs and what it answers.
class Play : public framework::Logger {
 public:
  explicit Play(const Story& story) : m_story(story) {
    m_daemons.changed = [this](int pid) { show(pid); };
    m_daemons.stall = [this](auto time) { m_machine.stall(time * millisecond); };
    m_machine.onCommand("", [this](const platform::Command& command) {
      trace("$ " + std::string(command.line) + (command.detached ? " &" : ""));
      return platform::Result{.status = m_daemons.run(command.line)};
    });
    registerLogger(this);
  }
  ~Play() override {
    unregisterLogger(this);
    for (const char* flag : {"AppManager", "Process"}) utility::Debug::setDebug(token(flag), false);
    ApplicationService::unregisterPortal("sfcbd", m_portal);
    framework::LockManager::getInstance()->unlockDeadPids();
  }

  Texts run() {
    configure();
    for (const Happening& one : m_story.happenings) {
      if (one.at < 0) m_daemons.happen(one);
      if (one.at >= 0) m_machine.at(one.at * millisecond, [this, &one] { happen(one); });
    }
    m_manager = &m_controller.build();
    trace("kill script: " + m_controller.readFile("/usr/bin/killappsmchost"));
    m_controller.runUntil(m_story.number("end"));
    trace("crash events: " + m_controller.readFile("/var/log/crash.events"));
    checkFlight();
    return m_trace;
  }

  // "DATE TIME LEVEL   SERVICE: TEXT" or "... SERVICE [OPERATION:LINE]: TEXT"
  void takeLine(int type, const char* line, std::size_t size) override {
    const std::string all(line, size - 1);
    const std::size_t service = all.find_first_of(" :", 32);
    const std::size_t end = all[service] == ':' ? service : all.find("]:", service) + 1;
    const std::string text = all.substr(end + 2);
    if (type == framework::LogType::Trace || text.starts_with("pattern tried on ")) return;
    trace(all.substr(24, all.find(' ', 24) - 24) + " " + text);
  }

 private:
  void trace(const std::string& what) {
    m_trace.push_back(test::text("%9.3f ", double(m_machine.elapsed()) / 1e6) + what);
  }

  // What was recorded is decided again, and the same.
  void checkFlight() {
    for (const auto& line : utility::LineRing::texts(m_controller.readFile("/var/log/flight"))) {
      const auto row = replayed(line);
      if (!row || !row->otherwise.empty()) trace("flight: " + line);
    }
  }

  void configure() {
    m_controller.setInt("flightKiB", 16);
    ::unsetenv("MC_ARCH");
    for (const char* list : {"data", "nokill"}) m_controller.setInt(list, 0);  // no list
    m_controller.setBool("watchExits", m_story.has("watchExits", "1"));
    for (const auto& [name, entries] : m_story.given) {
      if (name == "MC_ARCH") {
        ::setenv("MC_ARCH", entries[0].c_str(), 1);
      } else if (name == "files") {
        for (const std::string& file : entries) m_controller.writeFile(file, "");
      } else if (name == "debug") {
        for (const std::string& flag : entries) utility::Debug::setDebug(token(flag), true);
      } else if (name.ends_with("Seconds") || name.starts_with("flap") ||
                 name == "crashMailLimit") {
        m_controller.setInt(name, m_story.number(name));
      } else if (name.starts_with("do") || name == "watchExits") {
        m_controller.setBool(name, true);
      } else {
        m_controller.setList(name, entries);
      }
    }
  }

  void show(int pid) {
    const auto process = m_daemons.processes.find(pid);
    if (pid == 0) return m_controller.writeFile("/proc/meminfo", m_daemons.summary);
    if (process == m_daemons.processes.end()) return m_controller.removeProcess(pid);
    m_controller.addProcess(pid, "/bin/" + process->second.program + " -d");
    const std::string status = "/proc/" + std::to_string(pid) + "/status";
    std::filesystem::remove(m_machine.root() + status);
    if (process->second.data < 0) return;
    m_controller.writeFile(status, test::text("Name:\tx\nRssAnon:\t%ld kB\nVmExe: %d\nRssShmem: %d",
                                              process->second.data, pid, 2 * pid));
  }

  void happen(const Happening& one) {
    const auto& [at, what, who, number] = one;
    const strings::stringtoken name = token(who);
    m_daemons.happen(one);
    if (what == "start") trace(AppManager::startProcess(name) ? "1" : "0");
    if (what == "stop") trace(AppManager::stopProcess(name) ? "1" : "0");
    if (what == "restart") trace(AppManager::restartProcess(name) ? "1" : "0");
    if (what == "suspend") AppManager::setProcessSuspend(name, number % 2 != 0);
    if (what == "ask")
      trace(strings::StringRepository::toString(AppManager::getProcessState(name)));
    if (what == "ask") trace(AppManager::getProcessSuspend(name) ? "1" : "0");
    if (what == "report")
      trace(test::printed([&](auto& out) { m_manager->information(out, 0, false); }));
    if (what == "signal") signal(name);
    if (what == "portal") m_portal = ApplicationService::registerPortal("sfcbd", int(number));
    if (what == "dead-lock") framework::LockManager::getInstance()->take("flash", 0x7ffffff0);
    if (what == "clock") m_machine.setWallOffset((number - 500000) * test::second);
    if (what == "forget-samples") m_manager->clearMemSaveTrack();
    if (what == "samples") traceSamples();
    if (what == "going-down")
      raise(strings::token<"goingDown">, number % 9 == 0 ? nullptr : who.c_str());
    if (what == "kill-non-essential") raise(strings::token<"killNonEssentialProcesses">, nullptr);
    const std::array migrations = {strings::tGSlogMigration, strings::tGSlogMigrationMc1,
                                   strings::tGSlogMigrationMc2, strings::tGSlogMigrationMc3};
    if (what == "migration") raise(migrations[static_cast<std::size_t>(number % 4)], nullptr);
    if (what == "other-event") m_manager->serviceEvent(strings::token<"shutdown">, who.c_str());
  }

  void signal(strings::stringtoken daemon) {
    const std::size_t before = m_machine.signals().size();
    m_manager->propagateServiceEvent(daemon, strings::tGSlogMigrationMc1);
    if (m_machine.signals().size() == before) return;
    const auto& [pid, number, value] = m_machine.signals().back();
    trace(test::text("signal %d to %d", number, pid));
    if (value != strings::tGSlogMigrationMc1) trace("it has another event's token");
  }

  void raise(strings::stringtoken event, const char* data) {
    const strings::stringtoken* wanted = m_manager->eventSubscription();
    while (*wanted != event && *wanted != strings::tGSendOfList) ++wanted;
    if (*wanted != event) trace("not subscribed to");
    if (!m_manager->serviceEvent(event, data)) return;
    const auto report = framework::managedLogsReports().back();
    trace(test::text("report %d %d", report.code, report.component));
  }

  // Without the figures of the host's own memory, which differ from run to run.
  void traceSamples() {
    std::istringstream lines(test::printed([&](auto& out) { m_manager->dumpMemSaveTrack(out); }));
    std::string line;
    std::getline(lines, line);
    trace(line);
    while (std::getline(lines, line)) {
      const std::size_t figures = line.rfind(',', line.rfind(',') - 1) + 1;
      trace(line.substr(0, line.find(',')) + " " + line.substr(figures));
    }
  }

  const Story& m_story;
  Texts m_trace;
  test::SimulatedController m_controller;
  platform::SimulatedPlatform& m_machine = m_controller.machine;
  test::SimulatedDaemons m_daemons;
  AppManager* m_manager = nullptr;
  std::shared_ptr<const Portal> m_portal;
};

Texts some(Random& random, Texts all) {
  std::erase_if(all, [&](const std::string&) { return random.once(2); });
  return all;
}

// Entries of a list property, with white space around them and between.
Texts entriesOf(Random& random, const Texts& names, bool patterns) {
  Texts entries;
  for (const std::string& name : names) {
    const Texts all = {"", "", "", "/bin/" + name, "/(", "/-d", "//bin/" + name, "/sn"};
    entries.push_back(random.of<std::string>({"", " ", "\t "}) + name +
                      (patterns ? random.of(all) : "") + random.of<std::string>({"", " \n\r"}));
    if (random.once(9)) entries.push_back(random.of<std::string>({"", "  "}));
  }
  return entries;
}

using test::words;

// Happenings come within the start-up period or anywhere, at whole seconds or beside them.
Happening happeningOf(Random& random, const Texts& names, long end) {
  static const Texts whats = words(
      "appears appears appears ends ends ends ends turns grows memory start stop restart restart "
      "suspend suspend ask report signal signal portal dead-lock clock samples forget-samples "
      "going-down going-down going-down kill-non-essential migration other-event");
  const long second = random.below(random.once(4) ? std::min(125L, end) : end);
  const long at = 1000 * second + random.of<long>({0, 0, -1, 1, random.below(1000)});
  const std::string what = random.of(whats);
  std::string who = random.of(names);
  if (what == "going-down")
    who = random.of<std::string>({who, who + " ends", who + "x", " " + who, who.substr(1)});
  return {std::max(0L, at), what, who, random.below(1000000)};
}

std::vector<Happening> happeningsOf(Random& random, Texts names, long poll, long end) {
  std::vector<Happening> all = {{1000 * end, "samples", "", 0}};
  for (const std::string& name : names) {
    if (random.once(2)) all.push_back({-1, "appears", name, random.below(8)});
  }
  names.push_back("ghost");
  for (long count = random.below(30); count > 0; --count) {
    const Happening one = happeningOf(random, names, end);
    all.push_back(one);
    if (one.what == "restart" && random.once(2))  // what it brought ends soon
      all.push_back({one.at + random.below(3000 * poll), "ends", one.who, 0});
  }
  std::ranges::stable_sort(all, {}, &Happening::at);
  return all;
}

Story makeStory(Random& random) {
  Texts names = words("web snmpd sfcbd slpd logmigrated snmp a");
  while (names.size() > 5 || (names.size() > 1 && random.once(2))) {
    names.erase(names.begin() + random.below(std::ssize(names)));
  }
  std::map<std::string, Texts> given;
  if (!random.once(40)) given["data"] = entriesOf(random, names, true);
  if (!random.once(40)) given["nokill"] = entriesOf(random, some(random, names), false);
  if (!random.once(5))
    given["killNonEssential"] = some(random, {" web\t", "\r\nsnmpd", "ghost", "", "a", " "});
  if (!random.once(9)) given["MC_ARCH"] = {random.of<std::string>({"ARM", "ARM", "", "PC"})};
  const Texts files =
      words("/cfg/do.crashmail /opt/bin/snmpd /opt/sbin/sfcbd /opt/sbin/slpd /app/bin/web");
  given["files"] = some(random, files);
  given["debug"] = some(random, words("AppManager Process"));
  if (!random.once(6)) given["noKillSeconds"] = {random.of(words("0 1 5 10 30"))};
  if (random.once(2)) given["flapRestarts"] = {random.of(words("1 2 4"))};
  if (random.once(3)) given["flapMinutes"] = {random.of(words("1 3 30"))};
  if (random.once(2)) given["crashMailLimit"] = {random.of(words("1 2 3"))};
  if (random.once(2)) given["doMemLimitChecking"] = {"1"};
  if (random.once(2)) given["doLockTrack"] = {"1"};
  if (random.once(2)) given["watchExits"] = {"1"};
  long poll = random.of<long>({1, 2, 3, 5, 7, 10, 20, 30, 60});
  long end = 125 + random.below(60 + 30 * poll);
  if (random.once(100)) {  // the ring of samples goes round
    given["data"] = given["nokill"] = {};
    poll = 119 + random.below(3);
    end = 1500 * poll;
  }
  given["pollSeconds"] = {std::to_string(poll)};
  given["end"] = {std::to_string(end)};
  return {given, happeningsOf(random, names, poll, end)};
}

TEST(Supervision, DoesInAnyHistoryWhatItsModelDoes) {
  const test::SysInfoSetting sysInfo({{"A.IpV4Address", "10.0.0.1"}, {"B.IpV4Address", "10.0.0.2"}},
                                     {});
  ::setenv("TZ", "UTC", 1);
  test::campaign(makeStory, [](const Story& story) {
    const Texts expected = test::SupervisionModel(story).play();
    return test::parting(expected, Play(story).run());
  });
}

}  // namespace
}  // namespace services::app
