// The console commands that show what came of late: log tail and events.
#include <array>
#include <charconv>
#include <optional>
#include <span>
#include <string_view>

#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_HostCommands.h"
#include "host/log/fw_RecentLines.h"
#include "host/service/fw_EventManager.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

namespace {

using utility::Arguments;

constexpr std::size_t usualCount = 20;

// What was typed: "[after NUMBER] [LEVEL] [TEXT]".
struct Choice {
  std::optional<std::uint64_t> after = {};  // all that came behind it, else the last few
  int level = LogType::Trace;
  std::string_view text = {};  // what a line holds

  bool takes(int type, std::string_view line) const {
    return type <= level && line.find(text) != std::string_view::npos;
  }
};

// Nothing where something else was typed.
std::optional<Choice> choiceOf(const Arguments& arguments, bool hasLevels) {
  std::vector<std::string_view> words;
  for (unsigned int i = 0; i < arguments.ArgCount(); ++i) words.emplace_back(arguments.ArgValue(i));
  std::span<const std::string_view> rest = words;
  Choice choice;
  if (rest.size() > 1 && rest[0] == "after") {
    const char* const end = rest[1].data() + rest[1].size();
    const auto read = std::from_chars(rest[1].data(), end, choice.after.emplace());
    if (read.ec != std::errc() || read.ptr != end) return std::nullopt;
    rest = rest.subspan(2);
  }
  if (hasLevels && !rest.empty() && Logger::levelOf(rest[0].data()) >= 0) {
    choice.level = Logger::levelOf(rest[0].data());
    rest = rest.subspan(1);
  }
  if (!rest.empty()) {
    choice.text = rest[0];
    rest = rest.subspan(1);
  }
  if (!rest.empty()) return std::nullopt;
  return choice;
}

// A line of either listing, as it is shown and as a record.
struct TailLine {
  std::uint64_t number;
  int type;
  std::string text;
  Value::Record record;
};

const char* severityOf(int type) {
  if (type == LogType::Error) return "Critical";
  return type == LogType::Warning ? "Warning" : "OK";
}

std::vector<TailLine> logLines() {
  std::vector<TailLine> lines;
  for (RecentLines::Line& line : RecentLines::instance().lines()) {
    lines.push_back({line.number,
                     line.type,
                     line.text,
                     {{"Number", line.number},
                      {"Created", timeValue(line.time)},
                      {"Severity", severityOf(line.type)},
                      {"Message", line.text}}});
  }
  return lines;
}

std::vector<TailLine> eventLines() {
  std::vector<TailLine> lines;
  for (const EventManager::Raised& raised : EventManager::instance().recent()) {
    std::array<char, 32> time;
    utility::TimeMeasure::printTimestamp(raised.time, time.data(), time.size());
    const std::string name = strings::StringRepository::toString(raised.event);
    std::string text = std::string(time.data()) + ' ' + name;
    if (!raised.text.empty()) text += ' ' + raised.text;
    lines.push_back({raised.number,
                     0,
                     text,
                     {{"Number", raised.number},
                      {"Created", timeValue(raised.time)},
                      {"Name", name},
                      {"Text", valueOrNone(raised.text)},
                      {"Message", text}}});
  }
  return lines;
}

// Those that came behind the number, or the last few, of what the choice takes.
std::vector<TailLine> chosen(std::vector<TailLine> lines, const Choice& choice) {
  std::erase_if(lines, [&](const TailLine& line) {
    return line.number <= choice.after.value_or(0) || !choice.takes(line.type, line.text);
  });
  if (!choice.after && lines.size() > usualCount) {
    lines.erase(lines.begin(), lines.end() - usualCount);
  }
  return lines;
}

int tell(Console& console, std::vector<TailLine> lines, const Choice& choice) {
  const std::uint64_t before = choice.after.value_or(0);
  const std::uint64_t first = lines.empty() ? 0 : lines.front().number;
  const std::uint64_t last = lines.empty() ? before : lines.back().number;
  const std::uint64_t skipped = choice.after && first > before + 1 ? first - before - 1 : 0;
  ListingStream* const records = recordsAskedOf(console.output());
  if (records != nullptr) {
    records->addFact("Last", last);
    records->addFact("Skipped", skipped);
  }
  for (TailLine& line : chosen(std::move(lines), choice)) {
    if (records != nullptr) {
      records->addRecord(std::move(line.record));
    } else {
      console.output().PutF("%s\n", line.text.c_str());
    }
  }
  return 1;
}

int logTail(Console& console, const Arguments& arguments) {
  const auto choice = choiceOf(arguments, true);
  return choice ? tell(console, logLines(), *choice) : 0;
}

int events(Console& console, const Arguments& arguments) {
  const auto choice = choiceOf(arguments, false);
  return choice ? tell(console, eventLines(), *choice) : 0;
}

std::vector<std::string> tailWords(unsigned int place) {
  if (place > 0) return {};
  return {"-f", "error", "warning", "info"};
}

std::vector<std::string> eventWords(unsigned int place) {
  if (place > 0) return {};
  return {"-f"};
}

}  // namespace

void registerTailCommands(Shell& shell) {
  registerCommands(
      shell,
      {
          {logTail,
           commandOf<"log", "tail">(
               "LogTail", "log tail: show the log's last lines, of a level or that hold a text.\n",
               "log tail [after NUMBER] [error|warning|info] [TEXT]; mcsh follows: log tail -f\n",
               nullptr, tailWords)},
          {events, commandOf<"events">("Events", "events: show the events that were raised last.\n",
                                       "events [after NUMBER] [TEXT]; mcsh follows: events -f\n",
                                       nullptr, eventWords)},
      });
}

}  // namespace framework
