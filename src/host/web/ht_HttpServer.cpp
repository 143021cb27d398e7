// The web listeners by their names.
#include "host/web/ht_HttpServer.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "host/log/fw_Logger.h"
#include "host/web/ht_Listener.h"
#include "host/web/ht_Responder.h"
#include "host/web/ht_TlsContext.h"

namespace services::http {

using framework::Logger;
using framework::LogType;

std::atomic<HttpServer*> HttpServer::m_pSingleton = nullptr;

struct HttpServer::Listeners {
  Listeners(const WebSettings& given, const Page& page)
      : settings(given),
        responder(page, {.isOpen = [this] { return all[1].isOpen(); },
                         .port = given.sslPort,
                         .address = given.address}) {}

  Listener* findOrSay(const char* name) {
    for (Listener& listener : all) {
      if (std::strcmp(listener.name(), name) == 0) return &listener;
    }
    Logger::StaticLog(LogType::Error, "web: no listener is named %s", name);
    return nullptr;
  }

  const WebSettings settings;
  Responder responder;
  std::array<Listener, 2> all{{{"StandardListener", settings, settings.port, false, responder},
                               {"SSLListener", settings, settings.sslPort, true, responder}}};
};

HttpServer::HttpServer(const WebSettings& settings, const Page& page)
    : m_listeners(std::make_unique<Listeners>(settings, page)) {
  m_pSingleton = this;
}

HttpServer::~HttpServer() {
  m_pSingleton = nullptr;
  for (Listener& listener : m_listeners->all) listener.stop();
}

bool HttpServer::enableConnections(const char* name) {
  Listener* listener = m_listeners->findOrSay(name);
  return listener != nullptr && listener->enable();
}

bool HttpServer::disableConnections(const char* name) {
  Listener* listener = m_listeners->findOrSay(name);
  if (listener != nullptr) listener->disable();
  return listener != nullptr;
}

bool HttpServer::isEnabledConnections(const char* name) const {
  return std::ranges::any_of(m_listeners->all, [name](const Listener& listener) {
    return std::strcmp(listener.name(), name) == 0 && listener.isOpen();
  });
}

Response HttpServer::page() const { return m_listeners->responder.page(); }

std::array<std::uint64_t, 6> HttpServer::requests() const {
  return m_listeners->responder.counts();
}

const WebSettings& HttpServer::settings() const { return m_listeners->settings; }

std::string HttpServer::certificate() const { return m_listeners->all[1].certificate(); }

std::string HttpServer::replaceCertificate(const std::string& pem) {
  std::string refusal = giveCertificate(settings(), pem);
  if (refusal.empty()) m_listeners->all[1].renewCertificate();
  return refusal;
}

void HttpServer::setSite(const std::shared_ptr<const Site>& site) {
  m_listeners->responder.setSite(site);
}

}  // namespace services::http
