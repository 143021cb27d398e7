// Answers the requests of web clients: one request a connection.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace services::http {

/// The page "/" for GET and HEAD; 404 for every other path, 405 for other methods, 416 for a range
/// that the page has not, 400 for what is no request or has more than 8 KiB before its body, which
/// is not read. Any number of threads may ask at once.
class Responder {
 public:
  /// Renders the page, UTF-8 text, on a thread that serves; no lock is held. An empty text means
  /// that there is none yet (503). It may throw (500).
  using Page = std::function<std::string()>;

  explicit Responder(Page page);
  ~Responder();
  Responder(const Responder&) = delete;
  Responder& operator=(const Responder&) = delete;

  /// The response to a request, of which all is here that is looked at: its headers. Empty when
  /// there is nothing to say.
  std::string answer(const std::string& request) const;

 private:
  class Protocol;
  const std::unique_ptr<Protocol> m_protocol;
};

}  // namespace services::http
