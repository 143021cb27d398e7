// What the link tells: of this controller to the partner, and of the pairing to people.
#include "app/interfaces/app_InterfaceManager.h"
#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/service/fw_EventManager.h"
#include "peer/pl_PartnerLink.h"
#include "util/ut_TimeMeasure.h"

namespace services::peer {

using app::AppManager;
using app::InterfaceManager;
using app::PartnerSummary;
using utility::TimeMeasure;

namespace {

constexpr std::int64_t day = std::int64_t{24} * 3600 * 1000000;

std::string word(strings::stringtoken token) { return strings::StringRepository::toString(token); }

void addDaemons(PartnerSummary& summary) {
  const AppManager* const manager = AppManager::getSingleton();
  if (manager == nullptr) return;
  const std::int64_t dayAgo = TimeMeasure::getTimestamp() - day;
  for (const app::ProcessView& daemon : manager->views()) {
    summary.daemons.push_back({.name = daemon.name,
                               .state = daemon.stateText(),
                               .seconds = daemon.seconds,
                               .restarts = manager->history().restartsSince(daemon.name, dayAgo),
                               .failures = daemon.failures,
                               .suspended = daemon.suspended});
  }
}

void addInterfaces(PartnerSummary& summary) {
  const InterfaceManager* const manager = InterfaceManager::getSingleton();
  if (manager == nullptr) return;
  for (const auto& interface : app::managementInterfaces()) {
    const auto member = static_cast<InterfaceManager::Interfaces>(interface.name);
    if (!manager->managing(member)) continue;
    summary.interfaces.push_back({word(interface.name), manager->isInterfaceUp(member)});
  }
}

}  // namespace

void PartnerLink::keepLooking() {
  while (!requestToShutdown()) {
    framework::guarded(getNameString(), "look around", [this] { look(); });
    m_lookWaiter.lock();
    if (!requestToShutdown()) m_lookWaiter.wait(m_pollSeconds);
    m_lookWaiter.unlock();
  }
}

void PartnerLink::look() {
  PartnerSummary summary;
  addDaemons(summary);
  addInterfaces(summary);
  const std::lock_guard lock(m_mutex);
  m_summary = std::move(summary);
}

void PartnerLink::keepSummary(const PeerRecord& partner) {
  auto summary = partner.summary;
  if (summary) summary->received = TimeMeasure::getTimestamp();
  app::setPartnerSummary(std::move(summary));
}

std::string PartnerLink::pushText() const {
  const std::lock_guard lock(m_mutex);
  return m_consent.state(TimeMeasure::getTimestamp());
}

std::vector<std::string> PartnerLink::explanation(const PartnerView& view,
                                                  const std::string& push) const {
  std::vector<std::string> lines = {stateText(view)};
  if (!push.empty()) lines.push_back(push);
  {
    const std::lock_guard lock(m_mutex);
    if (!m_lastRefusal.empty()) lines.push_back("a push was refused: " + m_lastRefusal);
  }
  if (!m_consents) lines.emplace_back("unguarded: the push programs here ask for no consent");
  if (view.partner && !view.partner->consents) {
    lines.emplace_back("unguarded: the partner's push programs ask for no consent");
  }
  if (const std::string both = AppManager::failingOnBoth(); !both.empty()) lines.push_back(both);
  return lines;
}

app::PairingStory PartnerLink::story(const PartnerView& view) const {
  const auto stall = stallOf(view).value_or(Stall{});
  const std::string push = pushText();
  return {.firmwareAction = word(view.decisions.pfuSyncAction),
          .settingsAction = word(view.decisions.configSyncAction),
          .stall = stall.what,
          .remedy = stall.remedy,
          .push = push,
          .explanation = explanation(view, push),
          .asOf = TimeMeasure::getTimestamp()};
}

// What is new goes into the history and the log; refusals and stalls are events too.
void PartnerLink::noteChanges() {
  const PartnerView now = view();
  app::PairingStory story = this->story(now);
  if (now.partner) {
    note("partner", std::string(now.partner->controller.getControllerSerial()) + ", boot " +
                        now.partner->bootId);
  }
  note("roles", word(now.own.record.role) + ", partner " + word(now.own.record.partnerRole));
  note("actions", "settings " + story.settingsAction + ", firmware " + story.firmwareAction);
  note("push", story.push.empty() ? "none" : story.push);
  const std::string both = AppManager::failingOnBoth();
  if (note("daemons", both) && !both.empty()) LogError("%s", both.c_str());
  const bool isStalled = !story.stall.empty();
  const bool isNews =
      note("stalled", isStalled ? story.stall + "; to go on: " + story.remedy : "") && isStalled;
  if (isNews) {
    LogWarning("stalled: %s", story.stall.c_str());
    framework::EventManager::instance().raise(strings::token<"partnerStalled">, story.stall);
  }
  app::setPairingStory(std::move(story));
}

// True when the state of this thing is another one than last time.
bool PartnerLink::note(const char* what, const std::string& state) {
  const auto [place, isFirst] = m_noted.try_emplace(what);
  if (place->second == state) return false;
  place->second = state;
  m_history.add(std::string(what) + ": " + (state.empty() ? "no more" : state));
  return true;
}

}  // namespace services::peer
