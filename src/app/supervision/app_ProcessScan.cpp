// The scan of /proc for the instances of the supervised daemons.
#include "app/supervision/app_ProcessScan.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "app/supervision/app_CommandLine.h"
#include "app/supervision/app_Process.h"

namespace services::app {

void ProcessScan::run() {
  m_directory.list(m_pids);
  if (!std::ranges::equal(m_known, m_pids, {}, &Known::pid)) follow();
  for (Known& known : m_known) {
    Process* const record = recordOf(known);
    if (record != nullptr) record->addInstance(known.pid);
    if (m_watch != nullptr && known.watched.record() != record) watch(known, record);
  }
}

// The pid may have become another's before the watch began: the file, which is the process's own,
// is asked afterwards.
void ProcessScan::watch(Known& known, const Process* record) const {
  known.watched = {};
  if (record == nullptr || !known.file.isOpen()) return;
  known.watched = Watched(*m_watch, known.pid, record);
  CommandLine commandLine;
  if (!commandLine.read(known.file)) known.watched = {};
}

// Forgets the processes that are no longer listed and takes in the new ones.
void ProcessScan::follow() {
  std::vector<Known> next;
  next.reserve(m_pids.size());
  auto old = m_known.begin();
  for (const int pid : m_pids) {
    while (old != m_known.end() && old->pid < pid) ++old;
    if (old != m_known.end() && old->pid == pid) {
      next.push_back(std::move(*old));
    } else {
      next.emplace_back().pid = pid;
    }
  }
  m_known = std::move(next);
}

// A file that cannot be read any more is one of a process that is gone: another may have its pid.
bool ProcessScan::read(Known& known, CommandLine& commandLine) {
  if (known.file.isOpen()) {
    if (commandLine.read(known.file)) return true;
    known.answered = false;
    known.record = nullptr;
    known.former = nullptr;
  }
  known.file = utility::ProcessDirectory::open(known.pid);
  if (!known.file.isOpen()) {
    logOpenFailure();
    return false;
  }
  if (!commandLine.read(known.file)) {
    logReadFailure();
    return false;
  }
  known.file.keep();
  return true;
}

Process* ProcessScan::recordOf(Known& known) {
  CommandLine commandLine;
  if (!read(known, commandLine)) return nullptr;
  if (known.answered && known.commandLine == commandLine.bytes()) return known.record;
  known.commandLine = commandLine.bytes();
  known.former = known.commandLine.empty() ? known.record : nullptr;
  const ProcessMatcher::Answer answer = m_matcher.find(commandLine);
  known.record = answer.record;
  known.answered = !answer.failed;
  return known.record;
}

std::vector<int> ProcessScan::remainsOf(const Process& record) const {
  std::vector<int> pids;
  for (const Known& known : m_known) {
    if (known.former == &record) pids.push_back(known.pid);
  }
  return pids;
}

bool ProcessScan::isStill(int pid, const Process& record) const {
  const auto known = std::ranges::lower_bound(m_known, pid, {}, &Known::pid);
  if (known == m_known.end() || known->pid != pid) return false;
  // A kept file knows its process; without one, the command line has to do.
  utility::ProcessFile opened;
  if (!known->file.isOpen()) {
    opened = utility::ProcessDirectory::open(pid);
    const bool noDescriptor = !opened.isOpen() && (errno == EMFILE || errno == ENFILE);
    if (noDescriptor) return known->answered && known->record == &record;
  }
  CommandLine now;
  if (!now.read(known->file.isOpen() ? known->file : opened)) return false;
  if (known->answered && known->commandLine == now.bytes()) return known->record == &record;
  std::array<char, 256> baseName;
  now.copyBaseName(baseName.data(), baseName.size());
  return record.match(baseName.data(), now.text());
}

}  // namespace services::app
