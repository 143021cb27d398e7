// The events of one subscriber: a queue and the thread that empties it.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/service/fw_EventRecord.h"

namespace framework {

class Service;

/// Hands a service its events in the order in which they were raised, on a thread of its own, so
/// that nobody stands behind another's slow handler. No lock is held while the handler runs. Any
/// thread may push, a handler too.
class EventDelivery {
 public:
  /// Begins to deliver to this service, which lives until the destructor has returned.
  explicit EventDelivery(Service& subscriber);
  /// As stop(), and waits for the handler that runs.
  ~EventDelivery() = default;
  EventDelivery(const EventDelivery&) = delete;
  EventDelivery& operator=(const EventDelivery&) = delete;

  const Service& subscriber() const { return m_subscriber; }
  bool subscribes(strings::stringtoken event) const;

  /// Queues an event with a text, or null. False, with an error line, while 1024 of them wait.
  bool push(strings::stringtoken event, std::shared_ptr<const std::string> text);

  /// Queues a record, at the end, and lets go of those that it supersedes. It always finds room,
  /// since no more wait than there are things that change.
  void push(std::unique_ptr<EventRecord> record);

  /// Begins no further handler; what waits goes with the object.
  void stop() { m_thread.request_stop(); }

 private:
  struct Event {
    strings::stringtoken token;
    std::shared_ptr<const std::string> text;
    std::unique_ptr<EventRecord> record;
  };

  void deliverAll(const std::stop_token& stop);
  void deliver(Event& event);

  Service& m_subscriber;
  std::mutex m_mutex;  // a leaf; guards the queue
  std::condition_variable_any m_changed;
  std::deque<Event> m_queue;
  std::jthread m_thread;
};

}  // namespace framework
