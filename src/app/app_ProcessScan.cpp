// The scan of /proc for the instances of the supervised daemons.
#include "app/app_ProcessScan.h"

#include <array>
#include <string_view>

#include "app/app_Process.h"
#include "host/framework/ut_DirIterator.h"

namespace services::app {

namespace {

struct Found {
  Process* record = nullptr;
  bool failed = false;  // at least one record could not be matched
};

Found findRecord(const utility::ItemDirectory& table, CommandLine& commandLine) {
  std::array<char, 256> baseName;
  commandLine.copyBaseName(baseName.data(), baseName.size());
  const char* text = commandLine.text();
  Found found;
  for (unsigned int i = 0; i < table.Length(); ++i) {
    auto* record = dynamic_cast<Process*>(table.ElementAt(i));
    if (record == nullptr) continue;
    const Process::Match match = record->tryMatch(baseName.data(), text);
    if (match == Process::Match::Failed) found.failed = true;
    if (match != Process::Match::Yes) continue;
    found.record = record;
    break;
  }
  return found;
}

}  // namespace

void ProcessScan::run(const utility::ItemDirectory& table) {
  ++m_scan;
  m_seen = 0;
  CommandLine commandLine;
  utility::DirIterator directories("/proc/", "[0-9]*");
  while (const char* directory = directories.next()) {
    if (!commandLine.read(directory)) continue;
    const int pid = pidOf(directory);
    if (Process* record = recordOf(table, pid, commandLine)) record->addInstance(pid);
  }
  forgetEnded();
}

Process* ProcessScan::recordOf(const utility::ItemDirectory& table, int pid,
                               CommandLine& commandLine) {
  const std::string_view bytes(commandLine.bytes(), commandLine.size());
  const auto known = m_answers.find(pid);
  if (known != m_answers.end() && known->second.commandLine == bytes) {
    known->second.scan = m_scan;
    ++m_seen;
    return known->second.record;
  }
  std::string key(bytes);
  const Found found = findRecord(table, commandLine);
  if (found.failed) {
    m_answers.erase(pid);
  } else {
    m_answers[pid] = {std::move(key), found.record, m_scan};
    ++m_seen;
  }
  return found.record;
}

void ProcessScan::forgetEnded() {
  if (m_seen == m_answers.size()) return;
  std::erase_if(m_answers, [this](const auto& entry) { return entry.second.scan != m_scan; });
}

}  // namespace services::app
