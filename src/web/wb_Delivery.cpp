// Sends events to the listeners that subscribed to them.
#include "web/wb_Delivery.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <fstream>
#include <sstream>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "util/ut_TimeMeasure.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;
using boost::json::value;
using framework::Logger;
using framework::LogType;

namespace {

constexpr auto never = Exchange::Clock::time_point::max();
constexpr std::chrono::seconds longestWait{600};
constexpr const char* subscriptionsPath = "/redfish/v1/EventService/Subscriptions/";

std::string withContext(const std::string& json, const std::string& context) {
  return "{\"Context\":" + boost::json::serialize(value(context)) + "," + json.substr(1);
}

std::string headerLines(const Subscription& subscription) {
  std::string lines;
  for (const auto& [name, text] : subscription.headers)
    lines.append(name).append(": ").append(text).append("\r\n");
  return lines;
}

bool isDelivered(const Exchange& exchange) {
  return exchange.status() >= 200 && exchange.status() < 300;
}

std::string failureOf(const Exchange& exchange) {
  return exchange.failure().empty() ? "answered " + std::to_string(exchange.status())
                                    : exchange.failure();
}

// The subscriptions of the file's text; nothing where it is damaged.
std::optional<std::vector<Subscription>> parse(const std::string& text) {
  boost::json::error_code error;
  const value whole = boost::json::parse(text, error);
  if (error || !whole.is_array() || whole.as_array().size() > Delivery::most) return std::nullopt;
  std::vector<Subscription> all;
  for (const value& one : whole.as_array()) {
    const value* id = one.is_object() ? one.as_object().if_contains("Id") : nullptr;
    if (id == nullptr || !id->is_string()) return std::nullopt;
    Subscription subscription{.id = textOf(*id)};
    object given = one.as_object();
    given.erase("Id");
    if (readSubscription(given, subscription)) return std::nullopt;
    all.push_back(std::move(subscription));
  }
  return all;
}

}  // namespace

struct Delivery::Target {
  Subscription what;
  std::deque<std::string> waiting = {};                  // bodies; the first may be on its way
  std::uint64_t delivered = 0, dropped = 0, untold = 0;  // untold: of those dropped
  int failures = 0;                                      // in a row
  bool suspended = false;
  std::string failure = {};
  Clock::time_point next = {};  // not before
  std::unique_ptr<Exchange> exchange = {};
};

Delivery::Delivery(std::string path, Retries retries)
    : m_path(std::move(path)),
      m_retries(retries),
      m_wake(::eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  load();
}

Delivery::~Delivery() { ::close(m_wake); }

void Delivery::load() {
  if (m_path.empty() || !utility::Path::exists(m_path.c_str())) return;
  std::ifstream file(utility::Path::located(m_path));
  std::stringstream content;
  content << file.rdbuf();
  const auto all = parse(content.str());
  if (!all) {
    const std::string aside = m_path + ".damaged";
    utility::Path::move(m_path.c_str(), aside.c_str());
    Logger::StaticLog(LogType::Error, "web: %s: no subscriptions can be read; set aside as %s",
                      m_path.c_str(), aside.c_str());
    return;
  }
  for (const Subscription& one : *all) m_targets.push_back({one});
}

bool Delivery::save() const {
  if (m_path.empty()) return true;
  array all;
  for (const Target& target : m_targets) {
    object shown = subscriptionShown(target.what, true);
    shown["Id"] = target.what.id;
    all.push_back(std::move(shown));
  }
  if (utility::replaceFile(m_path.c_str(), boost::json::serialize(all), S_IRUSR | S_IWUSR) == 0) {
    return true;
  }
  Logger::StaticLog(LogType::Error, "web: %s cannot be written: %s", m_path.c_str(),
                    std::strerror(errno));
  return false;
}

std::vector<SubscriptionFacts> Delivery::views() const {
  std::vector<SubscriptionFacts> views;
  const std::lock_guard lock(m_mutex);
  for (const Target& target : m_targets) {
    views.push_back({target.what, target.suspended, target.waiting.size(), target.delivered,
                     target.dropped, target.failure});
  }
  return views;
}

std::string Delivery::add(Subscription& subscription) {
  const std::lock_guard lock(m_mutex);
  if (m_targets.size() >= most) {
    return "there are " + std::to_string(most) + " subscriptions, which are all that there can be";
  }
  int number = 1;
  while (find(std::to_string(number)) != nullptr) ++number;
  subscription.id = std::to_string(number);
  m_targets.push_back({subscription});
  if (save()) return "";
  m_targets.pop_back();
  return "it cannot be kept; the log says why";
}

bool Delivery::remove(const std::string& id) {
  const std::lock_guard lock(m_mutex);
  const bool isThere =
      std::erase_if(m_targets, [&](const Target& t) { return t.what.id == id; }) > 0;
  if (isThere) save();
  return isThere;
}

bool Delivery::resume(const std::string& id) {
  const std::lock_guard lock(m_mutex);
  Target* target = find(id);
  if (target == nullptr) return false;
  target->suspended = false;
  target->failures = 0;
  target->next = {};
  wake();
  return true;
}

