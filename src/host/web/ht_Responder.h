// Answers the requests of web clients: by what a plug-in serves, and without one by the page.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <string>

#include "host/web/ht_RequestParser.h"
#include "host/web/ht_Site.h"

namespace services::http {

/// What goes to the client.
struct Reply {
  std::string text = {};                ///< empty: the connection ends without a word
  bool keeps = false;                   ///< another request may follow on the connection
  std::shared_ptr<Stream> stream = {};  ///< what follows the text
};

/// Without a site, the page "/" for GET and HEAD. In either case 404 for other paths, 405 for
/// methods that a path has not, and the parser's status for what is no request.
///
/// Who must log in is sent from the plain listener to that of TLS (307), or told how to open it
/// (403). Only after a login is a connection kept for another request; strangers get one for each.
/// Any number of threads may ask at once.
class Responder {
 public:
  /// Renders the page, UTF-8 text, on a thread that serves; no lock is held. An empty text means
  /// that there is none yet (503). It may throw (500).
  using Page = std::function<std::string()>;
  /// Whether TLS is spoken at present, and where.
  struct Tls {
    std::function<bool()> isOpen;
    int port;
    std::string address;  ///< for clients that do not say by what name they came
  };

  Responder(Page page, Tls tls);

  /// What is served from here on; null for the page. Returns when no handler of the site before it
  /// runs any more: do not call it from one.
  void setSite(std::shared_ptr<const Site> site);

  /// The page itself, or 503.
  Response page() const;

  Reply answer(const Asked& asked) const;

  /// How many requests were answered, by the first digit of their status, 1 to 5.
  using Counts = std::array<std::uint64_t, 6>;
  Counts counts() const;

 private:
  struct Served;

  Response respond(Request& request) const;
  Response answerAt(const Served& served, Request& request) const;
  Response admit(const Served& served, const Route& route, Request& request) const;
  Response toTls(const Request& request) const;

  const Page m_page;
  const Tls m_tls;
  mutable std::array<std::atomic<std::uint64_t>, 6> m_counts{};
  mutable std::shared_mutex m_answering;  // shared while a handler runs; guards m_served
  std::shared_ptr<const Served> m_served;
};

}  // namespace services::http
