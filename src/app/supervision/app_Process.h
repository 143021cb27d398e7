// The supervision record of one daemon.
#pragma once

#include <regex.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "app/supervision/app_DaemonCommand.h"
#include "host/base/fw_Entity.h"
#include "host/base/fw_Memory.h"
#include "util/st_Tokens.h"

namespace services::app {

/// One running instance of a daemon.
struct ProcessInstance {
  bool seen = false;            ///< found in the current scan
  bool settled = false;         ///< whether it is the daemon's is known
  bool doubted = false;         ///< it was taken for a stranger once
  bool stranger = false;        ///< it looks like the daemon's and is none of its
  int pid = 0;                  ///< process id
  unsigned int dataSize = 0;    ///< kb, data pages touched, as last measured
  unsigned int codeSize = 0;    ///< kb, as last measured
  unsigned int sharedSize = 0;  ///< kb, as last measured
};

/// How a daemon is recognised among the running processes, the instances that the last scan found,
/// its state and the flags that steer restarts and kills. The record carries data and issues
/// commands; when to restart or kill is the monitor loop's decision.
///
/// States: a record begins Unclassified. A scan that finds an instance makes it Up, one that finds
/// none makes it Down. A daemon that the loop starts is Starting until an instance is found; one
/// that is expected to end, or whose start came to nothing, is GoingDown until no instance is left,
/// and instances that stay too long are killed.
///
/// The monitor thread and the holder of the record's claim may call at the same time: a lock of the
/// record's own, never held across a command, keeps its fields whole. startScan(), addInstance(),
/// endScan() and updateInfo() are the monitor thread's.
class Process : public framework::Entity {
 public:
  /// The values are the tokens of the states' names.
  enum State : strings::stringtoken {
    Unclassified = strings::digestOf("Unclassified"),
    Up = strings::digestOf("Up"),
    Down = strings::digestOf("Down"),
    Starting = strings::digestOf("Starting"),
    GoingDown = strings::digestOf("GoingDown"),
  };

  enum class Match { No, Yes, Failed };

  static constexpr unsigned int maxInstances = 30;

  /// `pattern` is an extended regular expression (regcomp(3)) over the command line, or null to
  /// recognise the daemon by its name. One that does not compile is logged and ignored.
  Process(strings::stringtoken name, bool suspend, const char* pattern);
  ~Process() override = default;
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  strings::stringtoken getName() const override { return m_name; }
  const char* getNameString() const override;

  /// Writes the record's lines: one, and with two or more instances one for each.
  void information(utility::PutStream& stream, int indentation, bool detailed) const override;

  /// Runs the daemon's init script in the background. restart() also sets the restarting flag.
  virtual void start();
  virtual void stop();
  virtual void restart();

  /// Replaces the stored pattern text; null stores none. It does not compile it.
  void setPattern(const char* pattern);

  /// The pattern that processes are matched by; null for a record that goes by its name.
  const char* getPattern() const { return m_compiled == nullptr ? nullptr : m_pattern.get(); }

  /// Whether a pattern is stored that does not compile.
  bool isPatternBroken() const { return m_compiled == nullptr && m_pattern.get() != nullptr; }

  /// Whether a process with that base name and command line is an instance of this daemon.
  bool match(const char* baseName, const char* commandLine) const;
  /// The same, telling apart a matching error, which is logged, from no match.
  Match tryMatch(const char* baseName, const char* commandLine) const;

  /// Runs a control command: "kill" kills all processes of that name, any other action is given to
  /// the daemon's init script in the background. What comes of it shows in later scans.
  void control(const char* action, const char* daemon);

  /// Has `ended` called, by any thread, whenever a command of the init script has ended. Set before
  /// the first; it may be called after the record's end.
  void onScriptEnd(std::function<void()> ended) { m_scriptEnded = std::move(ended); }

  /// The command that control() ran last; null before the first.
  std::shared_ptr<const DaemonCommand> lastCommand() const;

