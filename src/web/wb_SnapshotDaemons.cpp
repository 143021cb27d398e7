// What the web shows of the daemons at one moment.
#include <algorithm>

#include "app/supervision/app_AppManager.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_Snapshot.h"

namespace services::web {

using app::AppManager;

namespace {

void addDetails(const AppManager& manager, const std::string& only, Snapshot& snapshot) {
  const std::int64_t now = utility::TimeMeasure::getTimestamp();
  for (const app::ProcessView& view : manager.views(only)) {
    const auto same = [&](const app::DaemonReport& known) { return known.view.name == view.name; };
    const auto found = std::ranges::find_if(snapshot.daemons, same);
    if (found == snapshot.daemons.end()) continue;
    *found = app::reportOf(view, manager.history(), now);
    found->why = app::whyLines(view);
  }
}

}  // namespace

void readDaemons(Snapshot& snapshot, unsigned int needs, const std::string& only) {
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) return;
  snapshot.controlsDaemons = manager->isProcessControlOn();
  for (app::ProcessView& view : manager->glances()) {
    snapshot.daemons.push_back({.view = std::move(view)});
  }
  if ((needs & Details) != 0) addDetails(*manager, only, snapshot);
  if ((needs & History) != 0) snapshot.history = manager->history().entries(only);
  if ((needs & Samples) != 0) snapshot.samples = manager->memSamples();
}

}  // namespace services::web
