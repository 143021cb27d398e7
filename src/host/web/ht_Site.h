// What a plug-in serves at the web listeners, and which of it a request means.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/web/ht_Message.h"

namespace services::http {

/// What is done for requests of a method and path. Handlers are called by several threads at once,
/// without a lock; what they throw is answered with 500.
struct Route {
  std::string method;  ///< "GET" (which serves HEAD too), "POST", "PATCH", "PUT" or "DELETE"
  std::string
      pattern;    ///< "/a/{}/b": braces stand for one part, "*" at the end for all that follow
  Access access;  ///< what the client must be granted
  std::function<Response(const Request& request)> handler;
  bool openOnLoopback = false;  ///< clients of this machine need no login
};

/// What a plug-in serves.
struct Site {
  std::vector<Route> routes;
  /// Finds out who asks, and sets user and granted. The answer is what a client gets that cannot be
  /// let in (401). Not called where nobody need log in.
  std::function<std::optional<Response>(Request& request)> identify;
  /// The form of a refusal: its status and one line of text.
  std::function<Response(const Request& request, int status, const std::string& text)> refuse;
};

/// The parts of a path between its slashes; "/" has none.
std::vector<std::string> partsOf(const std::string& path);

/// The routes by their patterns. Of two that fit, the one that is given first is taken.
class Router {
 public:
  explicit Router(std::vector<Route> routes);

  struct Found {
    const Route* route = nullptr;       ///< null when none fits
    std::string allowed = {};           ///< the methods that the path has, as Allow names them
    std::vector<std::string> captured;  ///< what stood at the braces
  };
  Found find(const std::string& method, const std::string& path) const;

 private:
  struct Entry {
    Route route;
    std::vector<std::string> parts;
  };
  std::vector<Entry> m_entries;
};

}  // namespace services::http
