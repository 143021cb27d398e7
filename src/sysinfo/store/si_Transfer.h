// What one controller gives another when it gives its settings.
#pragma once

#include <string>

#include "sysinfo/record/si_Rows.h"

namespace services::sysinfo {

/// Those of the rows that a push of the settings transfers: the settings and the users; nothing
/// that belongs to a controller, its firmware or its midplane, and no changed flags.
Rows transferable(const Rows& rows);

/// The SHA-256 of rows, as 64 hexadecimal digits: each text in their order with its length before
/// it.
std::string digestOf(const Rows& rows);

}  // namespace services::sysinfo
