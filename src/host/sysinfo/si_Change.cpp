// The event that tells the services of a change of the system information.
#include "host/sysinfo/si_Change.h"

#include "host/framework/fw_EventManager.h"
#include "host/sysinfo/si_Scopes.h"
#include "host/sysinfo/si_SysInfoManager.h"

namespace services::sysinfo {

namespace {

struct Flag {
  const char* name;
  bool (*get)(const SysInfo& sysInfo);
  void (*clear)(SysInfo& sysInfo);
};

constexpr Flag flags[] = {
    {"SnmpChanged", [](auto& s) { return s.getSnmpChanged(); },
     [](auto& s) { s.setSnmpChanged(false); }},
    {"SmisChanged", [](auto& s) { return s.getSmisChanged(); },
     [](auto& s) { s.setSmisChanged(false); }},
};

// The record that the handlers get, and what it was when it was handed over.
class HandedRecord {
 public:
  explicit HandedRecord(std::unique_ptr<SysInfo> record)
      : m_record(std::move(record)), m_before(rowsOf(*m_record)) {}
  ~HandedRecord() {
    for (const auto& flag : flags) settle(flag);
  }
  HandedRecord(const HandedRecord&) = delete;
  HandedRecord& operator=(const HandedRecord&) = delete;

  const SysInfo* record() const { return m_record.get(); }

 private:
  void settle(const Flag& flag) const {
    if (m_before.at({systemScope, flag.name}) != "true" || flag.get(*m_record)) return;
    const SysInfoWriteGuard guard;
    SysInfo* stored = guard.getObject();
    if (stored == nullptr) return;
    if (rowsUnder(flag.name, rowsOf(*stored)) == rowsUnder(flag.name, m_before))
      flag.clear(*stored);
  }

  std::unique_ptr<SysInfo> m_record;
  Rows m_before;
};

}  // namespace

void raiseChange(std::unique_ptr<SysInfo> record) {
  auto handed = std::make_shared<const HandedRecord>(std::move(record));
  const SysInfo* given = handed->record();
  // Given away whole: its end takes the store's lock, which the caller may hold.
  framework::EventManager::instance().raise(strings::tGSsysInfoChanged,
                                            std::shared_ptr<const void>(std::move(handed), given));
}

}  // namespace services::sysinfo
