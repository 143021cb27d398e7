// What a start with another list of daemons would change on a running host.
#pragma once

#include <string>
#include <vector>

namespace services::app {

/// A line for each daemon that the start would change, given those of the new list and what the
/// running host answers to "process list"; none where that is no list of daemons.
std::vector<std::string> previewStart(const std::vector<std::string>& daemons,
                                      const std::string& processList);

}  // namespace services::app
