// What the resources' properties are made of.
#pragma once

#include <initializer_list>
#include <optional>
#include <string>

#include "host/web/ht_Message.h"

namespace boost::json {
class object;
class value;
}  // namespace boost::json

namespace services::web {

/// {"@odata.id": path}
boost::json::object link(const std::string& path);
/// {"State": state, "Health": health}
boost::json::object status(const char* state, const char* health);
/// The text, null for an empty one.
boost::json::value orNull(const std::string& text);
/// What a value is, cut to a length that a message may hold.
std::string shortText(const boost::json::value& value);
/// The text of a value that is one.
std::string textOf(const boost::json::value& value);

/// A refusal where the object has a property that is neither of those that can be written nor of
/// those that are there to be read; `pointer` leads to the object.
std::optional<http::Response> unknownIn(const boost::json::object& given,
                                        std::initializer_list<const char*> writable,
                                        std::initializer_list<const char*> readOnly,
                                        const std::string& pointer);

/// Takes the text property of a request into `text`. A refusal where it is none, or is not there
/// though it must be.
std::optional<http::Response> readText(const boost::json::object& given, const char* key,
                                       bool required, std::optional<std::string>& text);

}  // namespace services::web
