// The suspensions that operators made, kept over the host's restarts.
#include "ops/op_KeptSuspensions.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <vector>

#include "host/base/fw_Entrance.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "sysinfo/store/si_Store.h"
#include "util/fw_ShownText.h"
#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace services::ops {

using app::AppManager;
using app::Suspension;
using framework::Logger;
using framework::LogType;
using utility::TimeMeasure;

namespace {

constexpr std::int64_t second = 1000000;
constexpr int fileMode = 0600;
constexpr const char* head = "suspensions at";
constexpr std::int64_t longest = 366 * std::int64_t{86400};  // seconds

struct Kept {
  std::string daemon;
  std::int64_t left = 0;  // seconds; 0: no end
  std::string by;
  std::string reason;
};

std::string pathOfFile() {
  const std::string store = sysinfo::storePath();
  return store.substr(0, store.rfind('/')) + "/suspensions";
}

std::int64_t wallSeconds() {
  return TimeMeasure::getSeconds(TimeMeasure::getTimestamp() +
                                 utility::System::current().wallOffset());
}

std::vector<std::string> fieldsOf(std::string_view line) {
  std::vector<std::string> fields;
  for (std::size_t end = 0; end != std::string_view::npos;) {
    end = line.find('\t');
    fields.emplace_back(line.substr(0, end));
    if (end != std::string_view::npos) line.remove_prefix(end + 1);
  }
  return fields;
}

std::optional<std::int64_t> numberOf(const std::string& text) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) return std::nullopt;
  return number;
}

std::optional<Kept> keptOf(const std::string& line) {
  const std::vector<std::string> fields = fieldsOf(line);
  if (fields.size() != 4 || !framework::isDaemonName(fields[0].c_str())) return std::nullopt;
  const auto left = numberOf(fields[1]);
  if (!left || *left > longest || !std::ranges::all_of(fields, framework::isShown)) {
    return std::nullopt;
  }
  return Kept{fields[0], *left, fields[2], fields[3]};
}

// The seconds that have passed since the file's first line; none where it tells no time.
std::int64_t passedSince(const std::string& line) {
  const std::vector<std::string> fields = fieldsOf(line);
  const auto then = fields.size() == 2 && fields[0] == head ? numberOf(fields[1]) : std::nullopt;
  return then ? std::max<std::int64_t>(0, wallSeconds() - *then) : -1;
}

std::string lineOf(const std::string& daemon, const Suspension& suspension) {
  std::int64_t left = 0;
  if (suspension.until != 0) {
    const std::int64_t time = suspension.until - TimeMeasure::getTimestamp();
    left = std::max<std::int64_t>(1, TimeMeasure::getSeconds(time + second - 1));
  }
  return daemon + "\t" + std::to_string(left) + "\t" + framework::shownText(suspension.by) + "\t" +
         framework::shownText(suspension.reason) + "\n";
}

void setAside(const std::string& path, std::size_t line) {
  const std::string aside = path + ".damaged";
  utility::Path::move(path.c_str(), aside.c_str());
  Logger::StaticLog(LogType::Error,
                    "suspensions: line %zu of %s is damaged; set aside as %s, what is whole in it "
                    "is in force",
                    line, path.c_str(), aside.c_str());
}

// The file's suspensions, each with what is left of it now or less than nothing.
std::vector<Kept> read(const std::string& path) {
  std::vector<Kept> all;
  std::ifstream file(utility::Path::located(path));
  std::size_t damaged = 0;
  std::size_t number = 1;
  std::string line;
  std::int64_t passed = 0;
  if (std::getline(file, line) && (passed = passedSince(line)) < 0) damaged = 1;
  while (std::getline(file, line)) {
    ++number;
    const auto kept = keptOf(line);
    if (!kept && damaged == 0) damaged = number;
    if (!kept) continue;
    all.push_back(*kept);
    if (kept->left > 0) all.back().left -= std::max<std::int64_t>(0, passed);
    if (kept->left > 0 && all.back().left == 0) all.back().left = -1;
  }
  if (damaged > 0) setAside(path, damaged);
  return all;
}

void suspendAgain(const Kept& kept) {
  Suspension suspension{.by = kept.by, .reason = kept.reason, .byOperator = true};
  const char* const name = kept.daemon.c_str();
  if (kept.left < 0) {
    Logger::StaticLog(LogType::Info, "suspensions: that of %s is over", name);
    return;
  }
  if (kept.left > 0) suspension.until = TimeMeasure::getTimestamp() + kept.left * second;
  // What others left down without an end would be started at the end of this one.
  AppManager::suspendProcess(strings::GS.toToken(name), suspension, kept.left == 0);
  Logger::StaticLog(LogType::Info, "suspensions: %s is suspended again: %s", name,
                    suspension.text().c_str());
}

}  // namespace

KeptSuspensions& KeptSuspensions::instance() {
  static KeptSuspensions& only = *new KeptSuspensions;
  return only;
}

void KeptSuspensions::restore(AppManager& manager) {
  const std::vector<std::string> known = manager.names();
  for (const Kept& kept : read(pathOfFile())) {
    m_written[kept.daemon] = {};
    if (std::ranges::count(known, kept.daemon) > 0) {
      suspendAgain(kept);
    } else {
      Logger::StaticLog(LogType::Warning,
                        "suspensions: %s is configured no more; its suspension by %s is forgotten",
                        kept.daemon.c_str(), kept.by.c_str());
    }
  }
  keep(manager);
  manager.onSuspension([this, &manager] { keep(manager); });
}

void KeptSuspensions::keep(const AppManager& manager) {
  const std::lock_guard lock(m_mutex);
  Suspensions wanted = manager.suspensions();
  std::erase_if(wanted, [](const auto& one) { return !one.second.byOperator; });
  if (wanted == m_written) return;
  std::string text = std::string(head) + "\t" + std::to_string(wallSeconds()) + "\n";
  for (const auto& [daemon, suspension] : wanted) text += lineOf(daemon, suspension);
  const std::string path = pathOfFile();
  m_problem.clear();
  if (utility::replaceFile(path.c_str(), text, fileMode) == 0) {
    m_written = std::move(wanted);
    return;
  }
  m_problem = path + " cannot be written: " + std::strerror(errno);
  Logger::StaticLog(LogType::Error, "suspensions: %s", m_problem.c_str());
}

std::string KeptSuspensions::problem() const {
  const std::lock_guard lock(m_mutex);
  return m_problem;
}

}  // namespace services::ops
