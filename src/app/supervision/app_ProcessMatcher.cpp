// Which record a running process belongs to.
#include "app/supervision/app_ProcessMatcher.h"

#include <array>

#include "app/supervision/app_CommandLine.h"
#include "app/supervision/app_Process.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

void ProcessMatcher::add(Process& record) {
  const std::size_t place = m_length++;
  if (record.getPattern() == nullptr) {
    m_names.try_emplace(record.getNameString(), place, &record);
  } else {
    m_patterns.push_back({.place = place, .record = &record});
  }
}

ProcessMatcher::Answer ProcessMatcher::find(CommandLine& commandLine) {
  std::array<char, 256> baseName;
  commandLine.copyBaseName(baseName.data(), baseName.size());
  const auto named = m_names.find(baseName.data());
  const std::size_t end = named == m_names.end() ? m_length : named->second.first;
  const char* const text = commandLine.text();
  Answer answer;
  std::int64_t before = utility::TimeMeasure::getTimestamp();
  for (Pattern& pattern : m_patterns) {
    if (pattern.place > end) break;
    const Process::Match match = pattern.record->tryMatch(baseName.data(), text);
    const std::int64_t after = utility::TimeMeasure::getTimestamp();
    pattern.microseconds += after - before;
    before = after;
    ++pattern.tried;
    if (match == Process::Match::Failed) answer.failed = true;
    if (match != Process::Match::Yes) continue;
    answer.record = pattern.record;
    return answer;
  }
  if (named != m_names.end()) answer.record = named->second.second;
  return answer;
}

void ProcessMatcher::logPatternTimes() {
  for (Pattern& pattern : m_patterns) {
    if (pattern.tried == pattern.logged) continue;
    pattern.logged = pattern.tried;
    pattern.record->LogDebug("pattern tried on %u command lines, %lld microseconds in all",
                             pattern.tried, static_cast<long long>(pattern.microseconds));
  }
}

}  // namespace services::app
