// The event that tells the services of a change of the system information.
#include "sysinfo/manager/si_Change.h"

#include <array>

#include "host/service/fw_EventManager.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::sysinfo {

namespace {

struct Flag {
  const char* name;
  bool (SysInfo::*get)() const;
  void (SysInfo::*set)(bool changed);
};

constexpr Flag flags[] = {
    {"SnmpChanged", &SysInfo::getSnmpChanged, &SysInfo::setSnmpChanged},
    {"SmisChanged", &SysInfo::getSmisChanged, &SysInfo::setSmisChanged},
};

class SysInfoEvent : public framework::EventRecord {
 public:
  SysInfoEvent(const SysInfo& record, std::shared_ptr<Change> change)
      : m_record(record), m_given(record), m_telling(std::move(change)) {}

  strings::stringtoken event() const override { return strings::tGSsysInfoChanged; }
  const void* data() const override { return &m_record; }

  bool supersede(EventRecord& older) override {
    auto* const other = dynamic_cast<SysInfoEvent*>(&older);
    if (other == nullptr) return false;
    for (const Flag& flag : flags) {
      if (!(other->m_given.*flag.get)()) continue;
      (m_record.*flag.set)(true);
      (m_given.*flag.set)(true);
    }
    other->m_telling.done();
    return true;
  }

  void handled() override {
    for (const Flag& flag : flags) settle(flag);
    m_telling.done();
  }

 private:
  void settle(const Flag& flag) const {
    if (!(m_given.*flag.get)() || (m_record.*flag.get)()) return;
    const SysInfoWriteGuard guard;
    SysInfo* stored = guard.getObject();
    if (stored == nullptr) return;
    if (rowsUnder(flag.name, rowsOf(*stored)) == rowsUnder(flag.name, rowsOf(m_given)))
      (stored->*flag.set)(false);
  }

  SysInfo m_record;  // the handler's to change
  SysInfo m_given;   // what it was when the handler got it
  Telling m_telling;
};

}  // namespace

void raiseChange(const SysInfo& record, const std::shared_ptr<Change>& change) {
  const auto make = [&] { return std::make_unique<SysInfoEvent>(record, change); };
  if (!framework::EventManager::instance().raise(strings::tGSsysInfoChanged, make)) change->lose();
}

}  // namespace services::sysinfo
