// What of the daemons is installed on this machine.
#pragma once

#include <string>
#include <vector>

#include "host/service/fw_ServiceFactory.h"

namespace services::app {

/// The path of the program without which a daemon of that name is no part of the installation; null
/// when it is there, or for a name that has no such program.
const char* missingProgramOf(const std::string& daemon);

/// The path of the daemon's init script.
std::string initScriptOf(const std::string& daemon);

/// What of the configuration does not fit the installation, all of which may run: init scripts that
/// cannot run, programs whose absence suspends a daemon, names in the lists that are no daemon's, a
/// mail relay that is not there.
std::vector<framework::PlacedWarning> checkInstallation(const framework::Config& config,
                                                        const char* instance);

}  // namespace services::app
