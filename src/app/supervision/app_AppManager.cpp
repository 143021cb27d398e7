// The supervision service: registration, construction, process table, report.
#include "app/supervision/app_AppManager.h"

#include "app/supervision/app_DaemonEntry.h"
#include "app/supervision/app_Installation.h"
#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_ApplicationArguments.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_EventManager.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/ut_BufferStream.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using framework::PropertyType;
using strings::StringRepository;

namespace {

constexpr unsigned int tableCapacity = 50;

constexpr framework::PropertyRule propertyRules[] = {
    {.key = "data",
     .type = PropertyType::List,
     .absent = "no daemon is supervised, no kill script, poll period 0, memory limits off",
     .check = checkDaemonEntry,
     .checkAll = checkDaemonList},
    {.key = "nokill",
     .type = PropertyType::List,
     .absent =
         "no kill script, no crash events, poll period and noKillSeconds 0, memory limits and "
         "lock tracking off",
     .check = checkDaemonName},
    {.key = "killNonEssential",
     .type = PropertyType::List,
     .absent = "no daemon is killed as non-essential",
     .check = checkDaemonName},
    {.key = "pollSeconds", .type = PropertyType::Integer, .minimum = 0, .maximum = 86400},
    {.key = "noKillSeconds", .type = PropertyType::Integer, .minimum = 0, .maximum = 86400},
    {.key = "daemon.*.strictIdentity", .type = PropertyType::Boolean},
    {.key = "daemon.*.probe",
     .type = PropertyType::Text,
     .holds = Probe::isProbe,
     .rule = Probe::rule},
    {.key = "daemon.*.probeSeconds", .type = PropertyType::Integer, .minimum = 1, .maximum = 86400},
    {.key = "daemon.*.probeLimit", .type = PropertyType::Integer, .minimum = 1, .maximum = 30},
    {.key = "daemon.*.memoryLimit",
     .type = PropertyType::Integer,
     .minimum = 1,
     .maximum = 1073741824},
    {.key = "daemon.*.act", .type = PropertyType::Boolean},
    {.key = "flapRestarts", .type = PropertyType::Integer, .minimum = 1, .maximum = 20},
    {.key = "flapMinutes", .type = PropertyType::Integer, .minimum = 1, .maximum = 1440},
    {.key = "crashMailLimit", .type = PropertyType::Integer, .minimum = 0, .maximum = 1000},
    {.key = "flightKiB", .type = PropertyType::Integer, .minimum = 0, .maximum = 65536},
    {.key = "doMemLimitChecking", .type = PropertyType::Boolean},
    {.key = "doLockTrack", .type = PropertyType::Boolean},
    {.key = "watchExits", .type = PropertyType::Boolean},
};

constexpr framework::VariableRule variableRules[] = {
    {"MC_ARCH", "no process control: daemons are watched, none is started, stopped or restarted"},
    {"MC_TEMP", "no mail is sent"},
};

}  // namespace

framework::Service* BuildAppManager(const char* name) { return new AppManager(name); }

const framework::ServiceFactory pFactoryAppManager(BuildAppManager, strings::pGSAppManager);
const framework::ServiceProperties propertiesAppManager(strings::pGSAppManager, propertyRules,
                                                        variableRules, checkInstallation);

std::atomic<AppManager*> AppManager::m_pSingleton = nullptr;

const framework::ServiceInfo AppManager::m_serviceInfoData = {
    strings::token<"AppManager">, strings::token<"AppManager">, strings::tGSserviceClass};

