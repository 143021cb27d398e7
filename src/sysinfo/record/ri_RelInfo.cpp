// What the firmware release carries.
#include "sysinfo/record/ri_RelInfo.h"

namespace services::relinfo {

std::atomic<bool> RelInfo::m_burnToActive = true;

}  // namespace services::relinfo
