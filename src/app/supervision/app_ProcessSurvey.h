// Which records match which of the running processes, for those who wonder.
#pragma once

#include <string>
#include <vector>

#include "host/base/ut_ItemDirectory.h"

namespace utility {
class PutStream;
}

namespace services::app {

class Process;

/// A running process and all records that match it, in table order: the first gets it.
struct SurveyedProcess {
  int pid = 0;
  std::string program;      ///< its base name; empty for a kernel thread
  std::string commandLine;  ///< control characters shown as "?"
  std::vector<const Process*> records = {};
};

/// Reads the processes that run now and tries each record on each. Any thread may call.
std::vector<SurveyedProcess> surveyProcesses(const utility::ItemDirectory& table);

/// Writes a record's rule, and a table of the processes that it claims, those that it would claim
/// but an earlier record takes, and those that match nearly: their base names begin with its name.
void explainRecord(const Process& record, const std::vector<SurveyedProcess>& survey,
                   utility::PutStream& stream);

/// What is worth a warning, a line each: a record that no process matches, a process that several
/// records match, a pattern that matches the host itself, whose processes go by the base name
/// `host`.
std::vector<std::string> surveyWarnings(const utility::ItemDirectory& table,
                                        const std::vector<SurveyedProcess>& survey,
                                        const std::string& host);

}  // namespace services::app
