// Answers the requests of web clients.
#include "host/web/ht_Responder.h"

#include <boost/beast/http/message.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <algorithm>
#include <sstream>

#include "host/base/fw_Guarded.h"

namespace services::http {

namespace {

namespace beast = boost::beast::http;

enum Status {
  Ok = 200,
  Redirect = 307,
  Forbidden = 403,
  NotFound = 404,
  WrongMethod = 405,
  Failed = 500,
  NotReady = 503
};

// Where a response does not say otherwise.
constexpr std::pair<const char*, const char*> usualHeaders[] = {
    {"Cache-Control", "no-store"},
    {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"},
    {"Referrer-Policy", "no-referrer"},
    {"X-Content-Type-Options", "nosniff"},
    {"X-Frame-Options", "DENY"},
};

Response plain(int status, const std::string& text) { return {.status = status, .body = text}; }

// What the client asked for by name, without its port, where it is a name or an address.
std::string hostOf(const Request& request, const std::string& otherwise) {
  std::string host = request.header("host");
  host = host.substr(0, host.find(':'));
  const bool isName = !host.empty() && host.find_first_not_of(
                                           "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                           "0123456789.-") == std::string::npos;
  return isName ? host : otherwise;
}

std::string textOf(Response& response, bool isHead, bool keeps) {
  beast::response<beast::string_body> message;
  message.version(11);
  message.result(static_cast<unsigned int>(response.status));
  for (const auto& [name, value] : usualHeaders) message.set(name, value);
  for (const auto& [name, value] : response.headers) message.set(name, value);
  if (!response.type.empty()) message.set(beast::field::content_type, response.type);
  message.keep_alive(keeps);
  if (response.stream == nullptr && response.status != 204) {
    message.content_length(response.body.size());
  }
  if (!isHead) message.body() = std::move(response.body);
  std::ostringstream text;
  text << message;
  return text.str();
}

}  // namespace

struct Responder::Served {
  std::shared_ptr<const Site> site;
  Router router;
};

Responder::Responder(Page page, Tls tls) : m_page(std::move(page)), m_tls(std::move(tls)) {
  setSite(nullptr);
}

void Responder::setSite(std::shared_ptr<const Site> site) {
  if (site == nullptr) {
    site = std::make_shared<Site>(
        Site{.routes = {{"GET", "/", Access::Anyone, [this](const Request&) { return page(); }}},
             .identify = {},
             .refuse = [](const Request&, int status, const std::string& text) {
               return plain(status, text + "\n");
             }});
  }
  auto served = std::make_shared<Served>(Served{site, Router(site->routes)});
  const std::unique_lock lock(m_answering);
  m_served = std::move(served);
}

Response Responder::page() const {
  const std::string text = m_page();
  return text.empty() ? plain(NotReady, "the services are not running\n") : plain(Ok, text);
}

Reply Responder::answer(const Asked& asked) const {
  Request request = asked.request;
  Response response;
  if (asked.fault != 0) {
    response = plain(asked.fault, "");
  } else if (!framework::guarded("web", "page", [&] { response = respond(request); })) {
    response = plain(Failed, "the page could not be rendered; the log says why\n");
  }
  ++m_counts.at(static_cast<std::size_t>(response.status / 100));
  Reply reply{.keeps = !request.user.empty() && !asked.isLast && response.stream == nullptr};
  if (!asked.isHead) reply.stream = response.stream;
  reply.text = textOf(response, asked.isHead, reply.keeps);
  return reply;
}

Responder::Counts Responder::counts() const {
  Counts counts{};
  std::ranges::copy(m_counts, counts.begin());
  return counts;
}

Response Responder::respond(Request& request) const {
  const std::shared_lock lock(m_answering);
  return answerAt(*m_served, request);
}

Response Responder::answerAt(const Served& served, Request& request) const {
  auto found = served.router.find(request.method, request.path);
  if (found.route != nullptr) {
    request.captured = std::move(found.captured);
    return admit(served, *found.route, request);
  }
  if (found.allowed.empty()) return served.site->refuse(request, NotFound, "there is no such page");
  auto refusal =
      served.site->refuse(request, WrongMethod, "this page takes " + found.allowed + " only");
  refusal.headers.emplace_back("Allow", found.allowed);
  return refusal;
}

// The path is looked up before the login: which there are is public.
Response Responder::admit(const Served& served, const Route& route, Request& request) const {
  const bool isHere = route.openOnLoopback && request.address.starts_with("127.");
  if (route.access == Access::Anyone || isHere) return route.handler(request);
  if (!request.secure) {
    return m_tls.isOpen() ? toTls(request)
                          : served.site->refuse(request, Forbidden,
                                                "this needs a login, which is taken by TLS only; "
                                                "\"interface up Https\" on the console opens "
                                                "that");
  }
  if (auto refusal = served.site->identify(request)) return std::move(*refusal);
  if (request.granted < route.access) {
    return served.site->refuse(request, Forbidden, "this user may not do that");
  }
  return route.handler(request);
}

Response Responder::toTls(const Request& request) const {
  Response response = plain(Redirect, "this needs a login, which is taken by TLS only\n");
  const std::string host = hostOf(request, m_tls.address);
  response.headers.emplace_back(
      "Location", "https://" + host + ":" + std::to_string(m_tls.port) + request.target);
  return response;
}

}  // namespace services::http
