// What the web shows of the daemons at one moment.
#include <algorithm>
#include <array>
#include <sstream>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_Claim.h"
#include "app/supervision/app_Why.h"
#include "host/base/st_StringRepository.h"
#include "util/ut_BufferStream.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Snapshot.h"

namespace services::web {

using app::AppManager;
using strings::StringRepository;

namespace {

constexpr std::int64_t hour = 3600 * std::int64_t{1000000};

DaemonFacts factsOf(const app::Process& process) {
  DaemonFacts facts{.name = process.getNameString()};
  facts.state = StringRepository::toString(process.getState());
  facts.seconds = process.getStateTime();
  facts.suspended = process.getSuspend();
  facts.restarting = process.getRestarting();
  facts.dataKilobytes = process.getDataSize();
  for (unsigned int i = 0; process.getPid(i) >= 0; ++i) facts.pids.push_back(process.getPid(i));
  return facts;
}

std::vector<std::string> whyLines(const app::ProcessView& view) {
  std::array<char, 4096> text{};
  utility::BufferStream stream(text.data(), text.size(), true);
  app::writeWhy(view.name.c_str(), view.facts, stream);
  std::istringstream rest(text.data());
  std::vector<std::string> lines;
  for (std::string line; std::getline(rest, line);) lines.push_back(line);
  return lines;
}

DaemonDetails detailsOf(const app::ProcessView& view, const app::History& history) {
  const std::int64_t now = utility::TimeMeasure::getTimestamp();
  return {.marks = view.markText(),
          .lastOutcome = view.commandText(),
          .next = app::nextStep(view.facts),
          .health = view.health.text(),
          .failures = view.failures,
          .restartsLastHour = history.restartsSince(view.name, now - hour),
          .restartsLastDay = history.restartsSince(view.name, now - 24 * hour),
          .sums = history.summary(view.name),
          .suspension = view.suspension,
          .why = whyLines(view)};
}

// One look at the table for all of them.
void addDetails(const AppManager& manager, const std::string& only,
                std::vector<DaemonFacts>& daemons) {
  for (const app::ProcessView& view : manager.views(only)) {
    const auto facts = std::ranges::find(daemons, view.name, &DaemonFacts::name);
    if (facts != daemons.end()) facts->details = detailsOf(view, manager.history());
  }
}

}  // namespace

void readDaemons(Snapshot& snapshot, unsigned int needs, const std::string& only) {
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) return;
  snapshot.controlsDaemons = manager->isProcessControlOn();
  for (unsigned int n = 0; n < manager->numProcesses(); ++n) {
    const app::Claim process = app::Claim::nth(*manager, n);
    if (process) snapshot.daemons.push_back(factsOf(*process));
  }
  if ((needs & Details) != 0) addDetails(*manager, only, snapshot.daemons);
  if ((needs & History) != 0) snapshot.history = manager->history().entries(only);
  if ((needs & Samples) != 0) snapshot.samples = manager->memSamples();
}

}  // namespace services::web
