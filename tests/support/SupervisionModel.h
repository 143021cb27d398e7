// What the supervision of daemons is to do, told as plainly as it goes: a list of records, and the
// rules one after the other. A story is played on it; what it does and logs is its trace.
#pragma once

#include "support/MemoryModel.h"
#include "support/SimulatedDaemons.h"

namespace test {

class SupervisionModel {
 public:
  explicit SupervisionModel(const Story& story) : m_story(story) {
    m_daemons.stall = [this](auto milliseconds) { m_now += milliseconds; };
    m_daemons.changed = [this](int pid) { changed(pid); };
  }

  Texts play() {
    for (const Happening& one : m_story.happenings) {
      if (one.at < 0) m_daemons.happen(one);
      if (one.at >= 0) m_due.emplace(start + one.at, [this, &one] { happen(one); });
    }
    construct();
    trace("kill script: " + m_killScript);
    m_due.emplace(start + m_story.number("end") * 1000, [this] { m_stopped = m_signalled = true; });
    live();
    trace("crash events: " + m_crashEvents);
    return m_trace;
  }

 private:
  static constexpr std::int64_t start = 1700000000000;  // milliseconds

  struct Instance {
    int pid;
    long data = 0;
    long code = 0;
  };

  struct Record {
    std::string name;
    std::optional<std::string> pattern;
    bool suspended;
    std::string state = "Unclassified";
    std::int64_t since = 0;
    std::vector<Instance> instances = {};
    bool restarting = false;
    std::vector<Instance> before = {};  // when the restart was asked for
    std::vector<std::int64_t> restarts = {};
    bool failing = false;
    std::vector<std::int64_t> mails = {};
    int mailsLeftOut = 0;

    bool has(const Instance& one) const {
      return std::ranges::count(instances, one.pid, &Instance::pid) > 0;
    }
    long sum(long Instance::*size) const {
      long all = 0;
      for (const Instance& one : instances) all += one.*size;
      return all;
    }
    bool matches(const std::string& program) const {
      return pattern ? ("/bin/" + program + " -d ").find(*pattern) != std::string::npos
                     : program == name;
    }
  };

  void trace(const std::string& what) {
    m_trace.push_back(text("%9.3f ", double(m_now - start) / 1000) + what);
  }
  void debug(std::string line, const char* flag = "AppManager") {
    std::ranges::replace_if(
        line, [](char one) { return one < ' '; }, '?');  // the log shows none
    if (m_story.has("debug", flag)) trace("debug " + line);
  }
  void command(const std::string& line) {
    const std::int64_t began = m_now;
    trace("$ " + line);
    const int status = m_daemons.run(line);
    const std::string how = status > 128 ? "ended by signal 9" : "exit status 1";
    if (status != 0 && line != "readslot") {
      trace("warning command " + how + text(" after %.1f s: ", double(m_now - began) / 1000) +
            line);
    }
    if (line.starts_with("/app/etc/init.d/")) callForWake();
  }
  long number(const char* name) const { return m_complete ? m_story.number(name) : 0; }
  long secondsSince(std::int64_t time) const { return static_cast<long>((m_now - time) / 1000); }
  // Whether more than these seconds have passed since the mark, which is then set again.
  bool due(std::int64_t& mark, std::int64_t passed, std::int64_t seconds) {
    if (passed > seconds) mark = m_now;
    return passed > seconds;
  }
  std::string timeText(std::int64_t time, const char* format) const {
    const auto seconds = static_cast<std::time_t>((time + m_clockStep) / 1000);
    std::ostringstream result;
    result << std::put_time(std::gmtime(&seconds), format);
    return result.str();
  }
  Record* find(const std::string& name) {
    const auto found = std::ranges::find(m_records, name, &Record::name);
    return found == m_records.end() ? nullptr : &*found;
  }
  std::map<std::string, Record*> sorted() {
    std::map<std::string, Record*> all;
    for (Record& record : m_records) all[record.name] = &record;
    return all;
  }

  // A list property; none, with an error line, where there is none.
  std::optional<Texts> list(const std::string& name) {
    if (m_story.given.contains(name)) return m_story.given.at(name);
    trace("error AppManager." + name +
          ": property not supplied.  Needed for AppManager processes.");
    return std::nullopt;
  }
  static std::string trimmed(const std::string& entry) {
    std::string word;
    std::istringstream(entry) >> word;
    return word;
  }

