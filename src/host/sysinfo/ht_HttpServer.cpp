// The web listeners by their names.
#include "host/sysinfo/ht_HttpServer.h"

#include <cstring>

#include "host/framework/fw_Logger.h"
#include "host/sysinfo/ht_Listener.h"

namespace services::http {

using framework::Logger;
using framework::LogType;

std::atomic<HttpServer*> HttpServer::m_pSingleton = nullptr;

HttpServer::HttpServer(const WebSettings& settings, Responder::Page page)
    : m_settings(settings),
      m_responder(std::move(page)),
      m_listeners({std::make_unique<Listener>("StandardListener", m_settings, m_settings.port,
                                              false, m_responder),
                   std::make_unique<Listener>("SSLListener", m_settings, m_settings.sslPort, true,
                                              m_responder)}) {
  m_pSingleton = this;
}

HttpServer::~HttpServer() {
  m_pSingleton = nullptr;
  for (const auto& listener : m_listeners) listener->stop();
}

Listener* HttpServer::find(const char* name) const {
  for (const auto& listener : m_listeners) {
    if (std::strcmp(listener->name(), name) == 0) return listener.get();
  }
  return nullptr;
}

Listener* HttpServer::findOrSay(const char* name) const {
  Listener* listener = find(name);
  if (listener == nullptr) Logger::StaticLog(LogType::Error, "web: no listener is named %s", name);
  return listener;
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
  const Listener* listener = find(name);
  return listener != nullptr && listener->isOpen();
}

}  // namespace services::http
