// The query options of the standard.
#include "web/wb_Query.h"

#include <algorithm>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>
#include <charconv>
#include <regex>
#include <sstream>

#include "web/wb_Messages.h"
#include "web/wb_ResourceParts.h"

namespace services::web {

using boost::json::object;
using boost::json::value;

namespace {

constexpr std::size_t longestOption = 500;

bool readCount(const std::string& text, std::size_t& count) {
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, count);
  return !text.empty() && stop == end && error == std::errc();
}

bool readSelect(const std::string& text, std::vector<std::string>& select) {
  std::istringstream rest(text);
  for (std::string one; std::getline(rest, one, ',');) select.push_back(one);
  return !select.empty();
}

// PROPERTY OPERATION VALUE, joined by " and ".
bool readFilter(std::string rest, std::vector<Condition>& filter) {
  static const std::regex one(
      R"(^\s*([A-Za-z@.][A-Za-z0-9_@./]{0,80})\s+(eq|ne|gt|ge|lt|le)\s+('[^']*'|[-0-9.]+|true|false)(\s+and\s+|\s*$))");
  while (!rest.empty()) {
    std::smatch match;
    if (!std::regex_search(rest, match, one)) return false;
    std::string literal = match[3];
    const bool isText = literal.front() == '\'';
    if (isText) literal = literal.substr(1, literal.size() - 2);
    filter.push_back({match[1], match[2], literal, isText});
    const bool goesOn = match[4].str().find("and") != std::string::npos;
    rest = match.suffix();
    if (goesOn == rest.empty()) return false;
  }
  return !filter.empty();
}

bool readOption(const std::string& name, const std::string& text, Query& query) {
  if (name == "$select") return readSelect(text, query.select);
  if (name == "$filter") return readFilter(text, query.filter);
  if (name == "$top") return readCount(text, query.top);
  if (name == "$skip") return readCount(text, query.skip);
  if (name == "only") return query.only = text.empty();
  static const std::regex expand(R"(^[.*~](\(\$levels=[1-6]\))?$)");
  return query.expand = std::regex_match(text, expand);
}

const value* propertyOf(const object& resource, const std::string& path) {
  const object* place = &resource;
  std::istringstream rest(path);
  const value* found = nullptr;
  for (std::string part; std::getline(rest, part, '/');) {
    found = place == nullptr ? nullptr : place->if_contains(part);
    if (found == nullptr) return nullptr;
    place = found->if_object();
  }
  return found;
}

template <class Value>
bool holds(const std::string& operation, const Value& a, const Value& b) {
  if (operation == "eq") return a == b;
  if (operation == "ne") return a != b;
  if (operation == "gt") return a > b;
  if (operation == "ge") return a >= b;
  return operation == "lt" ? a < b : a <= b;
}

bool isWanted(const Condition& condition, const object& resource) {
  const value* found = propertyOf(resource, condition.property);
  if (found == nullptr) return false;
  if (found->is_string()) {
    return condition.isText && holds(condition.operation, textOf(*found), condition.value);
  }
  if (condition.isText) return false;
  if (found->is_number()) {
    return holds(condition.operation, found->to_number<double>(),
                 std::strtod(condition.value.c_str(), nullptr));
  }
  return found->is_bool() &&
         holds(condition.operation, boost::json::serialize(*found), condition.value);
}

}  // namespace

std::optional<http::Response> readQuery(const http::Request& request, bool isCollection,
                                        Query& query) {
  constexpr const char* ofAll[] = {"$select", "$expand"};
  constexpr const char* ofCollections[] = {"$filter", "$top", "$skip", "only"};
  for (const auto& [name, text] : request.query) {
    const bool known = std::ranges::find(ofAll, name) != std::end(ofAll);
    const bool ofThese = std::ranges::find(ofCollections, name) != std::end(ofCollections);
    if (!known && !(ofThese && isCollection)) {
      if (name.starts_with("$") || ofThese) return messageResponse("QueryNotSupported");
      continue;
    }
    if (text.size() > longestOption || !readOption(name, text, query)) {
      return messageResponse("QueryParameterValueFormatError", {text.substr(0, 80), name});
    }
  }
  return std::nullopt;
}

bool isWanted(const std::vector<Condition>& filter, const object& resource) {
  return std::ranges::all_of(
      filter, [&](const Condition& condition) { return isWanted(condition, resource); });
}

void applySelect(const std::vector<std::string>& select, object& resource) {
  if (select.empty()) return;
  object left;
  for (const auto& member : resource) {
    const std::string key(member.key());
    const bool isSelected = std::ranges::any_of(select, [&](const std::string& wanted) {
      return wanted.substr(0, wanted.find('/')) == key;
    });
    if (isSelected || key.starts_with("@odata.") || key.starts_with("Members")) {
      left[key] = member.value();
    }
  }
  resource = std::move(left);
}

}  // namespace services::web
