// Whether a pattern costs more than a supervision can afford.
#pragma once

#include <string>

namespace services::app {

/// Compiles a pattern and matches it against titles of 4 KiB that are made to be hard for it. True
/// when that took more than 2 MiB of memory or a second of processor time. It happens in a child
/// process with bounds on both, since neither can be taken back from the library once it is spent;
/// where there is no room for one the answer is false. Any thread may call.
bool isCostly(const std::string& pattern);

}  // namespace services::app
