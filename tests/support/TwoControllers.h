// An enclosure of two controllers as one of them knows it.
#pragma once

#include "app/pairing/app_BurnToActive.h"
#include "host/machine/SimulatedPlatform.h"
#include "support/SysInfoSetting.h"

namespace test {

/// The serial numbers of both controllers in MAC form.
constexpr const char* serialA = "X0000024D4300000A";
constexpr const char* serialB = "X0000024D4300000B";

/// The system information of both controllers, changed by "KEY=VALUE ...", on the simulated
/// machine, with nothing decided and the partner's information valid.
class TwoControllers : public Unique {
 public:
  explicit TwoControllers(const std::string& changes = "", char node = 'A') {
    framework::Config config;
    std::istringstream values(
        "MidplaneSN=M1 A.ControllerSerial=SN00000A A.MacAddress=02:4d:43:00:00:0a "
        "A.McVersion=1.0 A.BundleVersion=1.0 A.CpldVersion=1.0 B.ControllerSerial=SN00000B "
        "B.MacAddress=02:4d:43:00:00:0b B.McVersion=1.0 B.BundleVersion=1.0 B.CpldVersion=1.0 " +
        changes);
    for (std::string key, value; std::getline(values >> std::ws, key, '=') && values >> value;) {
      if (value == "true")
        config.set("sysinfo." + key, {.value = true});
      else
        config.set("sysinfo." + key, {.value = value == "-" ? "" : value});
    }
    manager->load(config, node);
    manager->setValidPartner(true);
    pairing->clearDecisionParameters();
  }
  ~TwoControllers() { manager->unload(); }

  /// A text of A's or B's record, "-" for none.
  std::string record(char letter, const char* (services::sysinfo::MCInfo::*read)() const) const {
    const services::sysinfo::SysInfoReadGuard guard;
    const char* text = (guard.getObject()->getMCInfo(letter)->*read)();
    return text == nullptr ? "-" : text;
  }

  /// Hands over the partner.
  void meet(services::app::BurnToActive::SyncRole role, const char* serial = serialB) const {
    pairing->setCurrentPartnerSN(serial);
    pairing->setPartnerSyncRole(role);
  }

  platform::SimulatedPlatform machine;
  services::sysinfo::SysInfoManager* const manager =
      services::sysinfo::SysInfoManager::getManager();
  services::app::BurnToActive* const pairing = services::app::BurnToActive::getInstance();
  LogCapture log;
};

/// Does something once, when a certain line is logged. It must not log itself.
class InTheMidst : public framework::Logger {
 public:
  InTheMidst(const char* line, std::function<void()> happening)
      : m_line(line), m_happening(std::move(happening)) {
    registerLogger(this);
  }
  ~InTheMidst() override { unregisterLogger(this); }
  void takeLine(int /*type*/, const char* line, std::size_t size) override {
    if (std::string(line, size).find(m_line) == std::string::npos) return;
    if (m_happening) std::exchange(m_happening, nullptr)();
  }

 private:
  const char* m_line;
  std::function<void()> m_happening;
};

}  // namespace test
