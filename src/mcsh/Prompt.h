// Lines typed at a terminal, with editing, history and completion.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace mcsh {

/// Sets the commands whose words are completed, each as its words joined by blanks.
void setCompletedCommands(std::vector<std::string> commands);

/// Prompts for a line and adds it to the history unless it may hold a secret; nothing at the end of
/// input.
std::optional<std::string> promptedLine();

}  // namespace mcsh
