// The service of the management interfaces: the SNMP agent's configuration file.
//
// The agent may be started at any time, so the file is written beside its place and then moved
// there: the agent reads the old content or the new.
#include <array>
#include <optional>
#include <string>

#include "app/interfaces/app_InterfaceManager.h"
#include "app/interfaces/app_SnmpdConf.h"
#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Container.h"
#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/manager/si_Untold.h"
#include "sysinfo/manager/us_UserManager.h"
#include "sysinfo/record/si_Grammar.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using framework::Logger;
using framework::LogType;
using framework::object::EntityObject;
using sysinfo::SysInfo;
using user::User;
using user::UserManager;

namespace {

constexpr int signalDelayTicks = 120;  // of 10 ms, for the agent's file to settle

// The user at an index, for as long as its lines are written.
class UserAt {
 public:
  UserAt(int index, const User* without)
      : m_entry(without == nullptr
                    ? manager().getUser(index, strings::tGSreadAccess)
                    : manager().getUserExcept(index, without->getName(), strings::tGSreadAccess)) {}
  ~UserAt() {
    if (m_entry != nullptr) manager().releaseUser(m_entry, strings::tGSreadAccess);
  }
  UserAt(const UserAt&) = delete;
  UserAt& operator=(const UserAt&) = delete;

  /// The user; null when there is none, or when the entry is no user.
  const User* get() const { return dynamic_cast<const User*>(m_entry); }

 private:
  static UserManager& manager() { return *UserManager::getManager(); }

  const EntityObject* m_entry;
};

const void* address(const void* record) { return record; }

}  // namespace

// Lines carry the signature of the operation that others call, also those of its helpers.
#define MC_SNMP_DEBUG(...) \
  if (isDebugOn()) Logger::StaticLogMethod(LogType::Trace, operation, __LINE__, __VA_ARGS__)

void InterfaceManager::getSnmpdConfName(utility::PutStream& stream) const {
  stream.PutF("%s/etc/config/snmpd.conf", utility::Environment::configDirectory());
}

bool InterfaceManager::handleSnmpV3User(const User& user, utility::VirtualPutStream& stream) const {
  return writeSnmpUser(stream, user);
}

void InterfaceManager::updateSnmpdConfiguration(const SysInfo* sysInfo, const User* changed) {
  const char* const operation = __PRETTY_FUNCTION__;
  std::array<char, 128> text;
  utility::BufferStream path(text.data(), text.size(), false);
  getSnmpdConfName(path);
  std::optional<sysinfo::SysInfoReadGuard> guard;
  if (sysInfo == nullptr) sysInfo = guard.emplace().getObject();
  const bool written =
      sysInfo != nullptr && replaceSnmpdConf(path.pTail(), *sysInfo, changed, operation);
  sysinfo::Untold::instance().setAgentFileWritten(written);
  if (written) {
    signalSnmpAgent(operation);
  } else if (sysInfo == nullptr) {
    Logger::StaticLogMethod(LogType::Error, operation, __LINE__,
                            "no system information to write snmpd.conf from");
  } else {
    Logger::StaticLogMethod(LogType::Error, operation, __LINE__, "snmpd.conf file open failed\n");
  }
}

bool InterfaceManager::replaceSnmpdConf(const char* path, const SysInfo& sysInfo,
                                        const User* changed, const char* operation) const {
  const int count = UserManager::getManager()->numUsers(strings::tGSreadAccess);
  const std::string temporary = utility::temporaryOf(path);
  utility::FileOutputStream file(temporary.c_str(), false, 0666);
  if (!file.isOutputStreamOpen()) return false;
  utility::VirtualPutStream stream(file, 16384, 13107);
  stream.StartOutputStream();
  MC_SNMP_DEBUG("RUNNING - SNMP parameter change, numUsers %d pSysInfo %p pMyUser %p\n", count,
                address(&sysInfo), address(changed));
  const bool hasUsers = writeSnmpUsers(stream, count, changed, operation);
  writeTrapSinks(stream, sysInfo);
  writeCommunities(stream, sysInfo, hasUsers);
  MC_SNMP_DEBUG("RUNNING - SNMP parameter change, %s\n",
                hasUsers ? "engineIDType set" : "no SNMPv3");
  stream.EndOutputStream();
  if (!file.isOutputStreamInError()) return utility::moveIntoPlace(temporary.c_str(), path) == 0;
  utility::Path::remove(temporary.c_str());
  return false;
}

bool InterfaceManager::writeSnmpUsers(utility::VirtualPutStream& stream, int count,
                                      const User* changed, const char* operation) const {
  const char* const changedName = changed == nullptr ? "" : changed->getNameString();
  bool written = false;
  const auto write = [&](const User& user) {  // a name of an older release may be another user's
    if (sysinfo::agentNameFault(user.getNameString()) != nullptr) return;
    written |= handleSnmpV3User(user, stream);
  };
  for (int i = 0; i < count; ++i) {
    const auto debugPresent = [&] {
      if (changed == nullptr) return;
      MC_SNMP_DEBUG("SNMP parameter change, user %d present pMyUser %p %s\n", i, address(changed),
                    changedName);
    };
    debugPresent();
    const UserAt user(i, changed);
    debugPresent();
    MC_SNMP_DEBUG("RUNNING - SNMP parameter change, user %d %p \n", i, address(user.get()));
    if (user.get() == nullptr) {
      MC_SNMP_DEBUG("SNMP parameter change, null user %d present pMyUser %p %s\n", i,
                    address(changed), changedName);
      continue;
    }
    write(*user.get());
  }
  if (changed != nullptr) write(*changed);
  return written;
}

void InterfaceManager::signalSnmpAgent(const char* operation) const {
  taskDelay(signalDelayTicks);
  const int pid = AppManager::findProcess("snmpd");
  if (pid <= 0) return;
  std::array<char, 64> text;
  utility::BufferStream command(text.data(), text.size(), false);
  command.PutF("kill -WINCH %d", pid);
  framework::Container::spawn(command.pTail(), nullptr, nullptr);
  MC_SNMP_DEBUG("syncSnmpConfig restart issued, pid %d\n", pid);
}

#undef MC_SNMP_DEBUG

}  // namespace services::app
