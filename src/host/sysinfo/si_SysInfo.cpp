// The system information: what the controllers and their operator have settled.
#include "host/sysinfo/si_SysInfo.h"

#include "host/sysinfo/si_SysInfoManager.h"

namespace services::sysinfo {

const MCInfo* SysInfo::getMyMCInfo() const {
  return SysInfoManager::getManager()->getMCNode() == 'A' ? getMCAInfo() : getMCBInfo();
}

const MCInfo* SysInfo::getOtherMCInfo() const {
  return SysInfoManager::getManager()->getMCNode() == 'A' ? getMCBInfo() : getMCAInfo();
}

MCInfo& SysInfo::makeMCInfo(char letter) {
  const std::size_t index = letter == 'A' ? 0 : 1;
  m_known[index] = true;
  return m_controllers[index];
}

}  // namespace services::sysinfo
