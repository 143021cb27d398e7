// Loading plug-ins.
#pragma once

#include <optional>
#include <string>

namespace mchost {

/// Loads a plug-in for the life of the process; its static initialisers register what it offers.
/// A name without a slash is looked for beside the host's own library. Answers what is wrong with
/// one that cannot be loaded, or was not built for this host, which is seen before it is loaded.
/// One whose initialisers throw ends the process; see LifeStep.h.
std::optional<std::string> loadPlugin(const std::string& name);

}  // namespace mchost
