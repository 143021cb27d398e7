// The standard's messages, by which a refusal says what was wrong.
#include "web/wb_Messages.h"

#include <algorithm>
#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>
#include <cstring>
#include <stdexcept>

#include "util/fw_ShownText.h"

namespace services::web {

namespace {

using boost::json::array;
using boost::json::object;

constexpr const char* base = "Base.1.18";
constexpr const char* own = "Mc.1.0";
constexpr const char* correct = "Correct the request and send it again.";

// The texts are those of the standard's registry.
constexpr Message table[] = {
    {base, "Success", 200, "OK", "The request completed successfully.", "None.", 0},
    {base, "Created", 201, "OK", "The resource was created successfully.", "None.", 0},
    {base, "MalformedJSON", 400, "Critical",
     "The request body submitted was malformed JSON and could not be parsed by the receiving "
     "service.",
     correct, 0},
    {base, "UnrecognizedRequestBody", 400, "Warning",
     "The service detected a malformed request body that it was unable to interpret.", correct, 0},
    {base, "PropertyUnknown", 400, "Warning",
     "The property %1 is not in the list of valid properties for the resource.",
     "Remove the unknown property from the request body and resubmit the request.", 1},
    {base, "PropertyNotWritable", 400, "Warning",
     "The property %1 is a read-only property and cannot be assigned a value.",
     "Remove the property from the request body and resubmit the request.", 1},
    {base, "PropertyValueTypeError", 400, "Warning",
     "The value '%1' for the property %2 is not a type that the property can accept.", correct, 2},
    {base, "PropertyValueNotInList", 400, "Warning",
     "The value '%1' for the property %2 is not in the list of acceptable values.", correct, 2},
    {base, "PropertyMissing", 400, "Warning",
     "The property %1 is a required property and must be included in the request.", correct, 1},
    {base, "ActionParameterUnknown", 400, "Warning",
     "The action %1 was submitted with the invalid parameter %2.", correct, 2},
    {base, "ActionParameterValueFormatError", 400, "Warning",
     "The value '%1' for the parameter %2 in the action %3 is not a format that the parameter can "
     "accept.",
     correct, 3},
    {base, "QueryParameterValueFormatError", 400, "Warning",
     "The value '%1' for the parameter %2 is not a format that the parameter can accept.", correct,
     2},
    {base, "QueryNotSupported", 501, "Warning", "Querying is not supported by the implementation.",
     "Remove the query parameters and resubmit the request.", 0},
    {base, "NoValidSession", 401, "Critical",
     "There is no valid session established with the implementation.",
     "Establish a session before attempting any operations.", 0},
    {base, "ResourceAtUriUnauthorized", 401, "Critical",
     "While accessing the resource at '%1', the service received an authorization error '%2'.",
     "Ensure that the appropriate access is provided for the service.", 2},
    {base, "InsufficientPrivilege", 403, "Critical",
     "There are insufficient privileges for the account or credentials associated with the current "
     "session to perform the requested operation.",
     "Either abandon the operation or change the associated access rights.", 0},
    {base, "ResourceMissingAtURI", 404, "Critical", "The resource at the URI '%1' was not found.",
     "Place a valid resource at the URI or correct the URI and resubmit the request.", 1},
    {base, "OperationNotAllowed", 405, "Critical",
     "The HTTP method is not allowed on this resource.", "None.", 0},
    {base, "ResourceAlreadyExists", 409, "Critical",
     "The requested resource of type %1 with the property %2 with the value '%3' already exists.",
     "Do not repeat the create operation.", 3},
    {base, "PreconditionFailed", 412, "Critical",
     "The ETag supplied did not match the ETag required to change this resource.",
     "Try the operation again using the appropriate ETag.", 0},
    {base, "InternalError", 500, "Critical",
     "The request failed due to an internal service error.  The service is still operational.",
     "Resubmit the request.", 0},
    {base, "ServiceTemporarilyUnavailable", 503, "Critical",
     "The service is temporarily unavailable.  Retry in %1 seconds.",
     "Wait for the indicated retry duration and retry the operation.", 1},
    {own, "ValueRefused", 400, "Warning", "The value was refused: %1.", correct, 1},
    {own, "ChangeRefused", 409, "Warning", "The change was refused: %1.",
     "Correct what the message tells and send the request again.", 1},
    {own, "DaemonStateChanged", 200, "OK", "The daemon %1 is %2; it was %3: %4.", "None.", 4},
    {own, "DaemonDown", 200, "Warning", "The daemon %1 is %2; it was %3: %4.",
     "Wait for its restart, or look into the log.", 4},
    {own, "DaemonRestarted", 200, "Warning",
     "Supervision restarts the daemon %1, which is %2; it was %3: %4.", "Look into the log.", 4},
    {own, "DaemonNoted", 200, "OK", "The daemon %1, which is %2: %3 (%4).", "None.", 4},
    {own, "DaemonFailing", 200, "Critical",
     "The daemon %1 is failing: it was restarted %2 times of late.",
     "Look into the log for what ends it; suspend it to have it left down.", 2},
    {own, "DaemonSteady", 200, "OK", "The daemon %1 is not failing any more.", "None.", 1},
    {own, "PairingRoleChanged", 200, "OK", "The pairing role is %1; it was %2.", "None.", 2},
    {own, "MemorySampled", 200, "OK",
     "The host holds %1 bytes of memory, of which it uses %2; %3 are free and %4 could go back. "
     "The "
     "machine has %5 KiB free, which are %6 percent.",
     "None.", 6},
    {own, "LogError", 200, "Critical", "%1", "None.", 1},
    {own, "LogWarning", 200, "Warning", "%1", "None.", 1},
    {own, "LogInfo", 200, "OK", "%1", "None.", 1},
    {own, "EventsMissed", 200, "Warning",
     "What followed the event %1 is not kept any more; the next event is the first that is.",
     "Read the resources anew; the histories and logs tell what happened.", 1},
    {own, "EventsLost", 200, "Warning",
     "%1 events found no room while they waited for this listener, and are lost.",
     "Read the resources anew; the histories and logs tell what happened.", 1},
    {own, "SubscriptionFailed", 200, "Warning",
     "The subscription %1 %2, since its listener cannot be reached: %3.",
     "See to the listener, then resume or renew the subscription.", 3},
    {own, "TestEvent", 200, "OK", "This is a test: %1.", "None.", 1},
    {own, "InterfaceChanged", 200, "OK", "The management interface %1 is %2.", "None.", 2},
    {own, "PathChanged", 200, "Warning", "The path %1 to the partner is %2.", "Check the cable.",
     2},
    {own, "ControllerChanged", 200, "Warning", "The controller %1 is %2.", "None.", 2},
    {own, "NeedsTls", 403, "Critical", "This request is taken by TLS only: %1.",
     "Open the interface Https on the console.", 1},
};

std::string filled(const char* text, const std::vector<std::string>& arguments) {
  std::string result(text);
  for (std::size_t i = arguments.size(); i > 0; --i) {
    const std::string mark = "%" + std::to_string(i);
    const auto place = result.find(mark);
    if (place != std::string::npos) result.replace(place, mark.size(), arguments[i - 1]);
  }
  return result;
}

const Message& messageOf(const char* id) {
  const auto* message =
      std::ranges::find_if(table, [id](const Message& m) { return std::strcmp(m.id, id) == 0; });
  if (message == std::end(table)) throw std::logic_error("no such message");
  return *message;
}

}  // namespace

std::span<const Message> messages() { return table; }

object messageInfo(const char* id, const std::vector<std::string>& given) {
  const Message& message = messageOf(id);
  std::vector<std::string> arguments;  // paths and log lines may hold bytes that are no UTF-8
  arguments.reserve(given.size());
  for (const std::string& argument : given) arguments.push_back(framework::shownText(argument));
  return {{"@odata.type", "#Message.v1_2_1.Message"},
          {"MessageId", std::string(message.registry) + "." + id},
          {"Message", filled(message.text, arguments)},
          {"MessageArgs", array(arguments.begin(), arguments.end())},
          {"MessageSeverity", message.severity},
          {"Resolution", message.resolution}};
}

http::Response messageResponse(const char* id, const std::vector<std::string>& arguments,
                               const std::string& property) {
  object info = messageInfo(id, arguments);
  object error{{"code", info["MessageId"]}, {"message", info["Message"]}};
  if (!property.empty()) info["RelatedProperties"] = array{property};
  array all;
  all.push_back(std::move(info));
  error["@Message.ExtendedInfo"] = std::move(all);
  http::Response response{.status = messageOf(id).status, .type = "application/json"};
  response.body = boost::json::serialize(object{{"error", std::move(error)}});
  response.headers.emplace_back("OData-Version", "4.0");
  return response;
}

}  // namespace services::web
