// Which record a running process belongs to.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace services::app {

class CommandLine;
class Process;

/// The records in table order, of which the first that matches a process gets it. Records without a
/// pattern are found by hash; the patterns are tried in table order, up to the record found by its
/// name. For one thread at a time.
class ProcessMatcher {
 public:
  struct Answer {
    Process* record = nullptr;  ///< null: no record matches
    bool failed = false;        ///< a pattern could not be matched, so it is no lasting answer
  };

  /// Puts a record behind those added before. It must outlive the matcher.
  void add(Process& record);

  /// The record that a process of that command line belongs to. Turns the command line into text.
  Answer find(CommandLine& commandLine);

  /// Logs, at debug level under the records' names, how often each pattern was tried and how long
  /// that took since the start, for those tried since the last call.
  void logPatternTimes();

 private:
  struct Pattern {
    std::size_t place;  // in table order
    Process* record;
    unsigned int tried = 0;
    unsigned int logged = 0;  // value of `tried` that was logged last
    std::int64_t microseconds = 0;
  };

  std::size_t m_length = 0;
  std::unordered_map<std::string_view, std::pair<std::size_t, Process*>> m_names;
  std::vector<Pattern> m_patterns;
};

}  // namespace services::app
