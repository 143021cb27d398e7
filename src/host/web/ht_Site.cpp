// Which route a request means.
#include "host/web/ht_Site.h"

#include <algorithm>
#include <sstream>

namespace services::http {

namespace {

using Parts = std::vector<std::string>;

std::string joined(Parts::const_iterator from, Parts::const_iterator to) {
  std::string text;
  for (; from != to; ++from) text += (text.empty() ? "" : "/") + *from;
  return text;
}

// What stood at the braces, when the parts fit the pattern.
std::optional<Parts> matched(const Parts& pattern, const Parts& parts) {
  Parts captured;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == "*") {
      const auto from = parts.begin() + static_cast<long>(std::min(i, parts.size()));
      captured.push_back(joined(from, parts.end()));
      return captured;
    }
    if (i >= parts.size()) return std::nullopt;
    if (pattern[i] == "{}") {
      captured.push_back(parts[i]);
    } else if (pattern[i] != parts[i]) {
      return std::nullopt;
    }
  }
  return pattern.size() == parts.size() ? std::optional(captured) : std::nullopt;
}

}  // namespace

// A slash at the end changes nothing.
std::vector<std::string> partsOf(const std::string& path) {
  Parts parts;
  std::istringstream rest(path.substr(path.starts_with('/') ? 1 : 0));
  for (std::string part; std::getline(rest, part, '/');) parts.push_back(part);
  return parts;
}

Router::Router(std::vector<Route> routes) {
  for (Route& route : routes) {
    Parts parts = partsOf(route.pattern);
    m_entries.push_back({std::move(route), std::move(parts)});
  }
}

Router::Found Router::find(const std::string& method, const std::string& path) const {
  const Parts parts = partsOf(path);
  Found found;
  for (const Entry& entry : m_entries) {
    auto captured = matched(entry.parts, parts);
    if (!captured) continue;
    if (found.allowed.find(entry.route.method) == std::string::npos) {
      found.allowed += (found.allowed.empty() ? "" : ", ") + entry.route.method;
      if (entry.route.method == "GET") found.allowed += ", HEAD";
    }
    if (entry.route.method != method || found.route != nullptr) continue;
    found.route = &entry.route;
    found.captured = std::move(*captured);
  }
  return found;
}

}  // namespace services::http
