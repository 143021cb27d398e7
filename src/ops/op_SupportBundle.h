// One archive with what the maker needs to look into a fault.
#pragma once

#include "host/base/ut_Arguments.h"

namespace framework {
class Console;
}

namespace services::ops {

/// The command "support bundle FILE". It takes no lock of a service for longer than the commands
/// whose answers it keeps, one bundle at a time.
int supportBundle(framework::Console& console, const utility::Arguments& arguments);

}  // namespace services::ops
