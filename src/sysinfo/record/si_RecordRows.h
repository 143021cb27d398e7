// The settings and the controllers as rows.
#pragma once

#include <string>

#include "sysinfo/record/si_Rows.h"

namespace services::sysinfo {

class SysInfo;

/// The rows of the settings and of the controllers that are known.
Rows rowsOf(const SysInfo& sysInfo);

/// Sets what the rows say; fields without a row get their initial values, controllers without one
/// stay unknown. Leaves out each row that breaks its grammar and adds its place and rule to
/// `refused`, with "; " between them.
void takeRows(const Rows& rows, SysInfo& sysInfo, std::string& refused);

}  // namespace services::sysinfo
