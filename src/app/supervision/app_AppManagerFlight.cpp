// The supervision service: its flight recorder, and the replay of one.
#include "app/supervision/app_AppManager.h"
#include "host/base/ut_Environment.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_FlightReplay.h"
#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

namespace {

std::int64_t wallTime() {
  return utility::TimeMeasure::getTimestamp() + utility::System::current().wallOffset();
}

// Whether a cycle that saw these is like one that saw those: time passed, and nothing else.
bool isSteady(StateFacts facts, const StateFacts& before) {
  facts.stateSeconds = before.stateSeconds;
  return facts == before;
}

int replay(const std::string& content, utility::PutStream& stream) {
  framework::TableRows rows;
  int otherwise = 0;
  for (const std::string& line : utility::LineRing::texts(content)) {
    const auto row = replayed(line);
    if (!row) continue;
    rows.push_back({row->time, row->daemon, row->seen, row->decided, row->otherwise});
    if (!row->otherwise.empty()) ++otherwise;
  }
  framework::writeTable(stream,
                        {{"TIME", "Time"},
                         {"NAME", "Name"},
                         {"SEEN", "Seen"},
                         {"DECIDED", "Decided"},
                         {"THIS BUILD", "ThisBuild"}},
                        rows);
  return rows.empty() ? -1 : otherwise;
}

const framework::FlightReplay registration(replay);

}  // namespace

void AppManager::openFlight() {
  m_lastFacts.resize(m_processes.Length());
  const char* directory = utility::Environment::GetEnv("MC_LOG_DIR");
  if (m_flightKiB == 0 || directory == nullptr || *directory == '\0') return;
  const std::string path = std::string(directory) + "/flight";
  m_flight = std::make_unique<utility::LineRing>(path.c_str(), std::int64_t{1024} * m_flightKiB);
  if (m_flight->isOpen()) return;
  LogWarning("%s: no flight recorder: %s cannot be used (%d)", getNameString(), path.c_str(),
             errno);
  m_flight = nullptr;
}

void AppManager::record(unsigned int index, const StateFacts& facts, const StateRule* rule) {
  StateFacts& before = m_lastFacts[index];
  if (m_flight == nullptr || (rule == nullptr && isSteady(facts, before))) return;
  before = facts;
  const Process& process = *m_processes.records()[index];
  m_flown.push_back({.daemon = process.getNameString(),
                     .at = wallTime(),
                     .facts = facts,
                     .instances = process.numInstances(),
                     .pid = std::max(0, process.getPid(0)),
                     .rule = rule == nullptr ? "" : rule->text});
}

// Called without the table lock, since the disk may be slow.
void AppManager::writeFlight() {
  for (const FlightFacts& flown : m_flown) m_flight->append(flightLine(flown));
  m_flown.clear();
}

void AppManager::recordCommand(const Process& process, const std::string& command,
                               const std::string& by) const {
  if (m_flight == nullptr) return;
  m_flight->append(flightLine(wallTime(), process.getNameString(), command, by));
}

}  // namespace services::app
