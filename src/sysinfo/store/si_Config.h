// The table [sysinfo] of the configuration: the values with which a new store begins.
#pragma once

#include "sysinfo/record/si_Rows.h"

namespace framework {
class Config;
}

namespace services::sysinfo {

/// The rows of a new store on controller 'A' or 'B': what the configuration gives, initial values
/// for the rest, and a record for this controller.
Rows firstRows(const framework::Config& config, char node);

}  // namespace services::sysinfo
