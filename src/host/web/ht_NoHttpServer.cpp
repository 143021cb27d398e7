// The host of a small controller: it has no web listeners.
#include "host/log/fw_Logger.h"
#include "host/web/ht_HttpServer.h"

namespace services::http {

std::atomic<HttpServer*> HttpServer::m_pSingleton = nullptr;

struct HttpServer::Listeners {
  WebSettings settings;
};

HttpServer::HttpServer(const WebSettings& settings, const Page& /*page*/)
    : m_listeners(std::make_unique<Listeners>(Listeners{settings})) {
  m_pSingleton = this;
}

HttpServer::~HttpServer() { m_pSingleton = nullptr; }

bool HttpServer::enableConnections(const char* name) {
  framework::Logger::StaticLog(framework::LogType::Info,
                               "web: %s stays closed: this host is built without listeners", name);
  return false;
}

bool HttpServer::disableConnections(const char* /*name*/) { return true; }

Response HttpServer::page() const { return {.status = 404}; }

const WebSettings& HttpServer::settings() const { return m_listeners->settings; }

std::array<std::uint64_t, 6> HttpServer::requests() const { return {}; }

std::string HttpServer::certificate() const { return ""; }

std::string HttpServer::replaceCertificate(const std::string& /*pem*/) {
  return "this host is built without listeners";
}

void HttpServer::setSite(const std::shared_ptr<const Site>& /*site*/) {}

bool HttpServer::isEnabledConnections(const char* /*name*/) const { return false; }

}  // namespace services::http
