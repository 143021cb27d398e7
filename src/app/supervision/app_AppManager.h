// The process supervision service.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "app/supervision/app_Flight.h"
#include "app/supervision/app_HealthCount.h"
#include "app/supervision/app_HistoryFile.h"
#include "app/supervision/app_Lineage.h"
#include "app/supervision/app_MailLimit.h"
#include "app/supervision/app_Probe.h"
#include "app/supervision/app_ProcessScan.h"
#include "app/supervision/app_ProcessTable.h"
#include "app/supervision/app_ProcessView.h"
#include "app/supervision/app_StatePass.h"
#include "app/supervision/app_Tokens.h"
#include "app/supervision/app_memtrack.h"
#include "host/base/fw_Memory.h"
#include "host/base/ut_LineRing.h"
#include "host/service/fw_Service.h"
#include "util/ut_Durations.h"
#include "util/ut_FileOutputStream.h"

namespace utility {
class IntArray;
class StringArray;
}  // namespace utility

namespace services::sysinfo {
class SysInfo;
}

namespace services::app {

/// Keeps the daemons named in its configuration running. One thread, the monitor thread, scans
/// /proc in every poll cycle, moves each daemon's state, restarts daemons that are down and kills
/// those that will not go down. A cycle begins at the end of the poll period, or before that when a
/// daemon's last instance or an init script has ended. Where the configuration says how to ask
/// whether daemons work, a second thread, the health thread, does.
///
/// The table of records does not change after construction. Its lock guards the records' claim
/// flags and, for the scan and the state pass of a cycle, is held by the monitor thread, also while
/// that logs and runs commands. Other threads reach a record by claiming it, which keeps two
/// claimers apart but not a claimer and the monitor thread; the record's own lock does that.
class AppManager : public framework::ActiveService {
 public:
  /// Reads the configuration of the instance and does the start-up work.
  explicit AppManager(const char* name);
  ~AppManager() override;

  /// The service, or null while there is none.
  static AppManager* getSingleton() { return m_pSingleton; }

  void information(utility::PutStream& stream, int indentation, bool detailed) const override;
  void Startup() override;
  void Shutdown() override;
  bool serviceEvent(strings::stringtoken event, const void* data) override;
  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  const strings::stringtoken* eventSubscription() const override { return m_eventsOfInterest; }
  void threadDo(int index) override;

  /// Claims the record of that name; null when there is none, or when the host is shutting down
  /// while another caller holds it. Give it back with closeProcess(). One thread claims one record
  /// at a time.
  Process* openProcess(strings::stringtoken name) const { return m_processes.open(name); }
  /// The number of records.
  unsigned int numProcesses() const { return m_processes.Length(); }
  /// Claims the n-th record in the order of names.
  Process* nthProcess(unsigned int n) const { return m_processes.openSorted(n); }
  /// Gives a claim back; null does nothing.
  void closeProcess(Process* process) const { m_processes.close(process); }

  /// Whether daemons may be started, stopped and restarted here, which MC_ARCH decides.
  bool isProcessControlOn() const { return m_doProcessControl; }

  /// The names of the records, in the order of the configuration.
  std::vector<std::string> names() const;

