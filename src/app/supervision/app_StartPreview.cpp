// What a start with another list of daemons would change on a running host.
#include "app/supervision/app_StartPreview.h"

#include <algorithm>
#include <map>
#include <sstream>

#include "app/supervision/app_Installation.h"

namespace services::app {

namespace {

constexpr const char* suspendedColumn = "SUSPENDED";

// The daemons of the table, and whether each is suspended.
std::map<std::string, bool> suspensionsIn(const std::string& processList) {
  std::map<std::string, bool> suspensions;
  std::istringstream lines(processList);
  std::size_t column = std::string::npos;
  for (std::string line; std::getline(lines, line);) {
    if (column == std::string::npos) {
      if (line.starts_with("NAME ")) column = line.find(suspendedColumn);
    } else if (column < line.size()) {
      suspensions[line.substr(0, line.find(' '))] = line.substr(column).starts_with("yes");
    }
  }
  return suspensions;
}

}  // namespace

std::vector<std::string> previewStart(const std::vector<std::string>& daemons,
                                      const std::string& processList) {
  std::vector<std::string> changes;
  const std::map<std::string, bool> running = suspensionsIn(processList);
  if (running.empty()) return changes;
  for (const std::string& name : daemons) {
    const auto before = running.find(name);
    const char* const missing = missingProgramOf(name);
    if (before == running.end()) {
      changes.push_back(name + ": supervised from then on");
    } else if (before->second && missing == nullptr) {
      changes.push_back(name + ": suspended now, and no longer then");
    } else if (!before->second && missing != nullptr) {
      changes.push_back(name + ": suspended then, since " + missing + " is not there");
    }
  }
  for (const auto& [name, suspended] : running) {
    if (std::ranges::count(daemons, name) == 0) changes.push_back(name + ": supervised no more");
  }
  return changes;
}

}  // namespace services::app
