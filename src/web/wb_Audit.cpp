// What the clients of the web have done and tried.
#include "web/wb_Audit.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <sstream>

#include "host/log/fw_Logger.h"
#include "util/fw_ShownText.h"
#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace services::web {

namespace {

constexpr std::size_t longestText = 400;  // bytes of each in the file

std::string field(const std::string& text) {
  return framework::shownText(text.substr(0, longestText));
}

// Times are kept by the wall clock.
std::string lineOf(const Audit::Record& record) {
  const std::int64_t wall = record.time + utility::System::current().wallOffset();
  return std::to_string(record.number) + "\t" + std::to_string(wall) + "\t" +
         (record.refused ? "1" : "0") + "\t" + field(record.user) + "\t" + field(record.address) +
         "\t" + field(record.what) + "\n";
}

template <typename Number>
bool parse(const std::string& text, Number& number) {
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && last == text.data() + text.size();
}

std::optional<Audit::Record> recordOf(const std::string& line) {
  std::vector<std::string> fields;
  std::istringstream rest(line);
  for (std::string one; std::getline(rest, one, '\t');) fields.push_back(one);
  Audit::Record record;
  if (fields.size() != 6 || !parse(fields[0], record.number) || !parse(fields[1], record.time)) {
    return std::nullopt;
  }
  record.time -= utility::System::current().wallOffset();
  record.refused = fields[2] == "1";
  record.user = fields[3];
  record.address = fields[4];
  record.what = fields[5];
  return record;
}

}  // namespace

// What does not go on from the record before is none of ours.
Audit::Audit(const std::string& path) : m_file(path) {
  unsigned int refused = 0;
  for (const std::string& line : m_file.load()) {
    auto record = recordOf(line);
    if (record && record->number > m_count) {
      keep(std::move(*record));
    } else {
      ++refused;
    }
  }
  if (refused == 0) return;
  framework::Logger::StaticLog(framework::LogType::Warning,
                               "audit: %u lines of %s are none and left out", refused,
                               path.c_str());
}

void Audit::keep(Record record) {
  m_count = record.number;
  m_records.push_back(std::move(record));
  if (m_records.size() > most) m_records.pop_front();
}

void Audit::note(bool refused, const std::string& user, const std::string& address,
                 const std::string& what) {
  const auto type = refused ? framework::LogType::Warning : framework::LogType::Info;
  framework::Logger::StaticLog(type, "web: %s from %s: %s%s",
                               user.empty() ? "somebody unknown" : user.c_str(), address.c_str(),
                               refused ? "refused: " : "", what.c_str());
  const std::int64_t now = utility::TimeMeasure::getTimestamp();
  const std::lock_guard inOrder(m_fileMutex);
  std::string line;
  {
    const std::lock_guard lock(m_mutex);
    m_refusals += refused ? 1 : 0;
    keep({m_count + 1, now, refused, user, address, what});
    line = lineOf(m_records.back());
  }
  m_file.append(line);
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
