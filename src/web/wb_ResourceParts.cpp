// What the resources' properties are made of.
#include "web/wb_ResourceParts.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include "web/wb_Messages.h"

namespace services::web {

using boost::json::object;
using boost::json::value;

object link(const std::string& path) { return {{"@odata.id", path}}; }

object status(const char* state, const char* health) {
  return {{"State", state}, {"Health", health}};
}

value orNull(const std::string& text) { return text.empty() ? value(nullptr) : value(text); }

std::string shortText(const value& given) {
  constexpr std::size_t longest = 80;
  return given.is_structured() ? "[...]" : boost::json::serialize(given).substr(0, longest);
}

std::string textOf(const value& given) {
  const auto& text = given.as_string();
  return {text.data(), text.size()};
}

std::optional<http::Response> unknownIn(const object& given,
                                        std::initializer_list<const char*> writable,
                                        std::initializer_list<const char*> readOnly,
                                        const std::string& pointer) {
  for (const auto& member : given) {
    const std::string key(member.key());
    if (std::ranges::find(writable, key) != writable.end()) continue;
    const bool isKnown = std::ranges::find(readOnly, key) != readOnly.end();
    return messageResponse(isKnown ? "PropertyNotWritable" : "PropertyUnknown", {key},
                           std::string(pointer).append("/").append(key));
  }
  return std::nullopt;
}

std::optional<http::Response> readText(const object& given, const char* key, bool required,
                                       std::optional<std::string>& text) {
  const value* found = given.if_contains(key);
  const std::string pointer = std::string("#/") + key;
  if (found == nullptr) {
    if (!required) return std::nullopt;
    return messageResponse("PropertyMissing", {key}, pointer);
  }
  if (!found->is_string()) {
    return messageResponse("PropertyValueTypeError", {shortText(*found), key}, pointer);
  }
  text = textOf(*found);
  return std::nullopt;
}

}  // namespace services::web
