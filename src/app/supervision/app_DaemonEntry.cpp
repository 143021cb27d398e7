// One entry of the list of supervised daemons.
#include "app/supervision/app_DaemonEntry.h"

#include <regex.h>

#include <array>
#include <cstring>
#include <set>

#include "app/supervision/app_CLocale.h"
#include "app/supervision/app_PatternTrial.h"
#include "host/base/fw_Entrance.h"
#include "host/base/ut_Array.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/ut_BufferStream.h"
#include "util/ut_Misc.h"

namespace services::app {

namespace {

constexpr unsigned int entrySize = 128;

bool hasBackReference(const std::string& pattern) {
  for (std::size_t i = 0; i + 1 < pattern.size(); ++i) {
    if (pattern[i] != '\\') continue;
    const char escaped = pattern[++i];
    if (escaped >= '1' && escaped <= '9') return true;
  }
  return false;
}

// What an operator should know of a pattern; empty for a good one.
std::string complaintOf(const std::string& pattern) {
  if (isCostly(pattern)) {
    return "the pattern takes over 2 MiB or a second on command lines of 4 KiB; write it anew";
  }
  const CLocale byteForByte;
  regex_t compiled;
  if (const int result = ::regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB)) {
    std::array<char, 256> text;
    ::regerror(result, &compiled, text.data(), text.size());
    return std::string("the pattern does not compile (") + text.data() +
           "), the daemon is found by its name";
  }
  const bool matchesNothing = ::regexec(&compiled, "", 0, nullptr, 0) == 0;
  ::regfree(&compiled);
  if (matchesNothing) return "the pattern matches an empty text and so may match every process";
  if (hasBackReference(pattern)) return "the pattern has a back-reference, which can take for ever";
  return "";
}

void checkName(const std::string& name, std::vector<framework::PropertyFinding>& findings) {
  if (framework::isDaemonName(name.c_str())) return;
  findings.push_back({true, "\"" + name + "\": " + framework::daemonNameRule});
}

}  // namespace

std::string trimmedName(const char* entry) {
  std::string text = entry;
  return utility::Misc::trim(text.data());
}

DaemonEntry::DaemonEntry(const char* entry) {
  std::array<char, entrySize> text;
  utility::BufferStream copy(text.data(), text.size(), true);
  copy.PutS(entry);
  char* trimmed = utility::Misc::trim(text.data());
  char* slash = std::strchr(trimmed, '/');
  hasPattern = slash != nullptr;
  if (hasPattern) {
    *slash = '\0';
    pattern = slash + 1;
  }
  name = trimmed;
}

void checkDaemonEntry(const char* entry, std::vector<framework::PropertyFinding>& findings) {
  const DaemonEntry parsed(entry);
  if (parsed.name.empty() && !parsed.hasPattern) return;
  checkName(parsed.name, findings);
  if (std::strlen(entry) >= entrySize) {
    findings.push_back({false, "\"" + parsed.name + "\": the entry is cut at 127 characters"});
  }
  const std::string complaint = parsed.hasPattern ? complaintOf(parsed.pattern) : "";
  if (!complaint.empty()) findings.push_back({false, "\"" + parsed.name + "\": " + complaint});
}

void checkDaemonList(const utility::StringArray& entries,
                     std::vector<framework::PropertyFinding>& findings) {
  std::set<std::string> seen;
  for (unsigned int i = 0; i < entries.Length(); ++i) {
    const std::string name = DaemonEntry(entries.ElementAt(i)).name;
    if (name.empty() || seen.insert(name).second) continue;
    findings.push_back({true, "\"" + name + "\" stands twice"});
  }
}

void checkDaemonName(const char* entry, std::vector<framework::PropertyFinding>& findings) {
  const std::string name = trimmedName(entry);
  if (!name.empty()) checkName(name, findings);
}

}  // namespace services::app
