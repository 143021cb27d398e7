// The standard's messages, by which a refusal says what was wrong (DSP0266, extended information).
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/web/ht_Message.h"

namespace boost::json {
class object;
}

namespace services::web {

/// A message: of the standard's registry Base, or of our own, Mc.
struct Message {
  const char* registry;
  const char* id;
  int status;            ///< of the response that it is the body of
  const char* severity;  ///< "OK", "Warning" or "Critical"
  const char* text;      ///< with %1, %2 for its arguments
  const char* resolution;
  int arguments;
};

std::span<const Message> messages();

/// A message filled in, as the standard has it in a response or an event.
boost::json::object messageInfo(const char* id, const std::vector<std::string>& arguments);

/// The response that is this message, with the property that it is about, if any, as a JSON
/// pointer. `id` is one of messages().
http::Response messageResponse(const char* id, const std::vector<std::string>& arguments = {},
                               const std::string& property = "");

}  // namespace services::web
