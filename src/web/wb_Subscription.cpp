// A listener that events are sent to.
#include "web/wb_Subscription.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <regex>

#include "web/wb_Exchange.h"
#include "web/wb_Messages.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::array;
using boost::json::object;
using boost::json::value;
using http::Response;
using Refusal = std::optional<Response>;

namespace {

constexpr std::size_t mostTexts = 20;
constexpr std::size_t longestText = 256;
constexpr std::size_t mostHeaders = 8;

Refusal wrongType(const value& found, const std::string& key) {
  return messageResponse("PropertyValueTypeError", {shortText(found), key}, "#/" + key);
}

Refusal notListed(const value& found, const std::string& key) {
  return messageResponse("PropertyValueNotInList", {shortText(found), key}, "#/" + key);
}

Refusal readFlag(const object& given, const char* key, bool& flag) {
  const value* found = given.if_contains(key);
  if (found == nullptr) return std::nullopt;
  if (!found->is_bool()) return wrongType(*found, key);
  flag = found->as_bool();
  return std::nullopt;
}

// A text, or the link to a resource.
std::optional<std::string> textIn(const value& one) {
  const value* text = &one;
  if (const object* whole = one.if_object()) text = whole->if_contains("@odata.id");
  if (text == nullptr || !text->is_string() || text->as_string().size() > longestText) {
    return std::nullopt;
  }
  return textOf(*text);
}

Refusal readTexts(const object& given, const char* key, std::vector<std::string>& texts) {
  const value* found = given.if_contains(key);
  if (found == nullptr) return std::nullopt;
  if (!found->is_array() || found->as_array().size() > mostTexts) return wrongType(*found, key);
  for (const value& one : found->as_array()) {
    const auto text = textIn(one);
    if (!text) return wrongType(one, key);
    texts.push_back(*text);
  }
  return std::nullopt;
}

// Headers that would change what is sent are none.
bool isHeader(const std::string& name, const std::string& text) {
  static const std::regex token(R"(^[A-Za-z0-9!#$%&'*+.^_`|~-]{1,64}$)");
  static const std::regex printable(R"(^[ -~]{0,1024}$)");
  static const std::regex ours(
      "^(host|connection|content-.*|transfer-encoding|expect|te|trailer|upgrade|odata-version)$",
      std::regex::icase);
  return std::regex_match(name, token) && std::regex_match(text, printable) &&
         !std::regex_match(name, ours);
}

// An array of objects, whose members are the headers. What was given is told to nobody.
Refusal readHeaders(const object& given, Subscription& subscription) {
  const value* found = given.if_contains("HttpHeaders");
  if (found == nullptr) return std::nullopt;
  const Response refusal = messageResponse(
      "ValueRefused", {"HttpHeaders must be at most 8 objects of headers that are not ours"},
      "#/HttpHeaders");
  if (!found->is_array()) return refusal;
  for (const value& one : found->as_array()) {
    if (!one.is_object()) return refusal;
    for (const auto& [name, text] : one.as_object()) {
      if (!text.is_string() || !isHeader(std::string(name), textOf(text))) return refusal;
      subscription.headers.emplace_back(name, textOf(text));
    }
  }
  return subscription.headers.size() > mostHeaders ? Refusal(refusal) : std::nullopt;
}

// A property that must have one of these values.
Refusal readChoice(const object& given, const char* key, std::initializer_list<const char*> choices,
                   std::string& text) {
  const value* found = given.if_contains(key);
  if (found == nullptr) return std::nullopt;
  if (!found->is_string()) return wrongType(*found, key);
  text = textOf(*found);
  const bool isChoice = std::ranges::find(choices, text) != choices.end();
  return isChoice ? std::nullopt : notListed(*found, key);
}

Refusal readDestination(const object& given, Subscription& subscription) {
  std::optional<std::string> destination, context, protocol;
  if (auto refusal = readText(given, "Destination", true, destination)) return refusal;
  if (auto refusal = readText(given, "Context", false, context)) return refusal;
  if (auto refusal = readText(given, "Protocol", true, protocol)) return refusal;
  Place place;
  if (!readPlace(*destination, place)) {
    return messageResponse(
        "ValueRefused",
        {"Destination must be http://ADDRESS:PORT/PATH, or https, with an IPv4 address"},
        "#/Destination");
  }
  if (context.value_or("").size() > longestText) {
    return messageResponse("ValueRefused", {"Context has at most 256 bytes"}, "#/Context");
  }
  subscription.destination = *destination;
  subscription.context = context.value_or("");
  return std::nullopt;
}

bool has(const std::vector<std::string>& texts, const std::string& wanted) {
  return texts.empty() || std::ranges::find(texts, wanted) != texts.end();
}

array shown(const std::vector<std::string>& texts) { return array(texts.begin(), texts.end()); }

}  // namespace

