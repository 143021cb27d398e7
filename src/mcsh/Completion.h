// Which command words can follow what has been typed.
#pragma once

#include <string>
#include <vector>

namespace mcsh {

/// The words that begin with `start` and continue `typed`, the words before it, toward one of the
/// commands, each of which is given as its words joined by blanks. Sorted, each once.
std::vector<std::string> completions(const std::vector<std::string>& commands,
                                     const std::string& typed, const std::string& start);

}  // namespace mcsh