Delivery::Target* Delivery::find(const std::string& id) {
  const auto found =
      std::ranges::find_if(m_targets, [&](const Target& t) { return t.what.id == id; });
  return found == m_targets.end() ? nullptr : &*found;
}

void Delivery::take(const std::vector<Told>& events) {
  const std::lock_guard lock(m_mutex);
  for (const Told& event : events) {
    for (Target& target : m_targets) {
      if (!isWanted(target.what, event.facts)) continue;
      target.waiting.push_back(withContext(event.json, target.what.context));
      if (target.waiting.size() <= mostWaiting) continue;
      if (target.untold++ == 0) {
        Logger::StaticLog(LogType::Warning, "web: events for subscription %s are lost: %zu wait",
                          target.what.id.c_str(), mostWaiting);
      }
      ++target.dropped;
      target.waiting.erase(target.waiting.begin() + (target.exchange == nullptr ? 0 : 1));
    }
  }
  wake();
}

std::vector<Happening> Delivery::takeNews() {
  const std::lock_guard lock(m_mutex);
  return std::exchange(m_news, {});
}

void Delivery::wake() const { ::eventfd_write(m_wake, 1); }

void Delivery::stop() {
  const std::lock_guard lock(m_mutex);
  m_stopped = true;
  wake();
}

void Delivery::run() {
  std::unique_lock lock(m_mutex);
  while (!m_stopped) {
    const auto now = Clock::now();
    for (Target& target : m_targets) go(target, now);
    if (std::erase_if(m_targets, [](const Target& t) { return t.what.id.empty(); }) > 0) save();
    std::vector<pollfd> events = {{.fd = m_wake, .events = POLLIN, .revents = 0}};
    const auto next = addWaits(events);
    lock.unlock();
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - now).count();
    ::poll(events.data(), events.size(),
           next == never ? -1 : static_cast<int>(std::clamp<std::int64_t>(wait, 0, 60000)));
    eventfd_t count = 0;
    ::eventfd_read(m_wake, &count);
    lock.lock();
  }
  for (Target& target : m_targets) target.exchange.reset();
}

// What is waited for, and until when.
Delivery::Clock::time_point Delivery::addWaits(std::vector<pollfd>& events) const {
  auto next = never;
  for (const Target& target : m_targets) {
    if (target.exchange != nullptr) {
      events.push_back(
          {.fd = target.exchange->socket(), .events = target.exchange->events(), .revents = 0});
      next = std::min(next, target.exchange->deadline());
    } else if (!target.waiting.empty() && !target.suspended) {
      next = std::min(next, target.next);
    }
  }
  return next;
}

void Delivery::go(Target& target, Clock::time_point now) {
  while (target.exchange != nullptr ||
         (!target.waiting.empty() && !target.suspended && target.next <= now)) {
    if (target.exchange == nullptr) {
      Place place;
      readPlace(target.what.destination, place);
      target.exchange = std::make_unique<Exchange>(
          place, target.what.verify, headerLines(target.what), target.waiting.front(), now);
    }
    target.exchange->advance(now);
    if (!target.exchange->isOver()) return;
    end(target, now);
  }
}

void Delivery::end(Target& target, Clock::time_point now) {
  const auto exchange = std::move(target.exchange);
  if (isDelivered(*exchange)) {
    target.waiting.pop_front();
    ++target.delivered;
    target.failures = 0;
    target.failure.clear();
    if (target.untold > 0) {
      const Happening lost{"EventsLost",
                           {std::to_string(std::exchange(target.untold, 0))},
                           subscriptionsPath + target.what.id,
                           utility::TimeMeasure::getTimestamp()};
      target.waiting.push_front(withContext(toldOf(lost, "lost").json, target.what.context));
    }
    return;
  }
  target.failure = failureOf(*exchange);
  const int doublings = std::min(target.failures, 10);
  target.next = now + std::min<std::chrono::seconds>(
                          std::chrono::seconds(m_retries.seconds) * (1 << doublings), longestWait);
  if (++target.failures == m_retries.attempts + 1) giveUp(target);
}

void Delivery::giveUp(Target& target) {
  const bool goesOn = target.what.policy == "RetryForever";
  const bool ends = target.what.policy == "TerminateAfterRetries";
  const char* what = goesOn ? "is tried on" : ends ? "is ended" : "is suspended";
  Logger::StaticLog(LogType::Warning, "web: subscription %s to %s %s after %d attempts: %s",
                    target.what.id.c_str(), target.what.destination.c_str(), what, target.failures,
                    target.failure.c_str());
  m_news.push_back({"SubscriptionFailed",
                    {target.what.id, what, target.failure},
                    subscriptionsPath + target.what.id,
                    utility::TimeMeasure::getTimestamp()});
  target.suspended = !goesOn;
  if (!ends) return;
  target.what.id.clear();  // gone with this round
  target.waiting.clear();
}

}  // namespace services::web
