// The supervision service: processes that look like a daemon's and are none of its.
#include "app/supervision/app_AppManager.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

namespace {

std::string toldOf(int pid, const utility::ProcessOrigin& origin) {
  return "process " + std::to_string(pid) + " (" + origin.executable + ", user " +
         std::to_string(origin.user) + ")";
}

}  // namespace

// A process that does not tell where it comes from is taken for the daemon's.
void AppManager::judgeNewcomers(Process& process) {
  Descent& descent = m_descents[&process];
  const bool expected = process.generation() == 0 || process.getState() == Process::Starting ||
                        isStartAwaited(process);
  for (const int pid : process.newcomers()) {
    const auto origin = utility::ProcessDirectory::origin(pid);
    const bool stranger = origin && descent.lineage.isStranger({
                                        .origin = *origin,
                                        .expected = expected,
                                        .parentIsKnown = process.isOwn(origin->parent),
                                        .parentIsStranger = process.isStranger(origin->parent),
                                    });
    process.settle(pid, stranger);
    if (origin) (stranger ? descent.stranger : descent.own) = toldOf(pid, *origin);
  }
}

void AppManager::tellImpostor(Process& process) {
  const bool impostor = process.hasStrangersOnly();
  if (!process.setImpostor(impostor) || !impostor) return;
  const Descent& descent = m_descents[&process];
  LogWarning("%s: of %s only a stranger runs, %s%s; gone is %s", getNameString(),
             process.getNameString(), descent.stranger.c_str(),
             process.isStrict() ? ", which does not count" : "", descent.own.c_str());
  m_historyFile.add({.daemon = process.getNameString(),
                     .at = utility::TimeMeasure::getTimestamp(),
                     .from = process.getState(),
                     .to = process.getState(),
                     .what = "only a stranger runs",
                     .cause = descent.stranger});
}

}  // namespace services::app
