// Loading plug-ins.
#pragma once

#include <string>
#include <vector>

namespace mchost {

/// Loads each plug-in for the life of the process; its static initialisers register what it offers.
/// A name without a slash is looked for in ../lib beside the program. Answers one line for each
/// that cannot be loaded, empty when all are.
std::vector<std::string> loadPlugins(const std::vector<std::string>& names);

}  // namespace mchost