  void construct() {
    m_control = !m_story.has("MC_ARCH", "PC") && m_story.given.contains("MC_ARCH");
    const auto daemons = list("data");
    if (!daemons) return;
    debug(std::to_string(daemons->size()) + " processes found");
    for (const std::string& entry : *daemons) {
      debug("monitoring process: " + entry);
      if (!trimmed(entry).empty()) add(trimmed(entry));
    }
    const auto spared = list("nokill");
    if (!spared) return;
    std::set<std::string> names;
    for (const std::string& entry : *spared) {
      const std::string name = trimmed(entry);
      if (name.empty()) continue;
      names.insert(name);
      debug(find(name) != nullptr ? "prcessindex for nokill"
                                  : unknown(name, 29, "added to the nokill list"));
    }
    m_complete = true;
    m_killScript = "#!/bin/sh\n";
    for (const Record& record : m_records) {
      if (!names.contains(record.name)) m_killScript += "killall -9 " + record.name + "\n";
    }
  }

  static std::string unknown(const std::string& name, std::size_t blanks, const char* what) {
    return name + " not found in process list; it can not be" + std::string(blanks, ' ') + what;
  }

  void add(const std::string& entry) {
    const std::size_t slash = entry.find('/');
    const std::string name = entry.substr(0, slash);
    std::optional<std::string> pattern;
    if (slash != std::string::npos) pattern = entry.substr(slash + 1);
    bool missing = false;
    for (const char* program :
         {"/opt/bin/snmpd", "/opt/sbin/sfcbd", "/opt/sbin/slpd", "/app/bin/web"}) {
      missing =
          missing || (std::string(program).ends_with("/" + name) && !m_story.has("files", program));
    }
    debug(name + " : " + (missing ? "true" : "false") + " / " + pattern.value_or("-"));
    if (pattern) trace("info pattern: [" + *pattern + "]");
    if (pattern == "(") {
      trace("error Failure to compile regular expression for " + name + ": (");
      pattern.reset();
    }
    m_records.push_back({name, pattern, missing});
  }

  void live() {
    while (!m_stopped) {
      const std::int64_t began = m_now;
      m_wait = number("pollSeconds");
      m_memory.track(m_now, m_daemons.summary);
      m_restarts = m_restarts || secondsSince(start) > 120;
      if (!m_records.empty()) {
        scan();
        for (Record& record : m_records) pass(record);
        for (Record& record : m_records) {
          if (!record.failing || countOfLate(record) > flapLimit()) continue;
          record.failing = false;
          trace("info AppManager: " + record.name + " is no longer failing");
        }
        setTicking(std::ranges::count(m_records, "Starting", &Record::state) > 0);
        debug("done monitoring processes");
      }
      if (due(m_tracked, secondsSince(m_tracked), 299)) trackProcesses();
      if (number("doLockTrack") != 0 && due(m_locksTracked, secondsSince(m_locksTracked), 29)) {
        debug("LockTracking - unlock Dead PIDS");
        if (std::exchange(m_deadLock, false)) trace("warning Possible lock issue");
      }
      const long took = secondsSince(began);
      sleep(took < m_wait ? m_wait - took : m_wait);
    }
  }

  // A record whose last process of the scan has ended, or an end of an init script, calls for a
  // cycle at once, but for a tenth of a second after the one before. A start is looked at every 2
  // s.
  void changed(int pid) {
    const auto watched = m_watched.find(pid);
    if (m_daemons.processes.contains(pid) || watched == m_watched.end()) return;
    const Record* const record = watched->second;
    m_watched.erase(watched);
    const auto ofIt = [&](const auto& one) { return one.second == record; };
    if (std::ranges::none_of(m_watched, ofIt)) callForWake();
  }
  void callForWake() {
    m_wanted = true;
    wakeIfDue();
  }
  void setTicking(bool on) {
    if (on == (m_tick != 0)) return;
    m_tick = on ? m_now + 2000 : 0;
    wakeIfDue();
  }
  void wakeIfDue() {
    const bool ticks = m_tick != 0 && m_tick <= m_now;
    if (!watches()) return;
    if ((m_wanted || ticks) && m_now >= m_lastWake + 100) {
      m_wanted = false;
      m_signalled = true;
      m_lastWake = m_now;
      if (ticks) m_tick = m_now + 2000;
    }
    const std::int64_t next = m_wanted ? m_now : m_tick;
    if (m_wanted || m_tick != 0) arm(std::max(next, m_lastWake + 100));
  }
  void arm(std::int64_t at) {
    if (std::exchange(m_armed, at) == at) return;
    m_due.emplace(at, [this, at] {
      if (m_armed != at) return;
      m_armed = 0;
      wakeIfDue();
    });
  }
  bool watches() const { return !m_complete || m_story.has("watchExits", "1"); }

