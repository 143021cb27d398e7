// Events: raised on any thread, delivered on one.
#include "host/framework/fw_EventManager.h"

#include <algorithm>
#include <exception>

#include "host/framework/fw_Guarded.h"
#include "host/framework/fw_Service.h"
#include "host/framework/st_StringRepository.h"

namespace framework {

namespace {

constexpr std::size_t queueLength = 1024;

bool subscribes(const Service& service, strings::stringtoken event) {
  const strings::stringtoken* list = service.eventSubscription();
  if (list == nullptr) return false;
  while (*list != strings::tGSendOfList && *list != event) ++list;
  return *list == event;
}

}  // namespace

EventManager& EventManager::instance() {
  static EventManager only;
  return only;
}

bool EventManager::isRecord(strings::stringtoken event) const {
  return std::find(m_records.begin(), m_records.end(), event) != m_records.end();
}

bool EventManager::raise(strings::stringtoken event) {
  return !isRecord(event) && push({event, nullptr});
}

bool EventManager::raise(strings::stringtoken event, std::string text) {
  if (isRecord(event)) return false;
  const auto owned = std::make_shared<const std::string>(std::move(text));
  return push({event, std::shared_ptr<const void>(owned, owned->c_str())});
}

bool EventManager::raise(strings::stringtoken event, std::shared_ptr<const void> record) {
  return isRecord(event) && push({event, std::move(record)});
}

void EventManager::declareRecord(strings::stringtoken event) {
  if (!isRecord(event)) m_records.push_back(event);
}

bool EventManager::push(Event event) {
  const std::lock_guard lock(m_mutex);
  if (!m_delivering || m_queue.size() == queueLength) return false;
  m_queue.push_back(std::move(event));
  m_changed.notify_one();
  return true;
}

void EventManager::start(std::vector<Service*> services) {
  m_services = std::move(services);
  const std::lock_guard lock(m_mutex);
  m_delivering = true;
  m_thread = std::jthread([this](const std::stop_token& stop) { deliverAll(stop); });
}

void EventManager::stop() {
  std::deque<Event> dropped;  // let go without the lock: their data may act
  {
    const std::lock_guard lock(m_mutex);
    m_delivering = false;
    dropped.swap(m_queue);
  }
  dropped.clear();
  if (!m_thread.joinable()) return;
  m_thread.request_stop();
  m_thread.join();
}

bool EventManager::isDelivering() {
  const std::lock_guard lock(m_mutex);
  return m_delivering;
}

void EventManager::deliverAll(const std::stop_token& stop) {
  std::unique_lock lock(m_mutex);
  while (m_changed.wait(lock, stop, [this] { return !m_queue.empty(); })) {
    Event event = std::move(m_queue.front());
    m_queue.pop_front();
    lock.unlock();
    deliver(event);
    event.data.reset();  // may act, as a record of the system information does: without the lock
    lock.lock();
  }
}

void EventManager::deliver(const Event& event) const {
  for (Service* service : m_services) {
    if (!subscribes(*service, event.token)) continue;
    guarded(service->getNameString(), "event handler",
            [&] { service->serviceEvent(event.token, event.data.get()); });
  }
}

}  // namespace framework