  /// Process control for other components, by the daemon's name token. Start, stop and restart
  /// answer whether the command was issued: not without a service, without a record of that name,
  /// or where the service must not control processes. The queries answer Unclassified or false
  /// where there is no record. Each claims the record and so may wait for another caller, and for
  /// the monitor thread's scan.
  /// The history tells who asked, `by`.
  static bool startProcess(strings::stringtoken name) { return startProcess(name, aService); }
  static bool stopProcess(strings::stringtoken name) { return stopProcess(name, aService); }
  static bool restartProcess(strings::stringtoken name) { return restartProcess(name, aService); }
  static bool startProcess(strings::stringtoken name, const char* by);
  static bool stopProcess(strings::stringtoken name, const char* by);
  static bool restartProcess(strings::stringtoken name, const char* by);
  static Process::State getProcessState(strings::stringtoken name);
  static bool getProcessSuspend(strings::stringtoken name);
  /// A suspended daemon is never restarted by the monitor loop.
  static void setProcessSuspend(strings::stringtoken name, bool suspend, const char* by = aService);
  /// Suspends it anew, whoever has done so before, or leaves one without an end as it is. One that
  /// ends is resumed by the first poll cycle after that. False when there is no record of that
  /// name.
  static bool suspendProcess(strings::stringtoken name, const Suspension& suspension,
                             bool anew = true);
  /// The suspensions in force, by daemon. Any thread may call.
  std::map<std::string, Suspension> suspensions() const;
  /// The host's restart ends them all. Who would set them again has `changed` called whenever one
  /// was set or taken back, but not at its own end, on the thread that did it, which may have
  /// claimed the record. Any thread may call.
  void onSuspension(std::function<void()> changed);

  /// The daemons as they are now, in the order of their names, or the one of that name. Waits for
  /// the monitor thread's scan. Any thread may call.
  std::vector<ProcessView> views(std::string_view only = {}) const;
  /// The same as of the last scan: without their processes and all that is looked up for each, and
  /// so for many callers.
  std::vector<ProcessView> glances() const;
  /// What happened to the daemons, kept over the host's restarts. Any thread may call.
  const History& history() const { return m_history; }
  /// The daemons that were restarted too often of late, those with the most restarts first, at
  /// most so many; none without a service. Any thread may call.
  static std::vector<FailingDaemon> failingDaemons(std::size_t most = 8);
  /// A line that names those of them that are failing on the partner too, by what it told within
  /// flapMinutes(); empty for none. Any thread may call.
  static std::string failingOnBoth();
  /// The minutes within which that is counted.
  int flapMinutes() const { return m_flapMinutes; }
  /// Writes what is known of one daemon, a line for each thing; nothing when there is no record of
  /// that name. Waits for the monitor thread's scan. Any thread may call.
  void showProcess(strings::stringtoken name, utility::PutStream& stream) const;

  /// Asks the daemons whose turn it is how they do, as the configuration says, and stops those that
  /// are ill where it says so. Waits for the answers. For the health thread.
  void lookAtHealth();

  /// Writes how the daemon's record is matched with the processes that run now (see
  /// explainRecord); nothing when there is no record of that name. Any thread may call.
  void explainProcess(strings::stringtoken name, utility::PutStream& stream) const;

  /// Writes why the daemon is in its state and what comes next (see writeWhy); nothing when there
  /// is no record of that name. Waits for the monitor thread's scan. Any thread may call.
  void whyProcess(strings::stringtoken name, utility::PutStream& stream) const;

  /// The pid of the first running process whose program's base name begins with the text; -1 when
  /// there is none.
  static int findProcess(const char* prefix);
  /// Appends the host's own pid and those of all instances of the last scan.
  void getAllPids(utility::IntArray& pids) const;
  /// Runs a command and keeps what it prints, as far as it fits into `size` bytes. True when the
  /// command's status was 0.
  static bool getExternalValue(const char* command, char* buffer, unsigned int size);

  /// Reads a running process, given as its directory, "/proc/412" for example: the base name of its
  /// program, its command line (may be null), each cut at its size, and its pid. False when it
  /// cannot be read.
  static bool extractProcessInfo(const char* directory, char* baseName, unsigned int nameSize,
                                 char* commandLine, unsigned int commandLineSize, int& pid);

  /// Sends the daemon the signal 45 with the event's token as its value, if it runs. Takes the
  /// table lock.
  void propagateServiceEvent(strings::stringtoken daemon, strings::stringtoken event) const;

  /// Copies the value that follows the first occurrence of a key in a text, blanks skipped, up to
  /// the next blank, tab, line end or end of text, cut at `size` - 1 characters; `size` is at least
  /// 1. Empty when the key is not there.
  static void extractValue(const char* text, const char* key, char* value, unsigned int size);

