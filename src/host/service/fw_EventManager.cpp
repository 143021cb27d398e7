// Events: raised on any thread, delivered on one for each subscriber.
#include "host/service/fw_EventManager.h"

#include <algorithm>
#include <utility>

#include "host/service/fw_Service.h"
#include "util/ut_TimeMeasure.h"

namespace framework {

EventManager& EventManager::instance() {
  static EventManager only;
  return only;
}

bool EventManager::isRecord(strings::stringtoken event) const {
  return std::find(m_records.begin(), m_records.end(), event) != m_records.end();
}

bool EventManager::isDelivering() {
  const std::lock_guard lock(m_mutex);
  return m_delivering;
}

bool EventManager::raise(strings::stringtoken event) { return push(event, nullptr); }

bool EventManager::raise(strings::stringtoken event, std::string text) {
  return push(event, std::make_shared<const std::string>(std::move(text)));
}

bool EventManager::push(strings::stringtoken event,
                        const std::shared_ptr<const std::string>& text) {
  if (isRecord(event)) return false;
  const std::lock_guard lock(m_mutex);
  note(event, text == nullptr ? "" : std::string_view(*text));
  bool taken = m_delivering;
  for (const auto& delivery : m_deliveries) {
    if (delivery->subscribes(event) && !delivery->push(event, text)) taken = false;
  }
  return taken;
}

bool EventManager::raise(strings::stringtoken event, const MakeRecord& make) {
  if (!isRecord(event)) return false;
  const std::lock_guard lock(m_mutex);
  note(event, "");
  bool taken = false;
  for (const auto& delivery : m_deliveries) {
    if (!delivery->subscribes(event)) continue;
    delivery->push(make());
    taken = true;
  }
  return taken;
}

void EventManager::declareRecord(strings::stringtoken event) {
  if (!isRecord(event)) m_records.push_back(event);
}

std::string EventManager::textRefusal(strings::stringtoken event, const std::string& text) const {
  const auto rule = m_rules.find(event);
  return rule == m_rules.end() ? "" : rule->second(text);
}

void EventManager::note(strings::stringtoken event, std::string_view text) {
  constexpr std::size_t most = 200;
  constexpr std::size_t longest = 200;
  if (!m_delivering) return;
  m_recent.push_back({++m_count, utility::TimeMeasure::getTimestamp(), event,
                      std::string(text.substr(0, longest))});
  if (m_recent.size() > most) m_recent.pop_front();
}

std::vector<EventManager::Raised> EventManager::recent() {
  const std::lock_guard lock(m_mutex);
  return {m_recent.begin(), m_recent.end()};
}

void EventManager::start(const std::vector<Service*>& services) {
  const std::lock_guard lock(m_mutex);
  m_delivering = true;
  for (Service* service : services) {
    if (service->eventSubscription() == nullptr) continue;
    m_deliveries.push_back(std::make_unique<EventDelivery>(*service));
  }
}

void EventManager::stop(const std::function<void(const Service&)>& ending) {
  std::vector<std::unique_ptr<EventDelivery>> ended;  // let go without the lock: records may act
  {
    const std::lock_guard lock(m_mutex);
    m_delivering = false;
    ended.swap(m_deliveries);
  }
  for (const auto& delivery : ended) delivery->stop();
  for (auto& delivery : ended) {
    if (ending) ending(delivery->subscriber());
    delivery.reset();
  }
}

}  // namespace framework
