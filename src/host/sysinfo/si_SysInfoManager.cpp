// Access to the system information, and its properties in the configuration.
#include "host/sysinfo/si_SysInfoManager.h"

#include <cstring>

#include "host/framework/fw_Config.h"
#include "host/framework/fw_Entrance.h"
#include "host/framework/fw_ServiceFactory.h"
#include "util/ut_IPV4Address.h"

namespace services::sysinfo {

using framework::PropertyFinding;
using framework::PropertyType;

namespace {

constexpr const char* section = "sysinfo";

using Findings = std::vector<PropertyFinding>;

// An empty text stands for a setting that is not set.
void checkMailAddress(const char* value, Findings& findings) {
  if (*value != '\0' && !framework::isMailAddress(value)) {
    findings.push_back({true, framework::mailAddressRule});
  }
}

void checkLocalPart(const char* value, Findings& findings) {
  if (*value != '\0' && !framework::isMailLocalPart(value)) {
    findings.push_back({true, framework::mailLocalPartRule});
  }
}

void checkHost(const char* value, Findings& findings) {
  if (*value != '\0' && !framework::isHostName(value)) {
    findings.push_back({true, framework::hostNameRule});
  }
}

// The relay stands in a command line of bounded length.
void checkServer(const char* value, Findings& findings) {
  constexpr std::size_t longest = 63;
  checkHost(value, findings);
  if (std::strlen(value) > longest) findings.push_back({true, "must have at most 63 characters"});
}

void checkAddress(const char* value, Findings& findings) {
  if (!utility::IPV4Address::parse(value)) findings.push_back({true, "must be an IPv4 address"});
}

void checkSerial(const char* value, Findings& findings) {
  if (*value != '\0' && !framework::isDaemonName(value)) {
    findings.push_back({true,
                        "must be 1 to 64 letters, digits, \"_\", \"-\" and \".\" and begin with "
                        "none of the last two"});
  }
}

constexpr framework::PropertyRule rules[] = {
    {.key = "ManagedLogsEnable", .type = PropertyType::Boolean},
    {.key = "EmailIncludeLogsEnable", .type = PropertyType::Boolean},
    {.key = "EmailAddr4", .type = PropertyType::Text, .check = checkMailAddress},
    {.key = "EmailSender", .type = PropertyType::Text, .check = checkLocalPart},
    {.key = "EmailDomain", .type = PropertyType::Text, .check = checkHost},
    {.key = "EmailServer", .type = PropertyType::Text, .check = checkServer},
    {.key = "A.IpV4Address", .type = PropertyType::Text, .check = checkAddress},
    {.key = "A.ControllerSerial", .type = PropertyType::Text, .check = checkSerial},
    {.key = "B.IpV4Address", .type = PropertyType::Text, .check = checkAddress},
    {.key = "B.ControllerSerial", .type = PropertyType::Text, .check = checkSerial},
};

const framework::ServiceProperties properties(section, rules);

std::string textOf(const framework::Config& config, const std::string& key) {
  const char* value = "";
  config.getStringValueOf(section, key.c_str(), false, &value);
  return value;
}

bool flagOf(const framework::Config& config, const char* key) {
  bool value = false;
  config.getBoolValueOf(section, key, false, &value);
  return value;
}

void loadController(const framework::Config& config, char letter, SysInfo& sysInfo) {
  const std::string prefix = std::string(1, letter) + ".";
  const std::string address = textOf(config, prefix + "IpV4Address");
  if (address.empty()) return;
  MCInfo& controller = sysInfo.makeMCInfo(letter);
  controller.setIpV4Address(*utility::IPV4Address::parse(address.c_str()));
  controller.setControllerSerial(textOf(config, prefix + "ControllerSerial"));
}

}  // namespace

SysInfoManager* SysInfoManager::getManager() {
  static SysInfoManager only;
  return &only;
}

const SysInfo* SysInfoManager::readSysInfo() {
  if (!m_loaded) return nullptr;
  m_mutex.lock_shared();
  return &m_sysInfo;
}

void SysInfoManager::unReadSysInfo() { m_mutex.unlock_shared(); }

SysInfo* SysInfoManager::writeSysInfo() {
  if (!m_loaded) return nullptr;
  m_mutex.lock();
  return &m_sysInfo;
}

void SysInfoManager::unWriteSysInfo() { m_mutex.unlock(); }

void SysInfoManager::load(const framework::Config& config, char node) {
  SysInfo fresh;
  fresh.setManagedLogsEnable(flagOf(config, "ManagedLogsEnable"));
  fresh.setEmailIncludeLogsEnable(flagOf(config, "EmailIncludeLogsEnable"));
  fresh.setEmailAddr4(textOf(config, "EmailAddr4"));
  fresh.setEmailSender(textOf(config, "EmailSender"));
  fresh.setEmailDomain(textOf(config, "EmailDomain"));
  fresh.setEmailServer(textOf(config, "EmailServer"));
  loadController(config, 'A', fresh);
  loadController(config, 'B', fresh);
  const std::lock_guard lock(m_mutex);
  m_sysInfo = fresh;
  m_node = node;
  m_loaded = true;
}

}  // namespace services::sysinfo
