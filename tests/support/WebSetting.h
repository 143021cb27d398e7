// What tests of the web listeners share: where they serve, and a client that trusts them.
#pragma once

#include <httplib.h>

#include "host/web/ht_HttpServer.h"
#include "support/RawClient.h"

namespace test {

constexpr const char* plain = "StandardListener";
constexpr const char* secure = "SSLListener";

/// Listeners of this process alone, with a certificate of their own.
struct WebSetting {
  WebSetting() {
    ::signal(SIGPIPE, SIG_IGN);  // as the host does
    settings.address = ownAddress();
    settings.directory = files.path("etc/config/");
  }
  void serve(services::http::HttpServer::Page page = [] { return "page"; }) {
    server.reset();
    server.emplace(settings, std::move(page));
  }

  Temporary files;
  services::http::WebSettings settings;
  LogCapture log;
  std::optional<services::http::HttpServer> server;
};

/// A client of the TLS listener, as patient as the test.
struct TlsClient : httplib::SSLClient {
  explicit TlsClient(const services::http::WebSettings& settings)
      : SSLClient(settings.address, settings.sslPort) {
    enable_server_certificate_verification(false);
    set_connection_timeout(std::chrono::hours(1));  // the handshake's too
    set_read_timeout(std::chrono::hours(1));
    set_keep_alive(true);
  }
};

}  // namespace test