  /// How soon scans followed the ends of daemons that called for them, and the microseconds of all;
  /// all 0 without a watch. Any thread may call.
  utility::ExitWatch::Histogram wakeTimes() const;
  std::int64_t wakeTimesTotal() const;

  /// How long the poll cycles took, and the microseconds since the last one began (0 before the
  /// first). Any thread may call.
  static constexpr std::array<std::int64_t, 6> cycleBounds = {1000,    10000,   100000,
                                                              1000000, 5000000, 30000000};
  using CycleTimes = utility::Durations<cycleBounds.size()>;
  CycleTimes::Sums cycleTimes() const { return m_cycleTimes.sums(); }
  std::int64_t sinceCycleBegan() const;

  /// The machine's memory as of the last snapshot, in kB. Any thread may call.
  struct MemoryView {
    unsigned int free, cached, buffers, anonymous;
  };
  MemoryView memory() const { return {m_memFree, m_memCached, m_memBuffers, m_memAnon}; }

  /// Writes the save track as CSV, thinned out evenly to `most` samples, the newest among them, or
  /// whole for 0; empties it. Any thread may call.
  void dumpMemSaveTrack(utility::PutStream& stream, unsigned int most = 0) const;
  void clearMemSaveTrack();
  /// The samples of the save track, the oldest first: one each two minutes of the last 48 hours.
  /// Any thread may call.
  std::vector<memtrack_> memSamples() const;
  /// The newest sample of the save track, if there is one. Any thread may call.
  std::optional<memtrack_> newestMemSample() const;

  /// Mails a report of a daemon's crash. Runs commands, and so takes its time; the sending itself
  /// goes on in the background; while the one before of that daemon is still being sent, at most 2
  /// seconds are waited and then none is made. For the monitor thread.
  void sendMail(const char* daemon) const;

  /// The path of the program that prints a daemon's own logs, for its crash mail.
  static std::string logScript(const char* daemon);

  /// Mails a managed-log file, given as its path, to the fourth address of the system information,
  /// which is held for reading until sendmail has ended. The integers are not used. The path
  /// reaches a command line: no character in it may be one that a shell reads. What stands in the
  /// way is logged; a command of more than 499 characters is a framework::Exception*.
  void sendManagedLogsMail(int, int, const void* file) const;

  /// Mails a text and waits for sendmail. Only the body may hold line breaks.
  static void sendSimpleMail(const char* to, const char* from, const char* subject,
                             const char* body);

  /// The same two for callers who want to know whether sendmail was called; what came of that, no
  /// one learns. The log's lines carry `operation`, the caller's signature.
  bool mailManagedLogs(const char* operation, const char* file) const;
  static bool mailSimple(const char* operation, const char* to, const char* from,
                         const char* subject, const char* body);

 private:
  using Clock = std::int64_t;
  static constexpr const char* aService = "another service";

  static bool isDebugOn();

  // Construction.
  void readProcessList(const utility::StringArray& list);
  void addProcess(const char* entry);
  bool isStrict(const std::string& daemon) const;
  void readNoKillList(const utility::StringArray& list);
  const utility::StringArray* listProperty(const char* key) const;
  void openCrashEvents();
  void writeKillScript() const;
  void readSettings();
  void watchExits();

  // A control operation: the words of its debug lines, and what the record does.
  struct ControlAction {
    const char* doing;
    const char* name;
    const char* done;
    void (Process::*command)();
  };
  static bool controlProcess(strings::stringtoken name, const ControlAction& action,
                             const char* operation, const char* by);

  static Claim claim(strings::stringtoken name);
  Process* recordOf(const std::string& name) const;

