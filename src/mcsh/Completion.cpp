// Which command words can follow what has been typed.
#include "mcsh/Completion.h"

#include <set>
#include <sstream>

namespace mcsh {

std::vector<std::string> completions(const std::vector<std::string>& commands,
                                     const std::string& typed, const std::string& start) {
  std::string before;
  std::istringstream words(typed);
  for (std::string word; words >> word;) before += word + ' ';
  std::set<std::string> found;
  for (const std::string& command : commands) {
    if (!command.starts_with(before + start)) continue;
    found.insert(command.substr(before.size(), command.find(' ', before.size()) - before.size()));
  }
  return {found.begin(), found.end()};
}

}  // namespace mcsh
