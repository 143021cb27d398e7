// The web listeners by their names.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/web/ht_Message.h"
#include "host/web/ht_WebSettings.h"

namespace services::http {

struct Site;

/// Serves one read-only page, or what a plug-in gives it, by two listeners, "StandardListener"
/// (plain) and "SSLListener" (TLS 1.2 or later), both closed at first. They share no thread and no
/// client; ht_Listener.h says how each serves.
///
/// The switches may be called by any thread, a page being rendered included, and with any lock
/// held: they wait for no client and call nothing that takes a lock but the log's queue.
///
/// In a build for small controllers (ht_NoHttpServer.cpp) there are no listeners to open.
class HttpServer {
 public:
  /// Renders the page as ht_Responder.h says.
  using Page = std::function<std::string()>;

  /// There is one server at a time.
  HttpServer(const WebSettings& settings, const Page& page);

  /// Closes the listeners and gives clients a second to end; then they are disconnected. A page
  /// that is being rendered is waited for. No other call may run.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// The server, or null while there is none.
  static HttpServer* getSingleton() { return m_pSingleton; }

  /// Opens a listener, the TLS one with the certificate that there is now. True when it is open
  /// then; false, with an error line, when there is none of that name, or its port cannot be had or
  /// its certificate is missing: then it is tried again every few seconds until it is disabled.
  bool enableConnections(const char* listener);

  /// Closes a listener. Its port is closed at once; the connections that it had are served to their
  /// end, those among them that were not accepted yet too. True when it is closed then; false, with
  /// an error line, when there is none of that name.
  bool disableConnections(const char* listener);

  /// Whether a listener is open; false for an unknown one.
  bool isEnabledConnections(const char* listener) const;

  /// What a plug-in serves from here on, null for the page. Returns when no handler of the site
  /// before it runs any more; not to be called by one.
  void setSite(const std::shared_ptr<const Site>& site);

  /// The page that is served without a site, for a route of one.
  Response page() const;

  const WebSettings& settings() const;

  /// How many requests both listeners have answered, by the first digit of their status, 1 to 5.
  /// Any thread may call.
  std::array<std::uint64_t, 6> requests() const;
  /// The certificate of the TLS listener with its chain, as PEM text; empty while it is closed.
  std::string certificate() const;
  /// Gives new clients this one, a PEM text with its chain and key, now and after a restart. The
  /// answer says why not; empty when it is so.
  std::string replaceCertificate(const std::string& pem);

 private:
  struct Listeners;

  static std::atomic<HttpServer*> m_pSingleton;

  const std::unique_ptr<Listeners> m_listeners;
};

}  // namespace services::http
