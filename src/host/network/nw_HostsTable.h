// The text of a hosts file, hosts(5), read and changed. Nothing but values.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace services::network {

/// The address in the first line that holds the name, in either letter case.
std::optional<std::string> findHost(std::string_view table, std::string_view name);

/// The table with the name at that address, in one line alone: its first one, changed where the
/// name stands there by itself, else a new one before it; without any, a new one at the end. The
/// name goes from all other lines; one that holds no other goes but for its comment. All the rest
/// is kept byte for byte.
std::string pointHost(std::string_view table, std::string_view address, std::string_view name);

}  // namespace services::network
