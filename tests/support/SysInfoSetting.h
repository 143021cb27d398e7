// System information for tests.
#pragma once

#include "support/Configured.h"
#include "support/Test.h"
#include "sysinfo/manager/si_SysInfoManager.h"

namespace test {

/// The system information of these texts and flags while the object lives.
class SysInfoSetting : public Unique {
 public:
  SysInfoSetting(const std::map<std::string, std::string>& texts,
                 const std::map<std::string, bool>& flags) {
    framework::Config config;
    for (const auto& [key, text] : texts) config.set("sysinfo." + key, {.value = text});
    for (const auto& [key, flag] : flags) config.set("sysinfo." + key, {.value = flag});
    services::sysinfo::SysInfoManager::getManager()->load(config, 'A');
  }
  ~SysInfoSetting() { services::sysinfo::SysInfoManager::getManager()->unload(); }
};

}  // namespace test
