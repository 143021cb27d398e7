// Answers the requests of web clients: one request a connection.
#pragma once

#include <functional>
#include <memory>
#include <string>

struct ssl_ctx_st;

namespace services::http {

/// The page "/" for GET and HEAD; 404 for every other path, 405 for other methods, 416 for a range
/// that the page has not, 400 for what is no request or has more than 8 KiB of headers. A first
/// line of more than 8 KiB is not answered; no body is read.
///
/// A client has 5 seconds for its request, TLS handshake included, and 5 for taking the response;
/// it is then told that the connection ends, and has a second to close it first. Any number of
/// threads may serve at once.
class Responder {
 public:
  /// Renders the page, UTF-8 text, on a thread that serves; no lock is held. An empty text means
  /// that there is none yet (503). It may throw (500).
  using Page = std::function<std::string()>;

  explicit Responder(Page page);
  ~Responder();
  Responder(const Responder&) = delete;
  Responder& operator=(const Responder&) = delete;

  /// Serves a client over its non-blocking socket, which stays the caller's: plain, or by TLS with
  /// a context. Shutting the socket down from another thread ends it, but not the page's rendering.
  void serve(int socket, ssl_ctx_st* tls) const;

 private:
  class Protocol;
  const std::unique_ptr<Protocol> m_protocol;
};

}  // namespace services::http
