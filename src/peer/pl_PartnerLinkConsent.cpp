// The link's part in agreeing on a push: what programs and the partner ask of the consent.
#include <algorithm>

#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "host/service/fw_EventManager.h"
#include "peer/pl_PartnerLink.h"
#include "util/ut_TimeMeasure.h"

namespace services::peer {

using app::PartnerFirmwareUpdate;

void PartnerLink::hearConsent(std::int64_t askedAt) {
  const PartnerView now = view();
  std::unique_lock lock(m_mutex);
  const bool tryAgain = m_consent.hear(now, askedAt, utility::TimeMeasure::getTimestamp());
  const auto refusals = m_consent.takeRefusals();
  lock.unlock();
  noteRefusals(refusals);
  auto* update = PartnerFirmwareUpdate::getSingleton();
  if (tryAgain && update != nullptr) update->kickstart();
}

// The view is taken before the lock. What it misses by then is seen by the next answer, and nothing
// is put in force before one more.
template <typename Question>
Answer PartnerLink::answerOf(Question question) {
  const PartnerView now = view();
  std::unique_lock lock(m_mutex);
  Answer answer = question(now, utility::TimeMeasure::getTimestamp());
  const bool isWaiting = m_consent.isWaiting();
  const auto refusals = m_consent.takeRefusals();
  lock.unlock();
  noteRefusals(refusals);
  if (isWaiting) m_waiter.signal();
  return answer;
}

Answer PartnerLink::ask(Consent::Client client, const std::string& kinds) {
  return answerOf([&](const PartnerView& view, std::int64_t now) {
    return m_consent.ask(client, kinds, view, now);
  });
}

Answer PartnerLink::check(const std::string& id, const std::string& kinds) {
  return answerOf([&](const PartnerView& view, std::int64_t now) {
    return m_consent.check(id, kinds, view, now);
  });
}

Answer PartnerLink::seal(Consent::Client client, const std::string& id, const std::string& kinds) {
  return answerOf([&](const PartnerView& view, std::int64_t now) {
    return m_consent.seal(client, id, kinds, view, now);
  });
}

void PartnerLink::end(Consent::Client client) {
  {
    const std::lock_guard lock(m_mutex);
    m_consent.end(client, utility::TimeMeasure::getTimestamp());
  }
  m_waiter.signal();
}

Consent PartnerLink::consent() const {
  const std::lock_guard lock(m_mutex);
  return m_consent;
}

// Any thread: each refusal is a line, an event and a mark on the console.
void PartnerLink::noteRefusals(const std::vector<std::string>& rules) {
  for (std::string rule : rules) {
    std::ranges::replace(rule, '_', ' ');
    LogWarning("a push was refused: %s", rule.c_str());
    m_history.add("refused: " + rule);
    framework::EventManager::instance().raise(strings::token<"partnerRefused">, rule);
    const std::lock_guard lock(m_mutex);
    m_lastRefusal = rule;
  }
}

}  // namespace services::peer
