// The names of the debug flags.
#pragma once

#include <string>
#include <vector>

namespace framework {

/// Registers a flag that is no service's, by a static initialiser of who writes its lines.
class DebugFlag {
 public:
  /// `name` must live as long as the program.
  explicit DebugFlag(const char* name);
};

/// The registered services' names, and the flags that are no service's.
std::vector<std::string> debugFlagNames();

}  // namespace framework
