// The supervision service: all that is known of its daemons, for those who show it.
#include <algorithm>
#include <sstream>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_Why.h"
#include "util/ut_TimeMeasure.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using utility::TimeMeasure;

namespace {

constexpr std::int64_t hour = 3600 * std::int64_t{1000000};

// Collects text.
class TextOutput : public framework::OutputStream {
 public:
  bool StartOutputStream() override { return true; }
  void EndOutputStream() override {}
  bool SendOutputStream(const char* data, unsigned int size) override {
    m_text.append(data, size);
    return true;
  }
  bool isOutputStreamOpen() override { return true; }
  bool isOutputStreamInError() override { return false; }
  bool isOutputStreamAtEnd() override { return false; }

  std::string m_text;
};

std::vector<std::string> whyLines(const char* name, const StateFacts& facts) {
  TextOutput text;
  utility::VirtualPutStream stream(text, 1024, 512);
  writeWhy(name, facts, stream);
  stream.FlushOutputStream();
  std::istringstream content(text.m_text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(content, line);) lines.push_back(line);
  return lines;
}

}  // namespace

DaemonReport AppManager::reportOf(const Process& process) const {
  DaemonReport report = {.view = viewOf(process),
                         .restarting = process.getRestarting(),
                         .dataKilobytes = process.getDataSize(),
                         .nextStep = nextStep(factsOf(process)),
                         .asOf = TimeMeasure::getTimestamp()};
  const std::string& name = report.view.name;
  report.restartsLastHour = m_history.restartsSince(name, report.asOf - hour);
  report.restartsLastDay = m_history.restartsSince(name, report.asOf - 24 * hour);
  report.sums = m_history.summary(name);
  return report;
}

std::vector<DaemonReport> AppManager::reports() const {
  std::vector<DaemonReport> reports;
  const std::lock_guard betweenTwoScans(m_tableLock);
  for (unsigned int n = 0; n < m_processes.Length(); ++n) {
    reports.push_back(reportOf(dynamic_cast<const Process&>(*m_processes.getSorted(n))));
  }
  return reports;
}

std::optional<DaemonReport> AppManager::report(strings::stringtoken name) const {
  const auto* process = dynamic_cast<const Process*>(m_processes.find(name));
  if (process == nullptr) return std::nullopt;
  const std::lock_guard betweenTwoScans(m_tableLock);
  DaemonReport report = reportOf(*process);
  report.why = whyLines(process->getNameString(), factsOf(*process));
  return report;
}

}  // namespace services::app
