// The event that tells the services of a change of the system information.
#pragma once

#include <memory>

#include "host/sysinfo/si_SysInfo.h"

namespace services::sysinfo {

/// Raises sysInfoChanged with this copy of the record, which the queue then owns. When its last
/// handler has returned, the changed flags that handlers cleared in the copy are cleared in the
/// store too, unless the settings beneath them differ there by now. The caller may hold the system
/// information.
void raiseChange(std::unique_ptr<SysInfo> record);

}  // namespace services::sysinfo
