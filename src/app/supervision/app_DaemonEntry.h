// One entry of the list of supervised daemons.
#pragma once

#include <string>
#include <vector>

namespace framework {
struct PropertyFinding;
}
namespace utility {
class StringArray;
}

namespace services::app {

/// A daemon's name and its pattern, as an entry of the list gives them: "NAME" or "NAME/PATTERN",
/// blanks around it cut off. Of the entry, at most 127 characters are used.
struct DaemonEntry {
  explicit DaemonEntry(const char* entry);

  std::string name;
  std::string pattern;
  bool hasPattern = false;
};

/// An entry that is a name alone: its text without the blanks around it.
std::string trimmedName(const char* entry);

/// Adds what is wrong with an entry: a name that is none, and, as warnings, an entry that is too
/// long and a pattern that does not compile or costs too much. A blank entry is skipped.
void checkDaemonEntry(const char* entry, std::vector<framework::PropertyFinding>& findings);

/// Adds the names that stand in more than one entry: of two records the second would never get an
/// instance, and the loop would start a daemon that runs.
void checkDaemonList(const utility::StringArray& entries,
                     std::vector<framework::PropertyFinding>& findings);

/// The same for an entry that is a name alone.
void checkDaemonName(const char* entry, std::vector<framework::PropertyFinding>& findings);

}  // namespace services::app
