// The names of the debug flags.
#pragma once

#include <string>
#include <vector>

namespace framework {

/// The registered services' names, and the flags that are no service's.
std::vector<std::string> debugFlagNames();

}  // namespace framework