  void sleep(long seconds) {
    const std::int64_t deadline = m_now + std::max(1L, seconds) * 1000;
    while (!m_signalled && !m_due.empty() && m_due.begin()->first <= deadline) {
      const auto next = m_due.extract(m_due.begin());
      m_now = std::max(m_now, next.key());
      next.mapped()();
    }
    if (!std::exchange(m_signalled, false)) m_now = std::max(m_now, deadline);
  }

  bool isStill(const Instance& one, const Record& record) const {
    const auto process = m_daemons.processes.find(one.pid);
    return process != m_daemons.processes.end() && record.matches(process->second.program);
  }

  // The dead go last, so they still take the room of new ones in the scan that misses them.
  void scan() {
    std::map<int, const Record*> owners;  // the first that matches
    for (const auto& [pid, process] : m_daemons.processes) {
      for (Record& record : m_records) {
        if (owners[pid] != nullptr || !record.matches(process.program)) continue;
        owners[pid] = &record;
        if (!record.has({pid}) && record.instances.size() < 30) record.instances.push_back({pid});
      }
    }
    for (Record& record : m_records) {
      std::erase_if(record.instances, [&](auto& one) { return owners[one.pid] != &record; });
    }
    std::erase_if(owners, [](const auto& one) { return one.second == nullptr; });
    m_watched = owners;
  }

  void enter(Record& record, const char* state) {
    debug(record.name + ": from: " + record.state + " to " + state, "Process");
    record.state = state;
    record.since = m_now;
  }

  void pass(Record& record) {
    std::string pids;
    for (const Instance& one : record.instances) pids += "," + std::to_string(one.pid);
    debug("process " + record.name + " [" + (pids.empty() ? "" : pids.substr(1)) + "] " +
          record.state + " " + (record.suspended ? "suspended" : ""));
    const bool runs = !record.instances.empty();
    const long seconds = secondsSince(record.since);
    if (record.state == "GoingDown") {
      m_wait = 2;
      if (!runs) return enter(record, "Down");
      if (seconds <= number("noKillSeconds")) return;
      kill(record);
      enter(record, "GoingDown");
    } else if (record.state == "Down" && !runs) {
      if (!m_control || !m_restarts || record.suspended) return;
      debug("should we restart " + record.name);
      seconds > 5 && !record.restarting ? restart(record) : void(m_wait = 2);
    } else if (record.state == "Starting" && !runs) {
      if (seconds <= 30) return;
      m_wait = 2;
      enter(record, "GoingDown");
    } else if (record.state == "Up" ? !runs : !runs && m_restarts) {
      enter(record, "Down");
      pass(record);
    } else if (runs) {
      const bool renewed =
          std::ranges::none_of(record.before, [&](const Instance& one) { return record.has(one); });
      if (record.state == "Down" || (record.state == "Up" && renewed)) record.restarting = false;
      if (record.state != "Up") enter(record, "Up");
    }
  }

  void restart(Record& record) {
    trace("info AppManager: Restarting " + record.name);
    if (m_story.has("files", "/cfg/do.crashmail")) {
      if (mayMail(record)) mail(record.name, "/tmp/" + record.name + "crash.mail");
      if (m_complete)
        m_crashEvents +=
            timeText(m_now, "%Y-%m-%d %H:%M:%S: ") + record.name + " down, restarted\n";
    }
    control(record, "start");
    enter(record, "Starting");
    countRestart(record);
  }

  static long within(const std::vector<std::int64_t>& times, std::int64_t from) {
    return std::ranges::count_if(times, [from](std::int64_t time) { return time >= from; });
  }
  long countOfLate(const Record& record) const {
    const long minutes = number("flapMinutes") == 0 ? 10 : number("flapMinutes");
    return within(record.restarts, m_now - minutes * 60000);
  }
  long flapLimit() const { return number("flapRestarts") == 0 ? 5 : number("flapRestarts"); }

  void countRestart(Record& record) {
    record.restarts.push_back(m_now);
    const long count = countOfLate(record);
    if (count <= flapLimit() || std::exchange(record.failing, true)) return;
    trace("error AppManager: " + record.name +
          text(" is failing: restarted %ld times in %ld minutes", count,
               number("flapMinutes") == 0 ? 10 : number("flapMinutes")));
  }

