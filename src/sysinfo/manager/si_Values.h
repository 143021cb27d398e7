// The stored values by their keys, for the console.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace services::sysinfo {

/// A stored value as the operator sees it. A secret's text is empty.
struct Value {
  std::string key;
  std::string text;
  bool secret = false;
};

// A key is an accessor's name without "get" (SnmpReadCommunity); of a controller "A." or "B."
// stands before it (A.ControllerSerial), of the release "release." (release.HasBurnToActive), of a
// component's CPLD revision "component.NAME.CpldRevision".

/// All values, in the order in which they are shown. Any thread may call these.
std::vector<Value> listValues();

/// The value of a key, its text empty when it is null; nothing when there is no such key.
std::optional<Value> findValue(const std::string& key);

/// Sets several values in one durable change; an empty text gives the initial value. The answer is
/// empty, or one line that names the key and its rule, and then nothing was changed.
std::string changeValues(const std::vector<std::pair<std::string, std::string>>& changes);

}  // namespace services::sysinfo
