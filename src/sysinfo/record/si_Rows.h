// The stored values as rows: a scope, a key and a text.
#pragma once

#include <map>
#include <string>
#include <tuple>

namespace services::sysinfo {

/// Where a value stands. The scopes: "system" (the settings), "A" and "B" (the controllers),
/// "release", "component NAME", "user NAME".
struct Place {
  std::string scope;
  std::string key;

  bool operator==(const Place& other) const { return tied() == other.tied(); }
  bool operator<(const Place& other) const { return tied() < other.tied(); }

 private:
  std::tuple<const std::string&, const std::string&> tied() const { return {scope, key}; }
};

/// Values by their place. A field that is null has no row.
using Rows = std::map<Place, std::string>;

class MCInfo;
class SysInfo;

/// The rows of the settings and of the controllers that are known.
Rows rowsOf(const SysInfo& sysInfo);

/// Sets what the rows say; fields without a row get their initial values, controllers without one
/// stay unknown. Leaves out each row that breaks its grammar and adds its place and rule to
/// `refused`, with "; " between them.
void takeRows(const Rows& rows, SysInfo& sysInfo, std::string& refused);

}  // namespace services::sysinfo
