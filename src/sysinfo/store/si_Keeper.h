// Where this build keeps its rows: in a database, or in a text file on a small controller.
#pragma once

#ifdef MC_SMALL

#include "sysinfo/store/si_TextFile.h"

namespace services::sysinfo {
using Keeper = TextFile;
}

#else

#include "sysinfo/store/si_Database.h"

namespace services::sysinfo {
using Keeper = Database;
}

#endif
