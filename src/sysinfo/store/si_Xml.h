// The stored values as a document that may be mailed: without the secrets.
#pragma once

#include <string>

#include "sysinfo/record/si_Rows.h"

namespace services::sysinfo {

/// The rows as XML 1.0, a secret as an element without its text.
std::string xmlOf(const Rows& rows);

/// Writes it to /cfg/sysinfo/system.xml, in place of what is there; a failure is logged.
void writeXml(const Rows& rows);

}  // namespace services::sysinfo
