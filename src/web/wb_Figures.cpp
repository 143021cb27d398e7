// What is counted in the services, for those who watch.
#include "web/wb_Figures.h"

#include <unistd.h>

#include <ctime>
#include <fstream>

#include "app/archive/app_AppFileLogger.h"
#include "app/pairing/app_BurnToActive.h"
#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_PartnerSummary.h"
#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "host/web/ht_HttpServer.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/ut_TimeMeasure.h"

namespace services::web {

using app::AppManager;
using utility::OutcomeCount;

namespace {

constexpr double second = 1000000;  // in microseconds

template <class Bounds, class Counts>
Distribution distributionOf(const Bounds& bounds, const Counts& counts, std::int64_t total) {
  Distribution all{.bounds = {},
                   .counts = {counts.begin(), counts.end()},
                   .total = static_cast<double>(total) / second};
  for (const std::int64_t bound : bounds) all.bounds.push_back(static_cast<double>(bound) / second);
  return all;
}

void readSupervision(Figures& figures) {
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) return;
  for (const std::string& name : manager->names()) {
    const app::History::Summary sums = manager->history().summary(name);
    figures.daemons[name] = {.down = sums.restarts - sums.overLimit, .overLimit = sums.overLimit};
  }
  for (const app::FailingDaemon& one : AppManager::failingDaemons(manager->numProcesses())) {
    figures.daemons[one.name].failing = one.restarts;
  }
  figures.toScan =
      distributionOf(utility::ExitWatch::bounds, manager->wakeTimes(), manager->wakeTimesTotal());
  const auto down = manager->history().timesDown();
  figures.timesDown = distributionOf(app::History::downBounds, down.counts, down.total);
  const auto cycles = manager->cycleTimes();
  figures.cycles = distributionOf(AppManager::cycleBounds, cycles.counts, cycles.total);
  figures.cycleAge = static_cast<double>(manager->sinceCycleBegan()) / second;
  const AppManager::MemoryView memory = manager->memory();
  figures.memory = {{"free", 1024.0 * memory.free},
                    {"cached", 1024.0 * memory.cached},
                    {"buffers", 1024.0 * memory.buffers},
                    {"anonymous", 1024.0 * memory.anonymous}};
}

void readPartner(Figures& figures) {
  if (const auto summary = app::partnerSummary()) {
    const auto since = utility::TimeMeasure::getTimestamp() - summary->received;
    figures.partnerSilence = static_cast<double>(since) / second;
  }
  const auto decisions = app::BurnToActive::getInstance()->decisions();
  figures.role = strings::StringRepository::toString(decisions.mySyncRole);
}

void readProcess(Figures& figures) {
  timespec spent{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &spent);
  figures.processorSeconds =
      static_cast<double>(spent.tv_sec) + static_cast<double>(spent.tv_nsec) / 1e9;
  long all = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> all >> resident;
  figures.residentBytes = static_cast<double>(resident) * static_cast<double>(::getpagesize());
}

}  // namespace

Figures readFigures() {
  using enum OutcomeCount::Purpose;
  Figures figures{.scripts = OutcomeCount::of(InitScript).ends(),
                  .mails = OutcomeCount::of(Mail).ends(),
                  .pushes = OutcomeCount::of(Push).ends(),
                  .linesDropped = framework::Logger::dropped(),
                  .backlog = app::AppFileLogger::backlog()};
  const auto commits = sysinfo::SysInfoManager::getManager()->commits();
  figures.stored = commits.stored;
  figures.unstored = commits.failed;
  if (const auto* web = http::HttpServer::getSingleton()) figures.requests = web->requests();
  readSupervision(figures);
  readPartner(figures);
  readProcess(figures);
  return figures;
}

}  // namespace services::web
