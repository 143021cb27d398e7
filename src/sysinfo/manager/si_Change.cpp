// The event that tells the services of a change of the system information.
#include "sysinfo/manager/si_Change.h"

#include "host/service/fw_EventManager.h"

namespace services::sysinfo {

namespace {

class SysInfoEvent : public framework::EventRecord {
 public:
  SysInfoEvent(const SysInfo& record, std::shared_ptr<Change> change, ClearFlag clear)
      : m_record(record), m_given(record), m_telling(std::move(change)), m_clear(clear) {}

  strings::stringtoken event() const override { return strings::tGSsysInfoChanged; }
  const void* data() const override { return &m_record; }

  bool supersede(EventRecord& older) override {
    auto* const other = dynamic_cast<SysInfoEvent*>(&older);
    if (other == nullptr) return false;
    for (const ChangedFlag& flag : changedFlags) {
      if (!(other->m_given.*flag.get)()) continue;
      (m_record.*flag.set)(true);
      (m_given.*flag.set)(true);
    }
    other->m_telling.done();
    return true;
  }

  void handled() override {
    for (const ChangedFlag& flag : changedFlags) {
      if ((m_given.*flag.get)() && !(m_record.*flag.get)()) m_clear(flag, m_given);
    }
    m_telling.done();
  }

 private:
  SysInfo m_record;  // the handler's to change
  SysInfo m_given;   // what it was when the handler got it
  Telling m_telling;
  ClearFlag m_clear;
};

}  // namespace

void raiseChange(const SysInfo& record, const std::shared_ptr<Change>& change, ClearFlag clear) {
  const auto make = [&] { return std::make_unique<SysInfoEvent>(record, change, clear); };
  if (!framework::EventManager::instance().raise(strings::tGSsysInfoChanged, make)) change->lose();
}

}  // namespace services::sysinfo
