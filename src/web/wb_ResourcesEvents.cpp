// Who listens to what happens.
#include <algorithm>
#include <boost/json/array.hpp>

#include "host/log/fw_Logger.h"
#include "web/wb_EventFeed.h"
#include "web/wb_Messages.h"
#include "web/wb_Resource.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;
using http::Request;
using http::Response;

namespace {

object filterProperties() {
  return {{"EventFormatType", true},         {"MessageId", true},
          {"MetricReportDefinition", false}, {"OriginResource", true},
          {"RegistryPrefix", true},          {"ResourceType", true},
          {"SubordinateResources", true}};
}

object eventService(const Snapshot&, const Keys&) {
  return {{"Status", status("Enabled", "OK")},
          {"ServiceEnabled", true},
          {"ServerSentEventUri", "/redfish/v1/EventService/SSE"},
          {"SSEFilterPropertiesSupported", filterProperties()},
          {"SubordinateResourcesSupported", true},
          {"EventFormatTypes", array{"Event"}},
          {"RegistryPrefixes", array{"Mc"}},
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

// Who listens may end it; those of others the administrators.
Response endListening(const Call& call) {
  const auto facts = std::ranges::find(call.snapshot.listeners, call.keys[0], &ListenerFacts::id);
  const bool isOwn = facts->user == call.request.user;
  if (!isOwn && call.request.granted < http::Access::Administer) {
    return messageResponse("InsufficientPrivilege");
  }
  call.sources.feed.end(call.keys[0]);
  call.sources.audit.note(false, call.request.user, call.request.address,
                          "ended the stream of events of " + facts->user);
  return {.status = 204};
}

bool readLogLevel(const std::string& text, int& level) {
  constexpr std::pair<const char*, int> levels[] = {{"error", framework::LogType::Error},
                                                    {"warning", framework::LogType::Warning},
                                                    {"info", framework::LogType::Info}};
  const auto found =
      std::ranges::find_if(levels, [&](const auto& one) { return text == one.first; });
  if (found == std::end(levels)) return false;
  level = found->second;
  return true;
}

bool readOption(const std::string& name, const std::string& text, Wish& wish) {
  if (name == "log") return readLogLevel(text, wish.logLevel);
  auto filter = readEventFilter(text);
  if (filter) wish.filter = std::move(*filter);
  return filter.has_value();
}

// A filter that names messages of the log asks for its lines, too.
std::optional<Response> readWish(const Request& request, Wish& wish) {
  for (const auto& [name, text] : request.query) {
    if (name != "$filter" && name != "log") {
      if (name.starts_with("$")) return messageResponse("QueryNotSupported");
      continue;
    }
    if (!readOption(name, text, wish)) {
      return messageResponse("QueryParameterValueFormatError", {text.substr(0, 80), name});
    }
  }
  constexpr std::size_t longestId = 40;
  wish.lastId = request.header("last-event-id").substr(0, longestId);
  return std::nullopt;
}

constexpr Resource resources[] = {
    {"/redfish/v1/EventService", "EventService.v1_10_0.EventService", "Events", SystemAlone,
     eventService},
    {"/redfish/v1/EventService/Subscriptions/{}", "EventDestination.v1_14_0.EventDestination",
     "Listener {}", Listeners, listener, listeners, http::Access::Read, "Listeners"},
};

constexpr Change changes[] = {
    {"DELETE", "/redfish/v1/EventService/Subscriptions/{}", http::Access::Read, Listeners,
     endListening, false},
};

}  // namespace

// The stream ends with what ends the user's sessions, too.
Response listenToEvents(const Sources& sources, const Request& request) {
  Wish wish;
  if (auto refusal = readWish(request, wish)) return *refusal;
  Response response{.type = "text/event-stream"};
  response.stream = sources.feed.open(request.user, Login::stampOf(request.user), std::move(wish));
  if (response.stream == nullptr) return messageResponse("ServiceTemporarilyUnavailable", {"60"});
  response.headers = {{"OData-Version", "4.0"}};
  sources.audit.note(false, request.user, request.address, "listens to events");
  return response;
}

std::span<const Resource> eventResources() { return resources; }
std::span<const Change> eventChanges() { return changes; }

}  // namespace services::web
