// What the clients of the web have done and tried.
#include "web/wb_Audit.h"

#include "host/log/fw_Logger.h"
#include "util/ut_TimeMeasure.h"

namespace services::web {

void Audit::note(bool refused, const std::string& user, const std::string& address,
                 const std::string& what) {
  const auto type = refused ? framework::LogType::Warning : framework::LogType::Info;
  framework::Logger::StaticLog(type, "web: %s from %s: %s%s",
                               user.empty() ? "somebody unknown" : user.c_str(), address.c_str(),
                               refused ? "refused: " : "", what.c_str());
  const std::int64_t now = utility::TimeMeasure::getTimestamp();
  const std::lock_guard lock(m_mutex);
  m_refusals += refused ? 1 : 0;
  m_records.push_back({++m_count, now, refused, user, address, what});
  if (m_records.size() > most) m_records.pop_front();
}

std::vector<Audit::Record> Audit::records() const {
  const std::lock_guard lock(m_mutex);
  return {m_records.begin(), m_records.end()};
}

std::uint64_t Audit::refusals() const {
  const std::lock_guard lock(m_mutex);
  return m_refusals;
}

}  // namespace services::web