  // The poll cycle.
  void doMemTrack();
  void takeMemInfo();
  void takeMemSample();
  void doMemLimitChecking();
  bool restartIfOverLimit(Process& process);
  void noteLimitRestart(const Process& process);
  void watchProcesses();
  void pollCycle(Clock threadStart);
  void endStartUpPeriod(Clock threadStart);
  void scanAndDecide();
  bool isAnyStarting() const;
  void endScan(Process& process);
  void statePass(unsigned int index);
  StateFacts factsOf(const Process& process) const;
  void applyAction(Process& process, const StateRule& rule);
  void restartDown(Process& process);
  void writeCrashEvent(const char* daemon);
  void killInstances(const Process& process) const;
  void killInstance(const Process& process, unsigned int index) const;
  void doProcessTrack();
  void boundErrorOutput();
  void doLockTrack();
  void sleepUntilNextCycle(Clock cycleStart);

  // History.
  std::string historyPath() const;
  ProcessView viewOf(const Process& process) const;
  static ProcessView glanceAt(const Process& process);
  std::string causeOf(const Process& process, Process::State from, Process::State to);
  std::string askedCause(const Process& process, Process::State to);
  void noteChange(const Process& process, Process::State from, const char* rule);
  void noteCommand(const Process& process, const std::string& action, const std::string& by);
  void noteAsked(const Process& process, const std::string& action, const std::string& by,
                 bool ofItsOwn = false);
  void expectEffect(const Process& process, const std::string& action, const std::string& by);
  void noteReplaced(const Process& process);
  void follow(const Process& process, const std::string& what);
  void noteOutcomes();

  // Suspension.
  void suspend(Process& process, const Suspension& suspension, bool anew);
  void resume(Process& process, const char* by);
  bool takeOver(Process& process, const Suspension& suspension, bool anew);
  std::optional<Suspension> suspensionOf(const Process& process) const;
  void endSuspensions();
  bool endSuspension(Process& process);

  // Flight recorder.
  void openFlight();
  void record(unsigned int index, const StateFacts& facts, const StateRule* rule);
  void writeFlight();
  void recordCommand(const Process& process, const std::string& command,
                     const std::string& by) const;

  // Strangers.
  bool isStartAwaited(const Process& process) const;
  void judgeNewcomers(Process& process);
  void tellImpostor(Process& process);

  // Flapping.
  unsigned int failures(const Process& process) const;
  void noteRestart(const Process& process);
  void forgetSteady();
  bool mayMail(const Process& process);

  // Health.
  struct HealthCheck {
    const Process* process;
    std::optional<Probe> probe = {};
    unsigned int memoryLimit = 0;  // kB; 0: none
    int period = 0;                // seconds
    int limit = 0;                 // seconds
    bool acts = false;
    Clock next = 0;  // the health thread's
    HealthCount count = {};
    Clock answered = 0;
    std::string problem = {};
  };
  void addHealthCheck(const Process& process);
  void watchHealth();
  int secondsToNextLook() const;
  bool isLookedAt(const Process& process) const;
  std::string problemOf(const HealthCheck& check) const;
  void lookAt(HealthCheck& check);
  void applyHealth(HealthCount::Step step, const Process& process, const std::string& problem);
  void stopIll(const Process& process, const std::string& problem);
  HealthView healthOf(const Process& process) const;
  static std::string conditionOf(int pid);

  // Mail.
  bool isEarlierSent(const std::string& path) const;
  bool writeCrashMail(const char* operation, const char* path, const char* daemon,
                      const char* address, char slot) const;
  static void appendCrashReports(const char* path, const char* daemon);
  bool writeManagedLogsMail(const char* operation, const char* path,
                            const sysinfo::SysInfo& sysInfo, char slot, const char* logFile) const;

  // Events.
  static std::string goingDownRefusal(const std::string& text);
  void announceGoingDown(const char* text);
  void killNonEssential();
  void killOne(const std::string& name);
  void killAll(Process& process);
  void reportManagedLogs(int code, const char* event) const;

  static std::atomic<AppManager*> m_pSingleton;
  static const framework::ServiceInfo m_serviceInfoData;
  static const strings::stringtoken m_eventsOfInterest[];

