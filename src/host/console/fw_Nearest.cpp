// What somebody meant who typed a name that does not exist.
#include "host/console/fw_Nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace framework {

namespace {

// How many letters are to be changed, added or left out, two exchanged neighbours being one.
std::size_t distance(std::string_view left, std::string_view right) {
  std::vector<std::size_t> before;
  std::vector<std::size_t> last;
  std::vector<std::size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= left.size(); ++i) {
    before = std::exchange(last, row);
    row[0] = i;
    for (std::size_t j = 1; j <= right.size(); ++j) {
      const std::size_t other = left[i - 1] == right[j - 1] ? 0 : 1;
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + other});
      const bool isExchange =
          i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (isExchange) row[j] = std::min(row[j], before[j - 2] + 1);
    }
  }
  return row.back();
}

}  // namespace

std::string didYouMean(std::string_view typed, const std::vector<std::string>& names) {
  constexpr std::size_t longest = 64;  // of what somebody mistypes
  if (typed.size() > longest) return "";
  std::size_t least = std::max<std::size_t>(typed.size() / 3, 1) + 1;
  const std::string* nearest = nullptr;
  for (const std::string& name : names) {
    const std::size_t changes = distance(typed, name);
    if (changes >= least || changes >= name.size()) continue;
    least = changes;
    nearest = &name;
  }
  return nearest == nullptr ? "" : "; did you mean " + *nearest + "?";
}

}  // namespace framework
