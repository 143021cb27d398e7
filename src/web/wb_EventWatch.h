// Looks for what happened on the controller since the last look.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "app/supervision/app_AppManager.h"
#include "web/wb_Happenings.h"

namespace services::web {

/// One thread looks, again and again. The first look tells nothing: it says where the others begin.
class EventWatch {
 public:
  /// `sources` outlives it.
  explicit EventWatch(const Sources& sources) : m_sources(sources) {}

  /// What happened since the last look. What the daemons' history tells is complete; of the rest,
  /// what came and went between two looks is not seen.
  std::vector<Happening> look();
  /// The log's lines since they were last asked for.
  std::vector<RecentLines::Line> lines();
  /// The path of this controller, as of the last look.
  std::string manager() const { return managerPath(m_last.letter); }

 private:
  void lookAtDaemons(const app::AppManager& manager, std::vector<Happening>& all);
  void lookAtMemory(const app::AppManager& manager, std::vector<Happening>& all);

  const Sources& m_sources;
  bool m_isKnown = false;
  Snapshot m_last;
  std::uint64_t m_entry = 0;  // of the history, as last seen
  std::vector<app::FailingDaemon> m_failing;
  std::string m_sampled;  // when the last sample of memory was taken
  std::uint64_t m_line = 0;
};

}  // namespace services::web
