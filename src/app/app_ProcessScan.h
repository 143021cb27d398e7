// The scan of /proc for the instances of the supervised daemons.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "app/app_CommandLine.h"
#include "host/framework/ut_ItemDirectory.h"

namespace services::app {

class Process;

/// Lists the running processes and gives each to the first record that matches it.
///
/// A process's command line is read in every scan. While it is byte for byte what it was under the
/// same pid, the record found then is taken again without matching: which record matches is a
/// function of the command line alone. A steady scan therefore matches nothing and allocates
/// nothing. An answer in which matching failed is not remembered.
class ProcessScan {
 public:
  /// Calls addInstance() on the records of the table, which is the same in every call.
  void run(const utility::ItemDirectory& table);

 private:
  struct Answer {
    std::string commandLine;
    Process* record = nullptr;
    std::uint64_t scan = 0;  // the last one that saw the process
  };

  Process* recordOf(const utility::ItemDirectory& table, int pid, CommandLine& commandLine);
  void forgetEnded();

  std::unordered_map<int, Answer> m_answers;
  std::uint64_t m_scan = 0;
  std::size_t m_seen = 0;
};

}  // namespace services::app
