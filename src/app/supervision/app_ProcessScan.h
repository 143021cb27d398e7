// The scan of /proc for the instances of the supervised daemons.
#pragma once

#include <string>
#include <vector>

#include "app/supervision/app_ProcessMatcher.h"
#include "host/base/ut_ProcessDirectory.h"

namespace services::app {

/// Lists the running processes and gives each to the first record that matches it.
///
/// A process's command line is read in every scan, through a file that stays open from scan to
/// scan; where descriptors run short, through one that is opened and closed again. While it is byte
/// for byte what it was in the last scan, the record found then is taken again without matching:
/// which record matches is a function of the command line alone. A steady scan therefore opens and
/// matches nothing and allocates nothing. An answer in which matching failed is not remembered.
///
/// For one thread at a time.
class ProcessScan {
 public:
  /// Puts a record behind those added before, in table order. It must outlive the scan.
  void add(Process& record) { m_matcher.add(record); }

  /// Calls addInstance() on the records that have processes, in the ascending order of the pids.
  void run();

  /// Whether a process of the last scan still runs and still belongs to that record.
  bool isStill(int pid, const Process& record) const;

  /// See ProcessMatcher.
  void logPatternTimes() { m_matcher.logPatternTimes(); }

 private:
  struct Known {
    int pid = 0;
    bool answered = false;  // `record` is the answer to `commandLine`
    utility::ProcessFile file;
    Process* record = nullptr;
    std::string commandLine;
  };

  void follow();
  static bool read(Known& known, CommandLine& commandLine);
  Process* recordOf(Known& known);

  utility::ProcessDirectory m_directory;
  ProcessMatcher m_matcher;
  std::vector<int> m_pids;
  std::vector<Known> m_known;  // the processes of the last scan, in the order of their pids
};

}  // namespace services::app
