// What happened to the daemons: their last transitions and restarts.
//
// As a text it is a line for each entry, its fields separated by tabs, before them one for each
// daemon with the sums of its older entries, with one more where it was too large, and lines of
// outcomes that came to be known later.
#include "app/supervision/app_History.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <optional>

#include "host/base/st_StringRepository.h"
#include "util/fw_ShownText.h"
#include "util/ut_System.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

namespace {

constexpr std::size_t maxText = 80;
constexpr std::string_view entryKind = "entry";
constexpr std::string_view sumsKind = "sums";
constexpr std::string_view outcomeKind = "outcome";
constexpr std::string_view limitsKind = "limits";

using Fields = std::vector<std::string_view>;

std::string shown(std::string_view text) { return framework::shownText(text.substr(0, maxText)); }

Fields split(std::string_view line) {
  Fields fields;
  for (std::size_t end = 0; end != std::string_view::npos; line.remove_prefix(end + 1)) {
    end = line.find('\t');
    fields.push_back(line.substr(0, end));
    if (end == std::string_view::npos) break;
  }
  return fields;
}

template <typename Number>
bool parse(std::string_view text, Number& number) {
  const auto [last, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && last == text.data() + text.size();
}

bool parse(std::string_view text, Process::State& state) {
  using enum Process::State;
  for (const Process::State known : {Unclassified, Up, Down, Starting, GoingDown}) {
    if (text != strings::StringRepository::toString(known)) continue;
    state = known;
    return true;
  }
  return false;
}

std::string lineOf(const HistoryEntry& entry) {
  using strings::StringRepository;
  std::string line(entryKind);
  const auto wall = entry.at + utility::System::current().wallOffset();
  for (const std::string& field :
       {entry.daemon, std::to_string(wall), std::string(StringRepository::toString(entry.from)),
        std::string(StringRepository::toString(entry.to)), std::string(entry.restart ? "1" : "0"),
        std::to_string(entry.secondsDown), entry.what, entry.cause, entry.outcome}) {
    line += "\t" + field;
  }
  return line + "\n";
}

std::optional<HistoryEntry> entryOf(const Fields& fields) {
  HistoryEntry entry;
  int restart = 0;
  if (fields.size() != 10 || fields[0] != entryKind || !parse(fields[2], entry.at) ||
      !parse(fields[3], entry.from) || !parse(fields[4], entry.to) || !parse(fields[5], restart) ||
      !parse(fields[6], entry.secondsDown)) {
    return std::nullopt;
  }
  entry.daemon = fields[1];
  entry.at -= utility::System::current().wallOffset();
  entry.restart = restart == 1;
  entry.what = shown(fields[7]);
  entry.cause = shown(fields[8]);
  entry.outcome = shown(fields[9]);
  return entry;
}

std::string lineOf(const std::string& daemon, const History::Summary& sums) {
  return std::string(sumsKind) + "\t" + daemon + "\t" + std::to_string(sums.restarts) + "\t" +
         std::to_string(sums.timesDown) + "\t" + std::to_string(sums.secondsDown) + "\t" +
         std::to_string(sums.worst) + "\n";
}

// A line of its own, since hosts before this one know sums of six fields.
std::string limitsOf(const std::string& daemon, const History::Summary& sums) {
  if (sums.overLimit == 0) return "";
  return std::string(limitsKind) + "\t" + daemon + "\t" + std::to_string(sums.overLimit) + "\n";
}

std::optional<History::Summary> sumsOf(const Fields& fields) {
  History::Summary sums;
  const bool good = fields.size() == 6 && fields[0] == sumsKind &&
                    parse(fields[2], sums.restarts) && parse(fields[3], sums.timesDown) &&
                    parse(fields[4], sums.secondsDown) && parse(fields[5], sums.worst);
  return good ? std::optional(sums) : std::nullopt;
}

void count(History::Summary& sums, const HistoryEntry& entry) {
  if (entry.restart) ++sums.restarts;
  if (entry.restart && entry.to != Process::Starting) ++sums.overLimit;
  if (entry.secondsDown < 0) return;
  ++sums.timesDown;
  sums.secondsDown += entry.secondsDown;
  sums.worst = std::max(sums.worst, entry.secondsDown);
}

}  // namespace

std::string History::add(HistoryEntry entry) {
  entry.what = shown(entry.what);
  entry.cause = shown(entry.cause);
  const std::lock_guard lock(m_mutex);
  Daemon& daemon = m_daemons[entry.daemon];
  if (entry.to == Process::Down && daemon.downSince == 0) daemon.downSince = entry.at;
  if (entry.to == Process::Up && daemon.downSince != 0) {
    const std::int64_t took = entry.at - daemon.downSince;
    entry.secondsDown = static_cast<int>(utility::TimeMeasure::getSeconds(took));
    m_timesDown.add(took);
    daemon.downSince = 0;
  }
  std::string line = lineOf(entry);
  keep(daemon, std::move(entry));
  return line;
}

void History::keep(Daemon& daemon, HistoryEntry entry) {
  entry.number = ++m_last;
  daemon.entries.push_back(std::move(entry));
  ++m_count;
  if (daemon.entries.size() > maxEntries) dropOldest(daemon);
  if (m_count > maxEntriesOfAll) dropOldestOfAll();
}

void History::dropOldest(Daemon& daemon) {
  count(daemon.dropped, daemon.entries.front());
  daemon.entries.pop_front();
  --m_count;
}

void History::dropOldestOfAll() {
  Daemon* oldest = nullptr;
  for (auto& [name, daemon] : m_daemons) {
    if (daemon.entries.empty()) continue;
    const bool older = oldest == nullptr || daemon.entries.front().at < oldest->entries.front().at;
    if (older) oldest = &daemon;
  }
  if (oldest != nullptr) dropOldest(*oldest);
}

std::string History::setOutcome(const std::string& daemon, const std::string& what,
                                std::string_view outcome) {
  const std::lock_guard lock(m_mutex);
  giveOutcome(daemon, what, shown(outcome));
  return std::string(outcomeKind) + "\t" + daemon + "\t" + shown(what) + "\t" + shown(outcome) +
         "\n";
}

void History::giveOutcome(std::string_view daemon, std::string_view what,
                          const std::string& outcome) {
  const auto known = m_daemons.find(daemon);
  if (known == m_daemons.end()) return;
  auto& entries = known->second.entries;
  const auto last = std::find_if(entries.rbegin(), entries.rend(), [&](const HistoryEntry& entry) {
    return entry.what == what && entry.outcome.empty();
  });
  if (last != entries.rend()) last->outcome = outcome;
}

std::vector<HistoryEntry> History::entries(std::string_view daemon) const {
  std::vector<HistoryEntry> all;
  const std::lock_guard lock(m_mutex);
  for (const auto& [name, kept] : m_daemons) {
    if (!daemon.empty() && name != daemon) continue;
    all.insert(all.end(), kept.entries.begin(), kept.entries.end());
  }
  std::ranges::stable_sort(all, {}, &HistoryEntry::at);
  return all;
}

std::vector<HistoryEntry> History::entriesAfter(std::uint64_t number) const {
  std::vector<HistoryEntry> all;
  const std::lock_guard lock(m_mutex);
  if (number >= m_last) return all;
  for (const auto& [name, kept] : m_daemons) {
    std::ranges::copy_if(kept.entries, std::back_inserter(all),
                         [number](const HistoryEntry& entry) { return entry.number > number; });
  }
  std::ranges::sort(all, {}, &HistoryEntry::number);
  return all;
}

std::uint64_t History::lastNumber() const {
  const std::lock_guard lock(m_mutex);
  return m_last;
}

History::Summary History::summary(std::string_view daemon) const {
  const std::lock_guard lock(m_mutex);
  const auto known = m_daemons.find(daemon);
  if (known == m_daemons.end()) return {};
  Summary sums = known->second.dropped;
  for (const HistoryEntry& entry : known->second.entries) count(sums, entry);
  return sums;
}

unsigned int History::restartsSince(std::string_view daemon, std::int64_t time) const {
  const std::lock_guard lock(m_mutex);
  const auto known = m_daemons.find(daemon);
  if (known == m_daemons.end()) return 0;
  return static_cast<unsigned int>(std::ranges::count_if(
      known->second.entries,
      [time](const HistoryEntry& entry) { return entry.restart && entry.at >= time; }));
}

std::string History::text() const {
  std::string text;
  const std::lock_guard lock(m_mutex);
  for (const auto& [name, daemon] : m_daemons) {
    text += lineOf(name, daemon.dropped) + limitsOf(name, daemon.dropped);
    for (const HistoryEntry& entry : daemon.entries) text += lineOf(entry);
  }
  return text;
}

unsigned int History::read(std::string_view text, const std::vector<std::string>& known) {
  unsigned int refused = 0;
  const std::lock_guard lock(m_mutex);
  for (std::size_t end; (end = text.find('\n')) != std::string_view::npos;) {
    if (!readLine(text.substr(0, end), known)) ++refused;
    text.remove_prefix(end + 1);
  }
  return refused;
}

bool History::readLine(std::string_view line, const std::vector<std::string>& known) {
  const Fields fields = split(line);
  const auto sums = sumsOf(fields);
  const auto entry = entryOf(fields);
  const bool outcome = fields.size() == 4 && fields[0] == outcomeKind;
  unsigned int overLimit = 0;
  const bool limits = fields.size() == 3 && fields[0] == limitsKind && parse(fields[2], overLimit);
  if (!sums && !entry && !outcome && !limits) return false;
  const std::string name(fields[1]);
  if (std::ranges::find(known, name) == known.end()) return true;
  if (sums) m_daemons[name].dropped = *sums;
  if (limits) m_daemons[name].dropped.overLimit = overLimit;
  if (entry) keep(m_daemons[name], *entry);
  if (outcome) giveOutcome(name, fields[2], shown(fields[3]));
  return true;
}

}  // namespace services::app
