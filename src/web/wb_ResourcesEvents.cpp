// Who listens to what happens.
#include <algorithm>
#include <boost/json/array.hpp>

#include "host/log/fw_Logger.h"
#include "web/wb_Delivery.h"
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

constexpr const char* testAction = "/redfish/v1/EventService/Actions/EventService.SubmitTestEvent";
constexpr const char* subscriptionsPath = "/redfish/v1/EventService/Subscriptions";

object filterProperties() {
  return {{"EventFormatType", true},         {"MessageId", true},
          {"MetricReportDefinition", false}, {"OriginResource", true},
          {"RegistryPrefix", true},          {"ResourceType", true},
          {"SubordinateResources", true}};
}

object eventService(const Snapshot& now, const Keys&) {
  return {{"Status", status("Enabled", "OK")},
          {"ServiceEnabled", true},
          {"DeliveryRetryAttempts", now.retryAttempts},
          {"DeliveryRetryIntervalSeconds", now.retrySeconds},
          {"Actions", object{{"#EventService.SubmitTestEvent", object{{"target", testAction}}}}},
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
  for (const SubscriptionFacts& one : now.subscriptions) ids.push_back(one.what.id);
  return ids;
}

const SubscriptionFacts* subscriptionOf(const Snapshot& now, const std::string& id) {
  const auto found = std::ranges::find_if(
      now.subscriptions, [&](const SubscriptionFacts& one) { return one.what.id == id; });
  return found == now.subscriptions.end() ? nullptr : &*found;
}

object subscription(const SubscriptionFacts& facts) {
  const std::string resume = "#EventDestination.ResumeSubscription";
  object shown = subscriptionShown(facts.what, false);
  shown["Status"] = status(facts.suspended ? "StandbyOffline" : "Enabled",
                           facts.failure.empty() ? "OK" : "Warning");
  shown["Oem"] =
      object{{"Mc", object{{"@odata.type", "#McEventDestination.v1_0_0.McEventDestination"},
                           {"Waiting", facts.waiting},
                           {"Delivered", facts.delivered},
                           {"Lost", facts.dropped},
                           {"Failure", orNull(facts.failure)}}}};
  shown["Actions"] =
      object{{resume, object{{"target", std::string(subscriptionsPath) + "/" + facts.what.id +
                                            "/Actions/EventDestination.ResumeSubscription"}}}};
  return shown;
}

object listener(const Snapshot& now, const Keys& keys) {
  if (const auto* facts = subscriptionOf(now, keys[0])) return subscription(*facts);
  const auto facts = std::ranges::find(now.listeners, keys[0], &ListenerFacts::id);
  return {{"Protocol", "Redfish"},
          {"SubscriptionType", "SSE"},
          {"EventFormatType", "Event"},
          {"Context", facts->user},
          {"Status", status("Enabled", "OK")}};
}

void note(const Call& call, const std::string& what) {
  call.sources.audit.note(false, call.request.user, call.request.address, what);
}

// Who listens by a stream may end it; all else is the administrators'.
Response endListening(const Call& call) {
  const std::string& id = call.keys[0];
  const auto stream = std::ranges::find(call.snapshot.listeners, id, &ListenerFacts::id);
  const bool isOwn = stream != call.snapshot.listeners.end() && stream->user == call.request.user;
  if (!isOwn && call.request.granted < http::Access::Administer) {
    return messageResponse("InsufficientPrivilege");
  }
  if (!call.sources.feed.end(id)) call.sources.delivery->remove(id);
  note(call, "ended subscription " + id);
  return {.status = 204};
}

Response subscribe(const Call& call) {
  Subscription wanted;
  if (auto refusal = readSubscription(call.body, wanted)) return *refusal;
  if (call.sources.delivery == nullptr) {
    return messageResponse("ServiceTemporarilyUnavailable", {"60"});
  }
  const std::string refusal = call.sources.delivery->add(wanted);
  if (!refusal.empty()) return messageResponse("ChangeRefused", {refusal});
  note(call, "began subscription " + wanted.id + " to " + wanted.destination);
  Response response = messageResponse("Created");
  response.headers.emplace_back("Location", std::string(subscriptionsPath) + "/" + wanted.id);
  return response;
}

Response resume(const Call& call) {
  if (subscriptionOf(call.snapshot, call.keys[0]) == nullptr) {
    return messageResponse("ChangeRefused", {"a stream is never suspended"});
  }
  call.sources.delivery->resume(call.keys[0]);
  note(call, "resumed subscription " + call.keys[0]);
  return {.status = 204};
}

// The event is of our own kind; what the client gives for it is its text.
Response submitTestEvent(const Call& call) {
  std::optional<std::string> text;
  for (const auto& member : call.body) {
    constexpr const char* known[] = {
        "EventGroupId", "EventId",   "EventTimestamp",  "EventType",         "Message",
        "MessageArgs",  "MessageId", "MessageSeverity", "OriginOfCondition", "Severity"};
    if (std::ranges::find(known, member.key()) != std::end(known)) continue;
    return messageResponse("ActionParameterUnknown",
                           {"SubmitTestEvent", std::string(member.key()).substr(0, 80)});
  }
  if (auto refusal = readText(call.body, "Message", false, text)) return *refusal;
  const std::string said = text.value_or("submitted by " + call.request.user).substr(0, 200);
  const auto told = call.sources.feed.tell(
      {{"TestEvent", {said}, "/redfish/v1/EventService", call.snapshot.now}});
  if (call.sources.delivery != nullptr) call.sources.delivery->take(told);
  note(call, "submitted a test event");
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
    {"/redfish/v1/EventService", "EventService.v1_10_0.EventService", "Events", Listeners,
     eventService},
    {"/redfish/v1/EventService/Subscriptions/{}", "EventDestination.v1_14_0.EventDestination",
     "Listener {}", Listeners, listener, listeners, http::Access::Read, "Listeners"},
};

constexpr Change changes[] = {
    {"POST", subscriptionsPath, http::Access::Administer, SystemAlone, subscribe},
    {"POST",
     "/redfish/v1/EventService/Subscriptions/{}/Actions/EventDestination.ResumeSubscription",
     http::Access::Administer, Listeners, resume},
    {"POST", testAction, http::Access::Administer, SystemAlone, submitTestEvent},
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