AppManager::AppManager(const char* name)
    : ActiveService(name),
      m_registration(this),
      m_instanceName(framework::Memory::StaticAllocString(name)),
      m_processes(tableCapacity, [this] { return requestToShutdown(); }) {
  setRequestedThreads(1);
  framework::EventManager::instance().declareText(strings::token<"goingDown">, goingDownRefusal);
  const char* architecture = utility::Environment::GetEnv("MC_ARCH");
  m_doProcessControl = std::string(architecture == nullptr ? "PC" : architecture) != "PC";
  m_doCrashMail = utility::Path::exists("/cfg/do.crashmail");

  const utility::StringArray* processes = listProperty(strings::pGSdata);
  if (processes != nullptr) readProcessList(*processes);
  m_historyFile.load(names());
  const utility::StringArray* spared =
      processes == nullptr ? nullptr : listProperty(strings::pGSnokill);
  if (spared != nullptr) {
    readNoKillList(*spared);
    openCrashEvents();
    writeKillScript();
    readSettings();
  }
  if (m_doWatchExits) watchExits();
  openFlight();
  if (!m_health.empty()) setRequestedThreads(2);
}

AppManager::~AppManager() {
  m_pSingleton = nullptr;
  if (m_watch != nullptr) m_watch->stop();  // commands that end later may still hold it
  if (utility::Debug::isDebugOn(strings::tGSlifecycle)) LogWarning("%s", getNameString());
  if (m_crashEvents != nullptr) m_crashEvents->EndOutputStream();
}

bool AppManager::isDebugOn() { return utility::Debug::isDebugOn(m_serviceInfoData.debugFlag); }

const utility::StringArray* AppManager::listProperty(const char* key) const {
  const strings::stringtoken name = framework::Config::concatName(m_instanceName.get(), key, false);
  const auto* list = framework::Config::getConfig(0, nullptr)->propertyAsStringArray(name);
  if (list == nullptr) {
    LogError("%s: property not supplied.  Needed for AppManager processes.",
             StringRepository::toString(name));
  }
  return list;
}

void AppManager::readProcessList(const utility::StringArray& list) {
  if (isDebugOn()) LogDebug("%u processes found", list.Length());
  for (unsigned int i = 0; i < list.Length(); ++i) addProcess(list.ElementAt(i));
}

void AppManager::addProcess(const char* entry) {
  const DaemonEntry daemon(entry);
  if (isDebugOn()) LogDebug("monitoring process: %.127s", entry);
  if (daemon.name.empty()) return;
  const char* const missing = missingProgramOf(daemon.name);
  const bool suspend = missing != nullptr;
  const char* pattern = daemon.hasPattern ? daemon.pattern.c_str() : nullptr;
  if (isDebugOn()) {
    framework::Logger::StaticLogMethod(framework::LogType::Debug, __PRETTY_FUNCTION__, __LINE__,
                                       "%s : %s / %s", daemon.name.c_str(),
                                       suspend ? strings::pGStrue : strings::pGSfalse,
                                       pattern == nullptr ? "-" : pattern);
  }
  const strings::stringtoken token = strings::GS.toToken(daemon.name.c_str());
  auto process = std::make_unique<Process>(token, suspend, pattern);
  process->setStrict(isStrict(daemon.name));
  if (suspend) {
    m_suspensions[process.get()] = {"supervision", std::string(missing) + " is not there"};
  }
  m_scan.add(*process);
  addHealthCheck(*process);
  m_processes.add(std::move(process));
}

bool AppManager::isStrict(const std::string& daemon) const {
  bool strict = false;
  const std::string key = "daemon." + daemon + ".strictIdentity";
  framework::Config::getConfig(0, nullptr)
      ->getBoolValueOf(m_instanceName.get(), key.c_str(), false, &strict);
  return strict;
}

void AppManager::readNoKillList(const utility::StringArray& list) {
  for (unsigned int i = 0; i < list.Length(); ++i) {
    const std::string name = trimmedName(list.ElementAt(i));
    if (name.empty()) continue;
    Process* process = recordOf(name);
    if (process != nullptr) {
      if (isDebugOn()) LogDebug("prcessindex for nokill");
      process->setNoKill(true);
    } else if (isDebugOn()) {
      LogDebug("%s not found in process list; it can not be%29sadded to the nokill list",
               name.c_str(), "");
    }
  }
}