  bool mayMail(Record& record) {
    const long limit = number("crashMailLimit");
    const bool may = limit == 0 || within(record.mails, m_now - 3599999) < limit;
    if (may) record.mails.push_back(m_now);
    record.mailsLeftOut = may ? 0 : record.mailsLeftOut + 1;
    if (!may)
      trace("warning AppManager: no crash mail of " + record.name +
            text(": %ld an hour are its limit, %d left out since the last", limit,
                 record.mailsLeftOut));
    return may;
  }

  void mail(const std::string& name, const std::string& path) {
    debug("readslot");
    command("readslot");
    for (const char* step : {"temp", "create virtualputstream", "create output", "create output"}) {
      debug(step);
    }
    command("/usr/bin/getmcinfoheader >>" + path);
    command("cat /cfg/sysinfo/system.xml >>" + path);
    command("/app/etc/get" + name + "logs >>" + path);
    debug("About to execute sendmail for file: " + path);
    const std::string send = "/sbin/sendmail -S 127.0.0.1 -t <" + path + "; rm " + path + "; &";
    debug("using: " + send);
    command(send);
  }

  void control(Record& record, const std::string& action) {
    if (action == "restart") {
      record.restarting = true;
      record.before = record.instances;
    }
    const std::string line = action == "kill"
                                 ? "killall -9 " + record.name
                                 : "/app/etc/init.d/" + record.name + "S " + action + " &";
    debug(line, "Process");
    command(line);
  }

  void kill(Record& record) {
    debug(record.name + " going down, took too long, killing it");
    for (const Instance& one : record.instances) {
      if (!isStill(one, record)) continue;
      const std::string pid = std::to_string(one.pid);
      trace("warning AppManager: " + record.name + " (" + pid + ") is still up, killing it ...");
      debug("kill -9 " + pid);
      command("kill -9 " + pid);
    }
  }

  void trackProcesses() {
    for (Record& record : m_records) {
      for (Instance& one : record.instances) {
        const auto found = m_daemons.processes.find(one.pid);
        const bool known = found != m_daemons.processes.end() && found->second.data >= 0;
        one = known ? Instance{one.pid, found->second.data, one.pid} : Instance{one.pid};
      }
    }
    trace("info \n" + report());
    if (number("doMemLimitChecking") != 0 && m_memory.cached() < 13000)
      restartTheFirstAboveItsLimit();
  }

  std::string report() {
    std::string lines = m_restarts ? "" : "Do Restarts disabled\n";
    if (!m_control) lines += "Do ProcessControl disabled\n";
    for (const auto& [name, record] : sorted()) {
      const auto& all = record->instances;
      const long code = record->sum(&Instance::code);
      lines += text(
          "%-14s: %-10s (%5d), suspend: %-5s, last transition: %6ld, "
          "code %6ld kb data: %6ld kb shared %6ld kb\n",
          name.c_str(), record->state.c_str(), all.size() == 1 ? all[0].pid : 0,
          record->suspended ? "true" : "false", secondsSince(record->since), code,
          record->sum(&Instance::data), 2 * code);
      for (std::size_t i = 0; all.size() > 1 && i < all.size(); ++i) {
        lines += text("    (%5d), code: %6ld kb data: %6ld kb shared: %6ld kb\n", all[i].pid,
                      all[i].code, all[i].data, 2 * all[i].code);
      }
    }
    return lines + m_memory.told();
  }

  void restartTheFirstAboveItsLimit() {
    trace("warning MEM: VM page cache low, finding proces to restart");
    for (Record& record : m_records) {
      const long limit = record.name == "logmigrated" ? 25000 : 1048576;
      if (record.name == "sfcbd" && record.instances.size() > 26) {
        control(record, "restart");
        trace("error MEM: MAX INSTANCES REACHED: restarting sfcbd");
        return countRestart(record);
      }
      if (record.name == "sfcbd" || record.sum(&Instance::data) <= limit) continue;
      trace("error MEM: DATA SIZE THRESHOLD EXCEEDED: " + record.name +
            text(" (%ld/%ld) - restarting ...", record.sum(&Instance::data), limit));
      control(record, "restart");
      return countRestart(record);
    }
  }

