// Sends events to the listeners that subscribed to them.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "web/wb_EventFeed.h"
#include "web/wb_Exchange.h"
#include "web/wb_Subscription.h"

struct pollfd;

namespace services::web {

/// How often an event is sent again. Each wait is twice as long as the one before, up to 10 min.
struct Retries {
  int attempts = 5;  ///< after the first
  int seconds = 10;  ///< before the second
};

/// The subscriptions, and one thread that sends their events: to all listeners at once, one event
/// at a time to each, in order. It waits for none of them. What waits for a listener is bounded;
/// the oldest makes room, and the listener is told how many it lost. Any thread may call.
class Delivery {
 public:
  static constexpr std::size_t most = 16;          ///< subscriptions
  static constexpr std::size_t mostWaiting = 256;  ///< events for each

  /// The subscriptions are kept in a file that its owner alone may read; an empty path keeps none.
  /// A damaged one is set aside, with an error line.
  Delivery(std::string path, Retries retries);
  ~Delivery();
  Delivery(const Delivery&) = delete;
  Delivery& operator=(const Delivery&) = delete;

  const Retries& retries() const { return m_retries; }

  std::vector<SubscriptionFacts> views() const;

  /// Adds one and gives it its id. The answer says why it is not kept; empty when it is.
  std::string add(Subscription& subscription);
  /// Ends one; false when there is none of that id.
  bool remove(const std::string& id);
  /// Goes on with one that was suspended.
  bool resume(const std::string& id);

  /// Queues events for those that want them.
  void take(const std::vector<Told>& events);
  /// What happened to the subscriptions since it was last asked, to be told to all.
  std::vector<Happening> takeNews();

  /// Sends until stop() is called, which returns at once. What waits then is lost.
  void run();
  void stop();

 private:
  using Clock = Exchange::Clock;
  struct Target;

  void load();
  bool save() const;
  Target* find(const std::string& id);
  void go(Target& target, Clock::time_point now);
  void end(Target& target, Clock::time_point now);
  void giveUp(Target& target);
  Clock::time_point addWaits(std::vector<pollfd>& events) const;
  void wake() const;

  const std::string m_path;
  const Retries m_retries;
  const int m_wake;            // an event counter
  mutable std::mutex m_mutex;  // guards what follows; a leaf but for the log
  std::list<Target> m_targets;
  std::vector<Happening> m_news;
  bool m_stopped = false;
};

}  // namespace services::web
