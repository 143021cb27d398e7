// The system information: what the controllers and their operator have settled.
#include "sysinfo/record/si_SysInfo.h"

namespace services::sysinfo {

namespace {

std::size_t indexOf(char letter) { return letter == 'A' ? 0 : 1; }

char otherThan(char letter) { return letter == 'A' ? 'B' : 'A'; }

}  // namespace

MCInfo* SysInfo::getMyMCInfo() { return getMCInfo(m_myLetter); }
const MCInfo* SysInfo::getMyMCInfo() const { return getMCInfo(m_myLetter); }
MCInfo* SysInfo::getOtherMCInfo() { return getMCInfo(otherThan(m_myLetter)); }
const MCInfo* SysInfo::getOtherMCInfo() const { return getMCInfo(otherThan(m_myLetter)); }

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