  /// Enters a state, which also renews the state time.
  void setState(State state);
  State getState() const;
  /// Whole seconds since the last setState().
  int getStateTime() const;

  /// A scan: startScan(), then addInstance() for each process that matched, then endScan(), which
  /// removes the instances that were not seen and renews the totals. The 31st pid is ignored.
  /// endScan() answers whether others have taken the place of all instances of the last scan.
  void startScan();
  void addInstance(int pid);
  bool endScan();

  /// Between addInstance() and endScan(): the pids of which it is not settled whether they are the
  /// daemon's, and whether one is, or is a stranger. A stranger counts as an instance unless
  /// identity is strict; then it is kept apart, and neither killed nor signalled. It takes two
  /// scans to settle that one is a stranger, since a process may be on its way to its exec.
  std::vector<int> newcomers() const;
  bool hasNewcomers() const;
  bool isOwn(int pid) const;
  bool isStranger(int pid) const;
  void settle(int pid, bool stranger);
  bool isStrict() const { return m_strict; }
  void setStrict(bool strict) { m_strict = strict; }  ///< before the first scan
  /// Whether strangers are all that is left of the daemon, as the last scan found it.
  bool hasStrangersOnly() const;
  /// What is known of that since it was last looked at; setting answers whether it changed.
  bool isImpostor() const;
  bool setImpostor(bool impostor);

  /// How often the host has seen the daemon come anew: with none of the instances before.
  unsigned int generation() const;
  /// The pid of an instance of the last scan that found one; 0 before.
  int lastPid() const;

  /// Measures the memory of every instance; one that cannot be measured has size 0.
  void updateInfo();

  /// Writes the pids of the instances seen, separated by commas, into `buffer` of `size` bytes,
  /// as many as fit whole. Answers the buffer.
  char* getInstanceInfo(char* buffer, unsigned int size) const;

  int numInstances() const;
  /// The pid of an instance; -1 past the last.
  int getPid(unsigned int index) const;
  unsigned int getDataSize() const;  ///< kb, sum over the instances
  unsigned int getCodeSize() const;
  unsigned int getSharedSize() const;

  bool getSuspend() const;
  void setSuspend(bool suspend);
  /// The claim flag of the process table, which the table's lock guards.
  bool getLocked() const { return m_locked; }
  void setLocked(bool locked) { m_locked = locked; }
  bool getNoKill() const;
  void setNoKill(bool noKill);
  bool getRestarting() const;
  void setRestarting(bool restarting);

  /// Whether none of the instances is one that ran when restart() was last called.
  bool isNewGeneration() const;

 private:
  struct PatternRelease {
    void operator()(regex_t* compiled) const;
  };
  using Pids = std::array<int, maxInstances>;

  void compilePattern();
  void setStrangersApart();
  void sumSizes();

  const strings::stringtoken m_name;
  framework::StaticText m_pattern;
  unsigned int m_instanceCount = 0;
  bool m_strict = false;
  bool m_impostor = false;
  std::vector<ProcessInstance> m_strangers;  // where identity is strict
  unsigned int m_oldCount = 0;               // of the instances, those of the scan before
  unsigned int m_generation = 0;
  int m_lastPid = 0;
  std::array<ProcessInstance, maxInstances> m_instances{};
  State m_state = Unclassified;
  std::int64_t m_stateTime = 0;
  bool m_suspend;
  bool m_locked = false;
  unsigned int m_dataSize = 0;
  unsigned int m_codeSize = 0;
  unsigned int m_sharedSize = 0;
  bool m_noKill = false;
  bool m_restarting = false;
  std::unique_ptr<regex_t, PatternRelease> m_compiled;
  Pids m_oldPids{};  // the instances that ran when a restart was last asked for
  unsigned int m_oldPidCount = 0;
  std::shared_ptr<DaemonCommand> m_lastCommand;
  std::function<void()> m_scriptEnded;
  // Guards everything but the name, the pattern, the claim flag and what is called at a script's
  // end.
  mutable std::mutex m_mutex;
};

}  // namespace services::app
