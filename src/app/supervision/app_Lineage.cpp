// Whether a process that matches a daemon's record is the daemon, by where it comes from.
#include "app/supervision/app_Lineage.h"

#include <algorithm>

namespace services::app {

namespace {

constexpr std::size_t maxKnown = 8;

}  // namespace

bool Lineage::isStranger(const Newcomer& newcomer) {
  const Known made = {newcomer.origin.executable, newcomer.origin.user};
  const bool alike = std::ranges::find(m_known, made) != m_known.end();
  if (newcomer.expected && !alike) {
    if (m_known.size() == maxKnown) m_known.erase(m_known.begin());
    m_known.push_back(made);
  }
  if (newcomer.expected || newcomer.parentIsKnown) return false;
  return newcomer.parentIsStranger || !alike;
}

}  // namespace services::app
