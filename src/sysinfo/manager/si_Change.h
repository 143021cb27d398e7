// The event that tells the services of a change of the system information.
#pragma once

#include <memory>

#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::sysinfo {

/// A flag of the record that says that settings changed, by its key.
struct ChangedFlag {
  const char* name;
  bool (SysInfo::*get)() const;
  void (SysInfo::*set)(bool changed);
};
inline constexpr ChangedFlag changedFlags[] = {
    {"SnmpChanged", &SysInfo::getSnmpChanged, &SysInfo::setSnmpChanged},
    {"SmisChanged", &SysInfo::getSmisChanged, &SysInfo::setSmisChanged},
};

/// Raises sysInfoChanged: each subscriber gets a copy of the record. When its handler has returned,
/// `clear` is called, on its thread, with each changed flag that it cleared in the copy and with
/// the record as it was given. An event that still waits is superseded by the next, which keeps its
/// changed flags. The caller may hold the system information.
using ClearFlag = void (*)(const ChangedFlag& flag, const SysInfo& given);
void raiseChange(const SysInfo& record, const std::shared_ptr<Change>& change, ClearFlag clear);

}  // namespace services::sysinfo
