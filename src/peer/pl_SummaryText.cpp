// What a controller tells of its daemons and interfaces, as lines of its record.
#include "peer/pl_SummaryText.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <sstream>

#include "host/base/fw_Entrance.h"

namespace services::peer {

namespace {

using app::PartnerSummary;

constexpr std::size_t longestWord = 32;
constexpr const char* daemonRule = "must be NAME STATE SECONDS RESTARTS FAILURES yes|no";
constexpr const char* interfaceRule = "must be NAME up|down";
constexpr const char* summaryRule = "must be whole or cut";

std::string lineOf(const PartnerSummary::Daemon& daemon) {
  std::ostringstream line;
  line << "Daemon=" << daemon.name << ' ' << daemon.state << ' ' << daemon.seconds << ' '
       << daemon.restarts << ' ' << daemon.failures << ' ' << (daemon.suspended ? "yes" : "no")
       << '\n';
  return line.str();
}

// What must be known first: failing daemons, then those that are not up, then the others.
int rankOf(const PartnerSummary::Daemon& daemon) {
  if (daemon.failures > 0) return 0;
  return daemon.state == "Up" ? 2 : 1;
}

bool isWord(const std::string& text) {
  return !text.empty() && text.size() <= longestWord && std::ranges::all_of(text, [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '?';
  });
}

// A choice between two words; nothing for a third.
std::optional<bool> choiceOf(const std::string& text, const char* yes, const char* no) {
  if (text == yes) return true;
  return text == no ? std::optional(false) : std::nullopt;
}

// The next word, a number from 0 on.
template <typename Number>
bool takeNumber(std::istream& words, Number& number) {
  std::int64_t read = 0;
  if (!(words >> read) || read < 0 ||
      static_cast<std::uint64_t>(read) > std::numeric_limits<Number>::max()) {
    return false;
  }
  number = static_cast<Number>(read);
  return true;
}

const char* takeDaemon(PartnerSummary& summary, const std::string& value) {
  std::istringstream words(value);
  PartnerSummary::Daemon daemon;
  std::string suspended;
  std::string more;
  const bool isRead = words >> daemon.name >> daemon.state && takeNumber(words, daemon.seconds) &&
                      takeNumber(words, daemon.restarts) && takeNumber(words, daemon.failures) &&
                      words >> suspended;
  const auto choice = choiceOf(suspended, "yes", "no");
  if (!isRead || !choice || words >> more || !framework::isDaemonName(daemon.name.c_str()) ||
      !isWord(daemon.state)) {
    return daemonRule;
  }
  daemon.suspended = *choice;
  summary.daemons.push_back(std::move(daemon));
  return nullptr;
}

const char* takeInterface(PartnerSummary& summary, const std::string& value) {
  const std::size_t blank = value.find(' ');
  const std::string name = value.substr(0, blank);
  const auto up =
      blank == std::string::npos ? std::nullopt : choiceOf(value.substr(blank + 1), "up", "down");
  if (!isWord(name) || !up) return interfaceRule;
  summary.interfaces.push_back({name, *up});
  return nullptr;
}

const char* takeState(PartnerSummary& summary, const std::string& value) {
  const auto whole = choiceOf(value, "whole", "cut");
  if (!whole) return summaryRule;
  summary.isWhole = *whole;
  return nullptr;
}

constexpr struct {
  const char* key;
  const char* (*take)(PartnerSummary& summary, const std::string& value);
} keys[] = {{"Summary", takeState}, {"Interface", takeInterface}, {"Daemon", takeDaemon}};

}  // namespace

std::string textOf(const PartnerSummary& summary, std::size_t room) {
  std::string lines;
  for (const auto& [name, up] : summary.interfaces) {
    lines += "Interface=" + name + (up ? " up\n" : " down\n");
  }
  const std::string whole = "Summary=whole\n";
  const std::string cut = "Summary=cut\n";
  if (whole.size() + lines.size() > room) return "";  // as from a release that tells none
  auto daemons = summary.daemons;
  std::ranges::stable_sort(daemons, {}, rankOf);
  bool isWhole = summary.isWhole;
  for (const auto& daemon : daemons) {
    const std::string line = lineOf(daemon);
    const bool fits = whole.size() + lines.size() + line.size() <= room;
    isWhole = isWhole && fits;
    if (!fits) break;
    lines += line;
  }
  return (isWhole ? whole : cut) + lines;
}

const char* takeSummary(std::optional<PartnerSummary>& summary, const std::string& key,
                        const std::string& value) {
  const auto* known = std::ranges::find(keys, key, [](const auto& row) { return row.key; });
  if (known == std::end(keys)) return nullptr;
  if (!summary) summary.emplace();
  return known->take(*summary, value);
}

}  // namespace services::peer
