// A request of a web client, and what is answered.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace services::http {

class Stream;

/// What who asks may do, each more than the one before.
enum class Access {
  Anyone,      ///< without a login
  Read,        ///< who has logged in may look
  Operate,     ///< and start, stop and restart daemons
  Administer,  ///< and change interfaces, users and settings
};

/// A request, checked against its grammar and decoded.
struct Request {
  std::string method = {};                             ///< "GET" for HEAD too
  std::string target = {};                             ///< path and query as the client sent them
  std::string path = {};                               ///< decoded, from its "/" on
  std::multimap<std::string, std::string> query = {};  ///< decoded
  std::map<std::string, std::string> headers = {};     ///< the names in small letters
  std::string body = {};                               ///< at most 64 KiB
  std::string address = {};                            ///< of the client, dotted
  bool secure = false;                                 ///< came by TLS
  std::vector<std::string> captured = {};              ///< what stood at the pattern's braces
  std::string user = {};                               ///< who asks, empty without a login
  Access granted = Access::Anyone;                     ///< what the user may do

  /// A header's value, or an empty text.
  const std::string& header(const std::string& name) const {
    static const std::string none;
    const auto found = headers.find(name);
    return found == headers.end() ? none : found->second;
  }
};

/// A response. With a stream it has no body: it goes on until the stream ends.
struct Response {
  int status = 200;
  std::string body = {};
  std::string type = "text/plain; charset=utf-8";
  std::vector<std::pair<std::string, std::string>> headers = {};
  std::shared_ptr<Stream> stream = {};
};

}  // namespace services::http
