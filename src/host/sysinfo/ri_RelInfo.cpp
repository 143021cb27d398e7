// What the firmware release carries.
#include "host/sysinfo/ri_RelInfo.h"

namespace services::relinfo {

std::atomic<bool> RelInfo::m_burnToActive = true;

}  // namespace services::relinfo
