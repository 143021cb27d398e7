// Events: raised on any thread, delivered on one.
#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "util/st_Tokens.h"

namespace framework {

class Service;

/// Delivers events to the services that subscribe to their tokens, one after the other, on a
/// thread of its own. No lock is held while a handler runs.
class EventManager {
 public:
  static EventManager& instance();

  /// Raises an event without data, with a text, or with a record. The queue owns the data until
  /// the last handler has returned. Any thread may call, a handler too. An event whose token was
  /// declared a record's cannot be raised otherwise: false. While delivery is stopped, and
  /// while 1024 events wait, further ones are dropped: false.
  bool raise(strings::stringtoken event);
  bool raise(strings::stringtoken event, std::string text);
  bool raise(strings::stringtoken event, std::shared_ptr<const void> record);

  /// Declares that the event's data is always a record. Call while no thread raises events.
  void declareRecord(strings::stringtoken event);

  /// Begins to deliver to these services, which live until stop() returns.
  void start(std::vector<Service*> services);
  /// Ends delivery: the handler that runs is finished, what is still queued is dropped.
  void stop();
  /// Whether events are delivered: not any more for the data of what stop() drops.
  bool isDelivering();
  /// Whether the event was declared a record's.
  bool isRecord(strings::stringtoken event) const;

 private:
  struct Event {
    strings::stringtoken token;
    std::shared_ptr<const void> data;
  };

  bool push(Event event);
  void deliverAll(const std::stop_token& stop);
  void deliver(const Event& event) const;

  std::vector<strings::stringtoken> m_records;
  std::vector<Service*> m_services;
  std::mutex m_mutex;  // guards what follows
  std::condition_variable_any m_changed;
  std::deque<Event> m_queue;
  bool m_delivering = false;
  std::jthread m_thread;
};

}  // namespace framework