  void happen(const Happening& one) {
    const auto& [at, what, who, number] = one;
    Record* const record = find(who);
    m_daemons.happen(one);
    if (what == "start" || what == "stop" || what == "restart") order(record, who, what);
    if (what == "suspend" && record != nullptr) {
      record->suspended = number % 2 != 0;
      debug("set suspend \"" + who + "\", " + (record->suspended ? "true" : "false"));
    }
    if (what == "ask") trace(record == nullptr ? "Unclassified" : record->state);
    if (what == "ask") trace(record != nullptr && record->suspended ? "1" : "0");
    if (what == "report") trace(report());
    if (what == "signal") signal(record, who);
    if (what == "portal") m_portal = static_cast<int>(number);
    if (what == "dead-lock") m_deadLock = true;
    if (what == "clock") m_clockStep = (number - 500000) * 1000;
    if (what == "forget-samples") m_memory.samples.clear();
    if (what == "samples") {
      trace("timeStamp,totalBytes,usedBytes,freeBytes,extraBytes,sysBytesFree,sysPercentFree");
      for (const auto& [time, figures] : m_memory.samples) {
        trace(timeText(time, "%Y-%m-%dT%H:%M:%SZ") + figures);
      }
    }
    if (what == "going-down") goDown(number % 9 == 0 ? "-" : who);
    if (what == "kill-non-essential") killNonEssential();
    if (what == "migration") migrate(number % 4);
    if (what == "other-event") trace("warning SERVICE EVENT: shutdown - " + who);
  }

  void order(Record* record, const std::string& name, const std::string& action) {
    if (!m_control) return trace("0");
    const std::string verb = (action == "stop" ? "stopp" : action) + "ing process " + name + " - ";
    debug(verb + "open");
    if (record == nullptr) return trace("0");
    debug(verb + action);
    control(*record, action);
    debug((action == "restart" ? "restopping process " + name + " - " : verb) + "close");
    trace("1");
  }

  void signal(const Record* record, const std::string& name) {
    int pid = name == "sfcbd" ? m_portal : 0;
    if (name != "sfcbd" && record != nullptr && !record->instances.empty())
      pid = isStill(record->instances[0], *record) ? record->instances[0].pid : 0;
    if (pid == 0) return;
    debug("found process " + name + ", sending to pid: " + std::to_string(pid));
    trace("signal 45 to " + std::to_string(pid));
  }

  void goDown(const std::string& data) {
    trace("warning SERVICE EVENT: goingDown - " + data);
    for (const auto& [name, record] : sorted()) {
      if (!data.starts_with(name)) continue;
      enter(*record, "GoingDown");
      m_signalled = true;
      return;
    }
  }

  void killNonEssential() {
    trace("warning SERVICE EVENT: killNonEssentialProcesses - -");
    for (const std::string& entry : list("killNonEssential").value_or(Texts{})) {
      const std::string name = trimmed(entry);
      Record* const record = find(name);
      if (record != nullptr) {
        debug("processindex for nonEssential");
        record->suspended = true;
        control(*record, "kill");
      } else if (!name.empty()) {
        debug(unknown(name, 33, "killed as non-essential"));
      }
    }
  }

  void migrate(long which) {
    const std::string of = which == 0 ? "" : "Mc" + std::to_string(which);
    trace("warning SERVICE EVENT: logMigration" + of + " - -");
    trace("info AppManager::serviceEvent " +
          (which == 0 ? "got tGSlogMigration event MC1: send managed logs CAPI event. "
                      : "tGSlogMigration" + of + ": sent managed logs CAPI event.  status 0"));
    if (which > 0) trace(text("report %ld 12", 399 + which));
  }

  const Story& m_story;
  SimulatedDaemons m_daemons;
  Texts m_trace;
  std::int64_t m_now = start;
  std::multimap<std::int64_t, std::function<void()>> m_due;
  std::int64_t m_clockStep = 0;
  bool m_signalled = false, m_stopped = false;
  std::map<int, const Record*> m_watched;  // the processes of the last scan that have not ended
  bool m_wanted = false;
  std::int64_t m_lastWake = 0, m_tick = 0, m_armed = 0;

  std::deque<Record> m_records;
  bool m_control = false, m_restarts = false;
  bool m_complete = false;  // both lists were there
  long m_wait = 0;
  std::string m_killScript, m_crashEvents;

  std::int64_t m_tracked = 0, m_locksTracked = 0;
  MemoryModel m_memory;
  bool m_deadLock = false;
  int m_portal = 0;
};

}  // namespace test