void AppManager::openCrashEvents() {
  if (!m_doCrashMail) return;
  const char* directory = utility::Environment::GetEnv("MC_LOG_DIR");
  std::array<char, 128> text;
  utility::BufferStream path(text.data(), text.size(), false);
  path.PutF("%s/crash.events", directory == nullptr ? "" : directory);
  m_crashEvents = std::make_unique<utility::FileOutputStream>(path.pTail(), true, 0666);
  m_crashEvents->StartOutputStream();
}

void AppManager::writeKillScript() const {
  const char* program = framework::ApplicationArguments::getArgs().ArgValue(0);
  std::array<char, 128> text;
  utility::BufferStream path(text.data(), text.size(), false);
  path.PutF("/usr/bin/killapps%s", program == nullptr ? "" : utility::Path::baseName(program));
  utility::FileOutputStream file(path.pTail(), false, 0777);
  file.StartOutputStream();
  utility::VirtualPutStream script(file, 16384, 13107);
  if (!file.isOutputStreamGood()) return;
  script.PutS("#!/bin/sh\n");
  for (const Process* process : m_processes.records()) {
    if (!process->getNoKill()) script.PutF("killall -9 %s\n", process->getNameString());
  }
  script.EndOutputStream();
}

void AppManager::readSettings() {
  const framework::Config& config = *framework::Config::getConfig(0, nullptr);
  const char* name = m_instanceName.get();
  config.getIntValueOf(name, "pollSeconds", false, &m_pollSeconds);
  config.getIntValueOf(name, "noKillSeconds", false, &m_noKillSeconds);
  config.getIntValueOf(name, "flapRestarts", false, &m_flapRestarts);
  config.getIntValueOf(name, "flapMinutes", false, &m_flapMinutes);
  config.getIntValueOf(name, "crashMailLimit", false, &m_crashMailLimit);
  config.getIntValueOf(name, "flightKiB", false, &m_flightKiB);
  config.getBoolValueOf(name, "doMemLimitChecking", false, &m_doMemLimitChecking);
  config.getBoolValueOf(name, "doLockTrack", false, &m_doLockTrack);
  config.getBoolValueOf(name, "watchExits", false, &m_doWatchExits);
}

void AppManager::watchExits() {
  m_watch = framework::Container::watchExits([this] { m_waiter.signal(); });
  m_scan.watchExits(*m_watch);
  for (Process* process : m_processes.records()) {
    process->onScriptEnd([watch = std::weak_ptr(m_watch)] {
      if (const auto living = watch.lock()) living->order();
    });
  }
}

void AppManager::Startup() {
  m_historyFile.start();
  ActiveService::Startup();
}

void AppManager::Shutdown() {
  if (utility::Debug::isDebugOn(strings::tGSlifecycle)) LogWarning("%s", getNameString());
  shutDownRequest();
  m_waiter.signal();
  m_healthWaiter.signal();
  ActiveService::Shutdown();
}

Process* AppManager::recordOf(const std::string& name) const {
  return m_processes.find(strings::GS.toToken(name.c_str()));
}

Claim AppManager::claim(strings::stringtoken name) {
  const AppManager* const manager = getSingleton();
  return manager == nullptr ? Claim() : Claim(manager->m_processes, name);
}

void AppManager::information(utility::PutStream& stream, int indentation, bool detailed) const {
  if (!m_doRestarts) stream.PutS("Do Restarts disabled\n");
  if (!m_doProcessControl) stream.PutS("Do ProcessControl disabled\n");
  for (unsigned int n = 0; n < m_processes.Length(); ++n) {
    const Claim process = Claim::sorted(m_processes, n);
    if (process) process->information(stream, indentation, detailed);
  }
  stream.Indent(indentation);
  stream.PutF("MEM: F/%u kb (%u%%), C/%u kb (%u%%), B/%u kb (%u%%), A/%u kb (%u%%)\n",
              m_memFree.load(), m_memFreePercent.load(), m_memCached.load(),
              m_memCachedPercent.load(), m_memBuffers.load(), m_memBuffersPercent.load(),
              m_memAnon.load(), m_memAnonPercent.load());
}

}  // namespace services::app
