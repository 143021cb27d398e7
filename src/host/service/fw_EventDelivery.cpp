// The events of one subscriber: a queue and the thread that empties it.
#include "host/service/fw_EventDelivery.h"

#include <algorithm>

#include "host/base/fw_Guarded.h"
#include "host/service/fw_Service.h"

namespace framework {

namespace {

constexpr std::ptrdiff_t mostWaiting = 1024;

}  // namespace

EventDelivery::EventDelivery(Service& subscriber)
    : m_subscriber(subscriber),
      m_thread([this](const std::stop_token& stop) { deliverAll(stop); }) {}

bool EventDelivery::subscribes(strings::stringtoken event) const {
  const strings::stringtoken* list = m_subscriber.eventSubscription();
  if (list == nullptr) return false;
  while (*list != strings::tGSendOfList && *list != event) ++list;
  return *list == event;
}

bool EventDelivery::push(strings::stringtoken event, std::shared_ptr<const std::string> text) {
  const std::lock_guard lock(m_mutex);
  const auto isText = [](const Event& waiting) { return waiting.record == nullptr; };
  if (std::ranges::count_if(m_queue, isText) == mostWaiting) {
    Logger::StaticLog(LogType::Error, "event %s is lost to %s, for which %td events wait already",
                      strings::StringRepository::toString(event), m_subscriber.getNameString(),
                      mostWaiting);
    return false;
  }
  m_queue.push_back({event, std::move(text), nullptr});
  m_changed.notify_one();
  return true;
}

void EventDelivery::push(std::unique_ptr<EventRecord> record) {
  const std::lock_guard lock(m_mutex);
  std::erase_if(m_queue, [&](const Event& waiting) {
    return waiting.record != nullptr && record->supersede(*waiting.record);
  });
  m_queue.push_back({record->event(), nullptr, std::move(record)});
  m_changed.notify_one();
}

void EventDelivery::deliverAll(const std::stop_token& stop) {
  std::unique_lock lock(m_mutex);
  while (m_changed.wait(lock, stop, [this] { return !m_queue.empty(); }) &&
         !stop.stop_requested()) {
    Event event = std::move(m_queue.front());
    m_queue.pop_front();
    lock.unlock();
    deliver(event);
    event = {};  // its end may act: without the lock
    lock.lock();
  }
}

void EventDelivery::deliver(Event& event) {
  const void* data = event.text == nullptr ? nullptr : event.text->c_str();
  if (event.record != nullptr) data = event.record->data();
  const bool handled = guarded(m_subscriber.getNameString(), "event handler",
                               [&] { m_subscriber.serviceEvent(event.token, data); });
  if (handled && event.record != nullptr) event.record->handled();
}

}  // namespace framework
