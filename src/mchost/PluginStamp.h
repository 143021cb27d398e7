// Whether a plug-in was built for this host.
#pragma once

#include <optional>
#include <string>

namespace mchost {

/// Reads the notes of the library at `path` (fw_PluginStamp.h) without loading it. Answers what is
/// wrong with one that carries none or was built with other headers than the host's; a file that
/// cannot be read or is no library for this machine is left to the loader, which refuses it.
std::optional<std::string> misfitOf(const std::string& path);

}  // namespace mchost