Refusal readSubscription(const object& given, Subscription& subscription) {
  std::string fixed;
  if (auto refusal = unknownIn(
          given,
          {"Destination", "Context", "Protocol", "SubscriptionType", "EventFormatType",
           "RegistryPrefixes", "ResourceTypes", "MessageIds", "OriginResources",
           "SubordinateResources", "HttpHeaders", "VerifyCertificate", "DeliveryRetryPolicy"},
          {"Id", "Name", "Status"}, "#")) {
    return refusal;
  }
  if (auto refusal = readDestination(given, subscription)) return refusal;
  if (auto refusal = readChoice(given, "Protocol", {"Redfish"}, fixed)) return refusal;
  if (auto refusal = readChoice(given, "SubscriptionType", {"RedfishEvent"}, fixed)) return refusal;
  if (auto refusal = readChoice(given, "EventFormatType", {"Event"}, fixed)) return refusal;
  if (auto refusal = readChoice(given, "DeliveryRetryPolicy",
                                {"TerminateAfterRetries", "SuspendRetries", "RetryForever"},
                                subscription.policy)) {
    return refusal;
  }
  const std::pair<const char*, std::vector<std::string>*> lists[] = {
      {"RegistryPrefixes", &subscription.registries},
      {"ResourceTypes", &subscription.resourceTypes},
      {"MessageIds", &subscription.messageIds},
      {"OriginResources", &subscription.origins}};
  for (const auto& [key, texts] : lists) {
    if (auto refusal = readTexts(given, key, *texts)) return refusal;
  }
  if (auto refusal = readFlag(given, "SubordinateResources", subscription.withSubordinates)) {
    return refusal;
  }
  if (auto refusal = readFlag(given, "VerifyCertificate", subscription.verify)) return refusal;
  return readHeaders(given, subscription);
}

object subscriptionShown(const Subscription& subscription, bool withSecrets) {
  array origins, headers;
  for (const std::string& origin : subscription.origins) origins.push_back(link(origin));
  for (const auto& [name, text] : subscription.headers) {
    if (withSecrets) headers.push_back(object{{name, text}});
  }
  return {{"Destination", subscription.destination},
          {"Context", subscription.context},
          {"Protocol", "Redfish"},
          {"SubscriptionType", "RedfishEvent"},
          {"EventFormatType", "Event"},
          {"RegistryPrefixes", shown(subscription.registries)},
          {"ResourceTypes", shown(subscription.resourceTypes)},
          {"MessageIds", shown(subscription.messageIds)},
          {"OriginResources", std::move(origins)},
          {"SubordinateResources", subscription.withSubordinates},
          {"HttpHeaders", std::move(headers)},
          {"VerifyCertificate", subscription.verify},
          {"DeliveryRetryPolicy", subscription.policy}};
}

bool isWanted(const Subscription& subscription, const EventFacts& event) {
  const bool isOrigin = subscription.origins.empty() ||
                        std::ranges::any_of(subscription.origins, [&](const std::string& origin) {
                          return event.origin == origin || (subscription.withSubordinates &&
                                                            isAtOrBelow(event.origin, origin));
                        });
  return isOrigin && has(subscription.registries, event.registry()) &&
         has(subscription.resourceTypes, event.resourceType) &&
         has(subscription.messageIds, event.messageId);
}

}  // namespace services::web
