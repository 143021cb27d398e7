// The scan of /proc for the instances of the supervised daemons.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "app/supervision/app_ProcessMatcher.h"
#include "host/base/ut_ProcessDirectory.h"
#include "util/ut_ExitWatch.h"

namespace services::app {

/// Lists the running processes and gives each to the first record that matches it.
///
/// A process's command line is read in every scan, through a file that stays open from scan to
/// scan; where descriptors run short, through one that is opened and closed again. While it is byte
/// for byte what it was in the last scan, the record found then is taken again without matching:
/// which record matches is a function of the command line alone. A steady scan therefore opens and
/// matches nothing and allocates nothing. An answer in which matching failed is not remembered.
///
/// With a watch, the processes that belong to records are watched for their ends, those of a record
/// as a group, as far as their files are open.
///
/// For one thread at a time.
class ProcessScan {
 public:
  /// Puts a record behind those added before, in table order. It must outlive the scan.
  void add(Process& record) { m_matcher.add(record); }

  /// From now on uses the watch, which must outlive the scan.
  void watchExits(utility::ExitWatch& watch) { m_watch = &watch; }

  /// Calls addInstance() on the records that have processes, in the ascending order of the pids.
  void run();

  /// Whether a process of the last scan still runs and still belongs to that record.
  bool isStill(int pid, const Process& record) const;

  /// The processes that were the record's and have no command line any more, as the last scan found
  /// them: they have ended and their parent has not asked for it, or their main thread has ended.
  std::vector<int> remainsOf(const Process& record) const;

  /// See ProcessMatcher.
  void logPatternTimes() { m_matcher.logPatternTimes(); }

 private:
  // The watch of one process as a member of a record's group.
  class Watched {
   public:
    Watched() = default;
    Watched(utility::ExitWatch& watch, int pid, const Process* record)
        : m_watch(&watch), m_id(watch.begin(pid, record)), m_record(m_id == 0 ? nullptr : record) {}
    ~Watched() { reset(); }
    Watched(Watched&& other) noexcept { swap(other); }
    Watched& operator=(Watched&& other) noexcept {
      swap(other);
      other.reset();
      return *this;
    }

    const Process* record() const { return m_record; }

   private:
    void swap(Watched& other) noexcept {
      std::swap(m_watch, other.m_watch);
      std::swap(m_id, other.m_id);
      std::swap(m_record, other.m_record);
    }
    void reset() {
      if (m_id != 0) m_watch->end(std::exchange(m_id, 0));
      m_record = nullptr;
    }

    utility::ExitWatch* m_watch = nullptr;
    utility::ExitWatch::Id m_id = 0;
    const Process* m_record = nullptr;
  };

  struct Known {
    int pid = 0;
    bool answered = false;  // `record` is the answer to `commandLine`
    utility::ProcessFile file;
    Process* record = nullptr;
    const Process* former = nullptr;  // whose it was before its command line became empty
    std::string commandLine;
    Watched watched;
  };

  void follow();
  static bool read(Known& known, CommandLine& commandLine);
  Process* recordOf(Known& known);
  void watch(Known& known, const Process* record) const;

  utility::ProcessDirectory m_directory;
  ProcessMatcher m_matcher;
  utility::ExitWatch* m_watch = nullptr;
  std::vector<int> m_pids;
  std::vector<Known> m_known;  // the processes of the last scan, in the order of their pids
};

}  // namespace services::app
