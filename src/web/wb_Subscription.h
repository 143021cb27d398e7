// A listener that events are sent to.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/web/ht_Message.h"
#include "web/wb_EventFilter.h"

namespace boost::json {
class object;
}

namespace services::web {

struct Subscription {
  std::string id = {};
  std::string destination = {};  ///< of which readPlace() makes a place
  std::string context = {};      ///< sent with each event
  std::string policy = "SuspendRetries";
  bool verify = false;
  bool withSubordinates = false;
  // Empty lists choose nothing out.
  std::vector<std::string> registries = {}, resourceTypes = {}, messageIds = {}, origins = {};
  std::vector<std::pair<std::string, std::string>> headers = {};  ///< secret
};

/// What is known of one.
struct SubscriptionFacts {
  Subscription what;
  bool suspended = false;
  std::size_t waiting = 0;  ///< events
  std::uint64_t delivered = 0, dropped = 0;
  std::string failure = {};  ///< of the last attempt; empty: it went well
};

/// Reads what a client asks for. A refusal where it is not right.
std::optional<http::Response> readSubscription(const boost::json::object& given,
                                               Subscription& subscription);

/// The same properties, the secret headers only if they are wanted.
boost::json::object subscriptionShown(const Subscription& subscription, bool withSecrets);

/// Whether the event is one of those that it wants.
bool isWanted(const Subscription& subscription, const EventFacts& event);

}  // namespace services::web
