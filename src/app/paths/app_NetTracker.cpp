// The service that tracks the network paths to the partner controller.
#include "app/paths/app_NetTracker.h"

#include <array>
#include <cstring>

#include "host/base/fw_Container.h"
#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/network/nw_NetworkManager.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/ut_BufferStream.h"
#include "util/ut_IPV4Address.h"
#include "util/ut_TimeStamp.h"

namespace services::app {

using framework::Logger;
using framework::LogType;
using framework::PropertyType;
using network::NetworkManager;
using utility::TimeMeasure;

namespace {

constexpr framework::PropertyRule propertyRules[] = {
    {.key = "fastPollSeconds", .type = PropertyType::Integer, .minimum = 1, .maximum = 86400},
    {.key = "normalPollSeconds", .type = PropertyType::Integer, .minimum = 1, .maximum = 86400},
};

constexpr const char* innerHost = "othermcinner";
constexpr const char* outerHost = "othermcouter";
constexpr const char* partnerHost = "othermc";

const char* arrows(bool isUp) { return isUp ? "^^^^^" : "vvvvv"; }

// Whether an address is this controller's own.
bool isOwnAddress(const char* address) {
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  const sysinfo::MCInfo* mine = sysInfo == nullptr ? nullptr : sysInfo->getMyMCInfo();
  return mine != nullptr && utility::IPV4Address::parse(address) == mine->getIpV4Address();
}

// Points the partner's host name where another host name points.
void pointPartnerAt(const char* hostName) {
  std::array<char, 32> address;
  if (NetworkManager::getHosts(address.data(), address.size(), hostName)) {
    NetworkManager::setHosts(address.data(), partnerHost);
  }
}

}  // namespace

framework::Service* BuildNetTracker(const char* name) { return new NetTracker(name); }

const framework::ServiceFactory pFactoryNetTracker(BuildNetTracker, strings::pGSNetTracker);
const framework::ServiceProperties propertiesNetTracker(strings::pGSNetTracker, propertyRules);

std::atomic<NetTracker*> NetTracker::m_pSingleton = nullptr;

const framework::ServiceInfo NetTracker::m_serviceInfoData = {
    strings::token<"NetTracker">, strings::token<"NetTracker">, strings::tGSserviceClass};

NetTracker::NetTracker(const char* name) : ActiveService(name) {
  m_pSingleton = this;
  setRequestedThreads(1);
  const framework::Config& config = *framework::Config::getConfig();
  config.getIntValueOf(name, "fastPollSeconds", false, &m_fastPollSeconds);
  config.getIntValueOf(name, "normalPollSeconds", false, &m_normalPollSeconds);
}

NetTracker::~NetTracker() {
  if (utility::Debug::isDebugOn(strings::tGSdestructors)) {
    LogMethodWarning(__PRETTY_FUNCTION__, __LINE__, "%s", getNameString());
  }
}

void NetTracker::Startup() { ActiveService::Startup(); }

void NetTracker::Shutdown() {
  if (utility::Debug::isDebugOn(strings::tGSlifecycle)) {
    LogMethodWarning(__PRETTY_FUNCTION__, __LINE__, "%s", getNameString());
  }
  shutDownRequest();
  m_waiter.signal();
  ActiveService::Shutdown();
}

void NetTracker::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  stream.Indent(indentation);
  stream.PutF("inner path: %s, outer path: %s\n", arrows(m_innerPathUp), arrows(m_outerPathUp));
}

void NetTracker::threadDo(int /*index*/) {
  const std::int64_t start = TimeMeasure::getTimestamp();
  while (!requestToShutdown()) {
    framework::guarded(getNameString(), "tracking cycle", [&] { cycle(start); });
    m_waiter.lock();
    m_waiter.wait(m_pollSeconds);
    m_waiter.unlock();
  }
}

void NetTracker::cycle(std::int64_t start) {
  const utility::Duration since = utility::TimeStamp::now() - utility::TimeStamp(start);
  const CyclePlan plan = planCycle({.isStartUp = m_isStartUp,
                                    .sinceStart = TimeMeasure::getSeconds(since.Value()),
                                    .areBothUp = m_innerPathUp && m_outerPathUp});
  m_isStartUp = m_isStartUp && !plan.endsStartUp;
  m_pollSeconds = plan.isFast ? m_fastPollSeconds : m_normalPollSeconds;
  if (plan.pings) pingPaths();
}

void NetTracker::pingPaths() {
  const PathChange outer = pingPath(outerHost, m_outerPathUp);
  const PathChange inner = pingPath(innerHost, m_innerPathUp);
  if (outer != PathChange::None) {
    logChange("Outer", outer);
    pointPartnerAt(outer == PathChange::Up ? outerHost : innerHost);
  }
  if (inner != PathChange::None) logChange("Inner", inner);
}

PathChange NetTracker::pingPath(const char* hostName, std::atomic<bool>& isUp) {
  const PathChange change = changeOfPath(isUp, ping(hostName));
  if (change != PathChange::None) isUp = change == PathChange::Up;
  if (change == PathChange::Down) m_pollSeconds = m_fastPollSeconds;
  return change;
}

void NetTracker::logChange(const char* path, PathChange change) const {
  const bool isUp = change == PathChange::Up;
  LogInfo("MC %s Path is now %s %s", path, isUp ? "UP" : "DOWN", arrows(isUp));
}

bool NetTracker::ping(const char* hostName) const {
  std::array<char, 32> address;
  if (NetworkManager::getHosts(address.data(), address.size(), hostName)) {
    if (std::strcmp(address.data(), "0.0.0.0") == 0 || isOwnAddress(address.data())) {
      Logger::StaticLog(LogType::Info, "NetTracker::ping:: Not allowing ping of self (%s)",
                        address.data());
      return false;
    }
  }
  std::array<char, 128> text;
  utility::BufferStream command(text.data(), text.size(), true);
  command.PutF("ping -c 1 -W 10 %s", hostName);
  return framework::Container::spawn(command.pTail(), nullptr, nullptr) == 0;
}

}  // namespace services::app
