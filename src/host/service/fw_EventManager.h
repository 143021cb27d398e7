// Events: raised on any thread, delivered on one for each subscriber.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "host/service/fw_EventDelivery.h"

namespace framework {

/// Delivers events to the services that subscribe to their tokens: to each in the order in which
/// they were raised, on a thread of its own.
class EventManager {
 public:
  static EventManager& instance();

  /// Makes the record for one more subscriber.
  using MakeRecord = std::function<std::unique_ptr<EventRecord>()>;

  /// Raises an event without data or with a text. Any thread may call, a handler too. False when
  /// not all subscribers will get it: while delivery is stopped, to one for which 1024 wait (an
  /// error line), and for a token that was declared a record's.
  bool raise(strings::stringtoken event);
  bool raise(strings::stringtoken event, std::string text);

  /// Raises an event with a record, which takes the place of those that it supersedes: it always
  /// finds room. False when nobody will get it: while delivery is stopped, without a subscriber,
  /// and for a token that was not declared a record's.
  bool raise(strings::stringtoken event, const MakeRecord& make);

  /// Declares that the event's data is always a record. Call while no thread raises events.
  void declareRecord(strings::stringtoken event);

  /// Has who types the text of an event be refused by this rule: it answers one line without its
  /// end, empty for a text that makes sense. Call while no thread raises events.
  using TextRule = std::string (*)(const std::string& text);
  void declareText(strings::stringtoken event, TextRule rule) { m_rules[event] = rule; }
  /// Why such a text makes no sense; empty where it does or nobody knows.
  std::string textRefusal(strings::stringtoken event, const std::string& text) const;

  /// An event that was raised while events were delivered.
  struct Raised {
    std::uint64_t number;  ///< from 1
    std::int64_t time;     ///< host timestamp
    strings::stringtoken event;
    std::string text;  ///< its first 200 bytes; empty for none and for a record
  };
  /// The latest of them, at most 200, the oldest first. Any thread may call.
  std::vector<Raised> recent();

  /// Begins to deliver to these services, which live until stop() returns.
  void start(const std::vector<Service*>& services);
  /// Ends delivery: the handlers that run are finished, what still waits is dropped.
  /// `ending` is told of each subscriber before its handler is waited for.
  void stop(const std::function<void(const Service&)>& ending = nullptr);

  /// Whether events are delivered: not before start() and not any more from stop() on.
  bool isDelivering();
  /// Whether the event was declared a record's.
  bool isRecord(strings::stringtoken event) const;

 private:
  bool push(strings::stringtoken event, const std::shared_ptr<const std::string>& text);

  void note(strings::stringtoken event, std::string_view text);

  std::vector<strings::stringtoken> m_records;
  std::map<strings::stringtoken, TextRule> m_rules;
  std::mutex m_mutex;  // guards what follows; taken before a delivery's
  bool m_delivering = false;
  std::vector<std::unique_ptr<EventDelivery>> m_deliveries;
  std::deque<Raised> m_recent;
  std::uint64_t m_count = 0;
};

}  // namespace framework
