// The words that several of the services share.
#pragma once

#include "util/st_Tokens.h"

namespace strings {

// daemons that the services know by name
inline constexpr stringtoken tGSsfcbd = digestOf("sfcbd");
inline constexpr stringtoken tGSlogMigrator = digestOf("logmigrated");

// events
inline constexpr stringtoken tGSlogMigration = digestOf("logMigration");
inline constexpr stringtoken tGSlogMigrationMc1 = digestOf("logMigrationMc1");
inline constexpr stringtoken tGSlogMigrationMc2 = digestOf("logMigrationMc2");
inline constexpr stringtoken tGSlogMigrationMc3 = digestOf("logMigrationMc3");

}  // namespace strings