  // Makes the service known while it lives, also when its constructor throws.
  struct Registration {
    explicit Registration(AppManager* manager) { m_pSingleton = manager; }
    ~Registration() { m_pSingleton = nullptr; }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
  };

  const Registration m_registration;
  const framework::StaticText m_instanceName;
  ProcessTable m_processes;
  std::unique_ptr<utility::FileOutputStream> m_crashEvents;
  int m_pollSeconds = 0;
  int m_noKillSeconds = 0;
  int m_flapRestarts = 5;
  int m_flapMinutes = 10;
  int m_crashMailLimit = 0;
  int m_flightKiB = 4096;
  std::atomic<bool> m_startUpPeriod = true;
  bool m_doProcessControl = false;
  std::atomic<bool> m_doRestarts = false;
  bool m_doMemLimitChecking = false;
  Clock m_memInfoTime = 0;
  Clock m_memSaveTime = 0;
  std::atomic<unsigned int> m_memFree = 0;
  std::atomic<unsigned int> m_memFreePercent = 0;
  std::atomic<unsigned int> m_memCached = 0;
  std::atomic<unsigned int> m_memCachedPercent = 0;
  std::atomic<unsigned int> m_memBuffers = 0;
  std::atomic<unsigned int> m_memBuffersPercent = 0;
  std::atomic<unsigned int> m_memAnon = 0;
  std::atomic<unsigned int> m_memAnonPercent = 0;
  Clock m_lastProcessTrack = 0;
  Clock m_errorsBounded = 0;
  Clock m_lockTrackTime = 0;
  bool m_doCrashMail = false;
  bool m_doLockTrack = false;
  std::array<memtrack_, 1440> m_memSaveTrack;
  unsigned int m_memSaveCount = 0;
  unsigned int m_memSaveNext = 0;
  mutable std::mutex m_memSaveLock;  // guards the save track; a leaf
  bool m_doWatchExits = true;
  std::shared_ptr<utility::ExitWatch> m_watch;  // null where the poll period alone decides
  ProcessScan m_scan;
  int m_nextWait = 0;  // seconds to the next cycle
  CycleTimes m_cycleTimes{cycleBounds};
  std::atomic<Clock> m_cycleBegan = 0;
  History m_history;
  HistoryFile m_historyFile{m_history, historyPath()};
  // What was asked for last, by daemon, and the commands whose outcome is awaited.
  struct Asked {
    std::string what;
    std::string by;
    Clock at = 0;
  };
  struct Followed {
    std::string daemon;
    std::string what;
    std::shared_ptr<const DaemonCommand> command;
  };
  // Where a daemon's processes come from, and the last of its own and of strangers, in words.
  struct Descent {
    Lineage lineage;
    std::string own;
    std::string stranger;
  };
  std::map<const Process*, Descent> m_descents;  // the monitor thread's
  std::map<const Process*, Asked> m_asked;
  std::vector<Followed> m_followed;
  std::map<const Process*, Suspension> m_suspensions;  // of those that are
  std::function<void()> m_suspensionChanged;           // null: nobody keeps them
  mutable std::mutex m_askedLock;                      // guards these four; a leaf
  std::unique_ptr<utility::LineRing> m_flight;         // null: none
  std::vector<StateFacts> m_lastFacts;          // of each record; the next two the monitor thread's
  std::vector<FlightFacts> m_flown;             // in this cycle
  std::set<const Process*> m_failing;           // told already; the monitor thread's
  std::map<const Process*, MailLimit> m_mails;  // the monitor thread's
  std::vector<HealthCheck> m_health;            // as many for the service's life
  utility::Waiter m_healthWaiter;
  mutable std::mutex m_healthLock;  // guards the last three of each; a leaf
  // The crash mails' sends, by file; gone when they have ended. The monitor thread's.
  mutable std::map<std::string, std::weak_ptr<const void>> m_sends;
  static constexpr int mailPatience = 200;  // ticks in each poll cycle
  mutable int m_mailPatience = mailPatience;
};

}  // namespace services::app
