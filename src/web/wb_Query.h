// The query options of the standard: which members and properties a client wants.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "host/web/ht_Message.h"

namespace boost::json {
class object;
}

namespace services::web {

/// A comparison of $filter; all of them must hold.
struct Condition {
  std::string property;  ///< parts joined by "/"
  std::string operation;
  std::string value;
  bool isText = false;
};

struct Query {
  static constexpr std::size_t page = 100;  ///< members at once where none are asked for

  std::vector<std::string> select = {};
  std::vector<Condition> filter = {};
  bool expand = false;
  bool only = false;
  std::size_t skip = 0;
  std::size_t top = page;
};

/// Reads the options of a request. The answer is the refusal of one that is not known (501) or not
/// right (400).
std::optional<http::Response> readQuery(const http::Request& request, bool isCollection,
                                        Query& query);

/// Whether a resource is one that the filter lets through. A property that it has not is no match.
bool isWanted(const std::vector<Condition>& filter, const boost::json::object& resource);

/// Leaves the selected properties, and those that begin with "@odata.", "Members" too.
void applySelect(const std::vector<std::string>& select, boost::json::object& resource);

}  // namespace services::web
