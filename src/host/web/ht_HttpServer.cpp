// The web listeners by their names.
#include "host/web/ht_HttpServer.h"

#include <algorithm>
#include <cstring>

#include "host/log/fw_Logger.h"

namespace services::http {

using framework::Logger;
using framework::LogType;

std::atomic<HttpServer*> HttpServer::m_pSingleton = nullptr;

HttpServer::HttpServer(const WebSettings& settings, Responder::Page page)
    : m_settings(settings),
      m_responder(std::move(page),
                  {.isOpen = [this] { return isEnabledConnections("SSLListener"); },
                   .port = settings.sslPort,
                   .address = settings.address}),
      m_listeners{{{"StandardListener", m_settings, m_settings.port, false, m_responder},
                   {"SSLListener", m_settings, m_settings.sslPort, true, m_responder}}} {
  m_pSingleton = this;
}

HttpServer::~HttpServer() {
  m_pSingleton = nullptr;
  for (Listener& listener : m_listeners) listener.stop();
}

Listener* HttpServer::findOrSay(const char* name) {
  for (Listener& listener : m_listeners) {
    if (std::strcmp(listener.name(), name) == 0) return &listener;
  }
  Logger::StaticLog(LogType::Error, "web: no listener is named %s", name);
  return nullptr;
}

bool HttpServer::enableConnections(const char* name) {
  Listener* listener = findOrSay(name);
  return listener != nullptr && listener->enable();
}

bool HttpServer::disableConnections(const char* name) {
  Listener* listener = findOrSay(name);
  if (listener != nullptr) listener->disable();
  return listener != nullptr;
}

bool HttpServer::isEnabledConnections(const char* name) const {
  return std::ranges::any_of(m_listeners, [name](const Listener& listener) {
    return std::strcmp(listener.name(), name) == 0 && listener.isOpen();
  });
}

}  // namespace services::http
