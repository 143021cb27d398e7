// Who listens to what happens.
#include <algorithm>
#include <boost/json/array.hpp>

#include "web/wb_EventFeed.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::object;

namespace {

object eventService(const Snapshot&, const Keys&) {
  return {{"Status", status("Enabled", "OK")},
          {"ServiceEnabled", true},
          {"ServerSentEventUri", "/redfish/v1/EventService/SSE"},
          {"Subscriptions", link("/redfish/v1/EventService/Subscriptions")}};
}

Keys listeners(const Snapshot& now, const Keys&) {
  Keys ids;
  for (const ListenerFacts& listener : now.listeners) ids.push_back(listener.id);
  return ids;
}

object listener(const Snapshot& now, const Keys& keys) {
  const auto facts = std::ranges::find(now.listeners, keys[0], &ListenerFacts::id);
  return {{"Protocol", "Redfish"},
          {"SubscriptionType", "SSE"},
          {"EventFormatType", "Event"},
          {"Context", facts->user},
          {"Status", status("Enabled", "OK")}};
}

constexpr Resource resources[] = {
    {"/redfish/v1/EventService", "EventService.v1_10_0.EventService", "Events", SystemAlone,
     eventService},
    {"/redfish/v1/EventService/Subscriptions/{}", "EventDestination.v1_14_0.EventDestination",
     "Listener {}", Listeners, listener, listeners, http::Access::Read, "Listeners"},
};

}  // namespace

std::span<const Resource> eventResources() { return resources; }

}  // namespace services::web
