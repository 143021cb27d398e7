// Lines typed at a terminal, with editing, history and completion.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace mcsh {

/// Sets what answers the words that may come behind those typed. What it throws means: none.
void setCompletion(std::function<std::vector<std::string>(const std::string& typed)> choices);

/// Prompts for a line and adds it to the history unless it may hold a secret; nothing at the end of
/// input.
std::optional<std::string> promptedLine();

}  // namespace mcsh
