// The stored values as rows: a scope, a key and a text.
#pragma once

#include <map>
#include <string>
#include <tuple>

namespace services::sysinfo {

/// Where a value stands. The scopes: "system" (the settings), "A" and "B" (the controllers),
/// "release", "component NAME", "user NAME".
struct RowKey {
  std::string scope;
  std::string key;

  bool operator==(const RowKey& other) const { return tied() == other.tied(); }
  bool operator<(const RowKey& other) const { return tied() < other.tied(); }

 private:
  std::tuple<const std::string&, const std::string&> tied() const { return {scope, key}; }
};

/// Values by their place. A field that is null has no row.
using Rows = std::map<RowKey, std::string>;

}  // namespace services::sysinfo
