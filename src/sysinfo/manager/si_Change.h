// The event that tells the services of a change of the system information.
#pragma once

#include <memory>

#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::sysinfo {

/// Raises sysInfoChanged: each subscriber gets a copy of the record. When its handler has returned,
/// the changed flags that it cleared in the copy are cleared in the store too, unless the settings
/// beneath them differ there by now. An event that still waits is superseded by the next, which
/// keeps its changed flags. The caller may hold the system information.
void raiseChange(const SysInfo& record, const std::shared_ptr<Change>& change);

}  // namespace services::sysinfo
