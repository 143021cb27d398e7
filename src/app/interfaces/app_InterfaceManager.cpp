// The service that switches the management interfaces: construction, switching, asking, report.
#include "app/interfaces/app_InterfaceManager.h"

#include <algorithm>
#include <array>
#include <vector>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/console/fw_Console.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "host/web/ht_HttpServer.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileInputStream.h"

namespace services::app {

using framework::Container;
using http::HttpServer;
using strings::StringRepository;

namespace {

constexpr framework::PropertyRule propertyRules[] = {
    {.key = "managing",
     .type = framework::PropertyType::List,
     .orText = true,
     .absent = "no interface is managed",
     .check = checkInterfaceName},
};

// A console that serves the holding service is left as it is.
bool isHeld(const framework::Console& console) {
  const framework::Service* current = console.getCurrentService();
  return current != nullptr && current->ServiceName() == strings::tGSConsoleHold;
}

bool switchConsole(bool up) {
  framework::Console* console = Container::getConsole();
  if (console == nullptr) return false;
  if (isHeld(*console)) return true;
  return up ? console->enable() : console->disable();
}

bool switchListener(const char* listener, bool up) {
  HttpServer* server = HttpServer::getSingleton();
  if (server == nullptr) return false;
  return up ? server->enableConnections(listener) : server->disableConnections(listener);
}

bool isListenerUp(const char* listener) {
  const HttpServer* server = HttpServer::getSingleton();
  return server != nullptr && server->isEnabledConnections(listener);
}

bool isConsoleUp() {
  const framework::Console* console = Container::getConsole();
  return console != nullptr && console->isEnabled();
}

// The wanted state; what is no interface is wanted off.
bool isWanted(strings::stringtoken name, const sysinfo::SysInfo& sysInfo) {
  const ManagementInterface* interface = findInterface(name);
  return interface != nullptr && interface->wanted(sysInfo);
}

}  // namespace

framework::Service* BuildInterfaceManager(const char* name) { return new InterfaceManager(name); }

const framework::ServiceFactory pFactoryInterfaceManager(BuildInterfaceManager,
                                                         strings::pGSInterfaceManager);
const framework::ServiceProperties propertiesInterfaceManager(strings::pGSInterfaceManager,
                                                              propertyRules);

std::atomic<InterfaceManager*> InterfaceManager::m_pSingleton = nullptr;

const framework::ServiceInfo InterfaceManager::m_serviceInfoData = {
    strings::token<"InterfaceManager">, strings::token<"InterfaceManager">,
    strings::tGSserviceClass};

InterfaceManager::InterfaceManager(const char* name) : Service(name), m_registration(this) {
  const char* list = nullptr;
  if (framework::Config::getConfig()->getStringValueOf(name, "managing", false, &list)) {
    m_managing.SetFromStringList(list);
  } else {
    LogMethodError(__PRETTY_FUNCTION__, __LINE__, "need managing set property");
  }
  for (unsigned int i = 0; i < m_managing.Length(); ++i) {
    syncInterface(static_cast<Interfaces>(m_managing.ElementAt(i)));
  }
  warnIfShutOut();
  createSnmpdConfiguration();
}

void InterfaceManager::createSnmpdConfiguration() {
  std::array<char, 128> text;
  utility::BufferStream path(text.data(), text.size(), false);
  getSnmpdConfName(path);
  utility::FileInputStream file(path.pTail());
  if (file.isInputStreamGood() && file.GetInputStreamSize() != 0) return;
  const sysinfo::SysInfoWriteGuard guard;
  updateSnmpdConfiguration(guard.getObject(), nullptr);
}

bool InterfaceManager::isDebugOn() {
  return utility::Debug::isDebugOn(m_serviceInfoData.debugFlag);
}

void InterfaceManager::Startup() { Service::Startup(); }

void InterfaceManager::Shutdown() { Service::Shutdown(); }

bool InterfaceManager::setUp(Interfaces interface, bool up) {
  InterfaceManager* manager = getSingleton();
  return manager != nullptr && manager->setInterfaceUp(interface, up, false);
}

bool InterfaceManager::isUp(Interfaces interface) {
  const InterfaceManager* manager = getSingleton();
  return manager != nullptr && manager->isInterfaceUp(interface);
}

bool InterfaceManager::managing(Interfaces interface) const { return m_managing.inSet(interface); }

void InterfaceManager::ask(strings::stringtoken interface, bool up) {
  const std::lock_guard lock(m_upLock);
  if (up) {
    m_upInterfaces.set(interface);
  } else {
    m_upInterfaces.unset(interface);
  }
}

bool InterfaceManager::isAskedUp(strings::stringtoken interface) const {
  const std::lock_guard lock(m_upLock);
  return m_upInterfaces.inSet(interface);
}

void InterfaceManager::syncInterface(Interfaces interface) {
  if (!managing(interface)) return;
  const sysinfo::SysInfoReadGuard guard;
  if (guard.getObject() == nullptr) return;
  setInterfaceUp(interface, isWanted(interface, *guard.getObject()), true);
}

bool InterfaceManager::setInterfaceUp(Interfaces interface, bool up, bool suspendOnly) {
  if (!managing(interface)) return false;
  if (isDebugOn()) {
    framework::Logger::StaticLogMethod(
        framework::LogType::Debug, __PRETTY_FUNCTION__, __LINE__, "change interface %s state to %s",
        StringRepository::toString(interface), up ? strings::pGStrue : strings::pGSfalse);
  }
  const ManagementInterface* known = findInterface(interface);
  bool done = true;
  {
    const std::lock_guard turn(m_switchLock);
    ask(interface, up);
    if (known == nullptr) return true;
    done = switchInterface(*known, up, suspendOnly);
  }
  if (known->wayBack && !up && !suspendOnly) warnIfShutOut();
  return done;
}

bool InterfaceManager::switchInterface(const ManagementInterface& interface, bool up,
                                       bool suspendOnly) {
  switch (interface.carrier) {
    case Carrier::Listener:
      return switchListener(interface.listener, up);
    case Carrier::Daemon:
      return processControl(interface.daemon, up, suspendOnly);
    case Carrier::DaemonNow:
      return processControl(interface.daemon, up, false);
    case Carrier::SmisPair:
      return switchSmis(interface.name, up, suspendOnly);
    case Carrier::Console:
      return switchConsole(up);
  }
  return false;
}

bool InterfaceManager::switchSmis(strings::stringtoken form, bool up, bool suspendOnly) {
  if (!up && isAskedUp(otherSmisForm(form))) return true;
  const bool companion = processControl(cimCompanion, up, suspendOnly);
  const bool server = processControl(cimServer, up, suspendOnly);
  return companion && server;
}

bool InterfaceManager::processControl(strings::stringtoken daemon, bool up, bool suspendOnly) {
  AppManager::setProcessSuspend(daemon, !up);
  if (suspendOnly) return true;
  return up ? AppManager::startProcess(daemon) : AppManager::stopProcess(daemon);
}

bool InterfaceManager::processUp(strings::stringtoken daemon) const {
  const Process::State state = AppManager::getProcessState(daemon);
  return state == Process::Starting || state == Process::Up;
}

bool InterfaceManager::isInterfaceUp(Interfaces interface) const {
  const ManagementInterface* known = managing(interface) ? findInterface(interface) : nullptr;
  return known != nullptr && isCarrierUp(*known);
}

bool InterfaceManager::isCarrierUp(const ManagementInterface& interface) const {
  switch (interface.carrier) {
    case Carrier::Listener:
      return isListenerUp(interface.listener);
    case Carrier::Daemon:
    case Carrier::DaemonNow:
      return processUp(interface.daemon);
    case Carrier::SmisPair:
      return isAskedUp(interface.name) && processUp(cimServer) && processUp(cimCompanion);
    case Carrier::Console:
      return isConsoleUp();
  }
  return false;
}

const char* InterfaceManager::isInterfaceUpString(Interfaces interface) const {
  return isInterfaceUp(interface) ? "^^^^" : "vvvv";
}

void InterfaceManager::warnIfShutOut() const {
  std::vector<WayBack> ways;
  for (const ManagementInterface& interface : managementInterfaces()) {
    if (!interface.wayBack) continue;
    ways.push_back({.daemon = interface.carrier == Carrier::Daemon,
                    .managed = m_managing.inSet(interface.name),
                    .askedUp = isAskedUp(interface.name),
                    .seenUp = isCarrierUp(interface)});
  }
  if (isShutOut(ways)) {
    LogWarning("no way back for an operator: web, secure web, telnet, SSH and console are all off");
  }
}

void InterfaceManager::information(utility::PutStream& stream, int indentation,
                                   bool /*detailed*/) const {
  stream.Indent(indentation);
  for (unsigned int i = 0; i < m_managing.Length(); ++i) {
    const auto interface = static_cast<Interfaces>(m_managing.ElementAt(i));
    stream.PutF("%s: %s ", StringRepository::toString(interface), isInterfaceUpString(interface));
  }
  stream.PutS("\n");
}

}  // namespace services::app
