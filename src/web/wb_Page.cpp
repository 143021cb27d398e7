// Serves the files of the operator's live page.
#include "web/wb_Page.h"

#include <functional>
#include <string>

#include "host/web/ht_HttpServer.h"

namespace services::web {

using http::Request;
using http::Response;

namespace {

// Nothing but what this controller serves, and no text that becomes markup or script.
constexpr const char* policy =
    "default-src 'none'; script-src 'self'; worker-src 'self'; style-src 'self'; "
    "img-src 'self'; connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors "
    "'none'; "
    "require-trusted-types-for 'script'; trusted-types mc";

Response moved(const std::string& to) {
  Response response{.status = 307, .body = "the live page is at " + to + "\n"};
  response.headers = {{"Location", to}};
  return response;
}

// The same page by TLS, where that is open and the client says by what name it came.
std::optional<Response> byTls(const Request& request) {
  const auto* web = http::HttpServer::getSingleton();
  std::string host = request.header("host");
  host = host.substr(0, host.find(':'));
  if (request.secure || host.empty() || web == nullptr ||
      !web->isEnabledConnections("SSLListener")) {
    return std::nullopt;
  }
  return moved("https://" + host + ":" + std::to_string(web->settings().sslPort) + request.path);
}

// A browser keeps a file, and asks each time whether it still holds.
Response serve(const PageFile& file, const std::string& etag, const Request& request) {
  if (auto elsewhere = byTls(request)) return *elsewhere;
  Response response{.body = std::string(file.content), .type = std::string(file.type)};
  response.headers = {
      {"Cache-Control", "no-cache"}, {"ETag", etag}, {"Content-Security-Policy", policy}};
  if (request.header("if-none-match") == etag) {
    response.status = 304;
    response.body.clear();
  }
  return response;
}

}  // namespace

std::vector<http::Route> pageRoutes() {
  std::vector<http::Route> routes;
  for (const PageFile& file : pageFiles()) {
    const std::string etag =
        "\"" + std::to_string(std::hash<std::string_view>()(file.content)) + "\"";
    routes.push_back(
        {"GET", std::string(file.path), http::Access::Anyone,
         [&file, etag](const Request& request) { return serve(file, etag, request); }});
  }
  return routes;
}

std::optional<Response> browserToPage(const Request& request) {
  if (request.path != "/" || request.header("accept").find("text/html") == std::string::npos) {
    return std::nullopt;
  }
  return moved("/ui/");
}

}  // namespace services::web
