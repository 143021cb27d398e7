// The system information: what the controllers and their operator have settled.
#include "host/sysinfo/si_SysInfo.h"

#include "host/sysinfo/si_SysInfoManager.h"

namespace services::sysinfo {

namespace {

std::size_t indexOf(char letter) { return letter == 'A' ? 0 : 1; }

char myLetter() { return SysInfoManager::getManager()->getMCNode(); }
char otherLetter() { return myLetter() == 'A' ? 'B' : 'A'; }

}  // namespace

MCInfo* SysInfo::getMyMCInfo() { return getMCInfo(myLetter()); }
const MCInfo* SysInfo::getMyMCInfo() const { return getMCInfo(myLetter()); }
MCInfo* SysInfo::getOtherMCInfo() { return getMCInfo(otherLetter()); }
const MCInfo* SysInfo::getOtherMCInfo() const { return getMCInfo(otherLetter()); }

MCInfo* SysInfo::getMCInfo(char letter) {
  return m_known[indexOf(letter)] ? &m_controllers[indexOf(letter)] : nullptr;
}

const MCInfo* SysInfo::getMCInfo(char letter) const {
  return m_known[indexOf(letter)] ? &m_controllers[indexOf(letter)] : nullptr;
}

MCInfo& SysInfo::makeMCInfo(char letter) {
  m_known[indexOf(letter)] = true;
  return m_controllers[indexOf(letter)];
}

}  // namespace services::sysinfo
