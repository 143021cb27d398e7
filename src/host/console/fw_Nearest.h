// What somebody meant who typed a name that does not exist.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace framework {

/// "; did you mean NAME?" with that of the names which takes the fewest changes of a letter; empty
/// where each takes more than a third of the letters, at least one.
std::string didYouMean(std::string_view typed, const std::vector<std::string>& names);

}  // namespace framework
