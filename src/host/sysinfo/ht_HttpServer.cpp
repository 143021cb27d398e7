// The web listeners: opening, closing, and the threads that serve their clients.
#include "host/sysinfo/ht_HttpServer.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "host/framework/fw_Guarded.h"
#include "host/sysinfo/ht_Listener.h"
#include "host/sysinfo/ht_TlsContext.h"

namespace services::http {

using framework::Logger;
using framework::LogType;

namespace {

constexpr std::size_t acceptBelow = 64;    // connections waiting for a thread
constexpr std::size_t mostWaiting = 256;   // with those of listeners that were closed
constexpr std::uint32_t stopEvent = 1000;  // no listener's index
constexpr std::chrono::seconds drainLimit(1);
constexpr std::chrono::seconds pauseAccepting(1);

}  // namespace

std::atomic<HttpServer*> HttpServer::m_pSingleton = nullptr;

HttpServer::HttpServer(const WebSettings& settings, Responder::Page page)
    : m_address(settings.address),
      m_responder(std::move(page)),
      m_tls(openTlsContext(settings)),
      m_wake(::eventfd(0, EFD_CLOEXEC)),
      m_events(::epoll_create1(EPOLL_CLOEXEC)),
      m_listeners(
          {{{"StandardListener", settings.port, false}, {"SSLListener", settings.sslPort, true}}}) {
  watch(m_wake.get(), stopEvent);
  for (Worker& worker : m_workers) worker.thread = std::thread([&] { work(worker); });
  m_accepting = std::thread([this] { acceptClients(); });
  m_pSingleton = this;
}

HttpServer::~HttpServer() {
  m_pSingleton = nullptr;
  std::unique_lock lock(m_mutex);
  for (Listener& listener : m_listeners) close(listener);
  m_stopping = true;
  m_changed.notify_all();
  ::eventfd_write(m_wake.get(), 1);
  if (!m_changed.wait_for(lock, drainLimit, [this] { return isIdle(); })) disconnectAll();
  lock.unlock();
  m_accepting.join();
  for (Worker& worker : m_workers) worker.thread.join();
}

HttpServer::Listener* HttpServer::find(const char* name) {
  const auto found = std::ranges::find_if(m_listeners, [name](const Listener& listener) {
    return std::strcmp(listener.name, name) == 0;
  });
  return found == m_listeners.end() ? nullptr : &*found;
}

HttpServer::Listener* HttpServer::findOrSay(const char* name) {
  Listener* listener = find(name);
  if (listener == nullptr) Logger::StaticLog(LogType::Error, "web: no listener is named %s", name);
  return listener;
}

bool HttpServer::enableConnections(const char* name) {
  const std::lock_guard lock(m_mutex);
  Listener* listener = findOrSay(name);
  return listener != nullptr && (listener->socket.isOpen() || open(*listener));
}

bool HttpServer::disableConnections(const char* name) {
  const std::lock_guard lock(m_mutex);
  Listener* listener = findOrSay(name);
  if (listener == nullptr) return false;
  close(*listener);
  return true;
}

bool HttpServer::isEnabledConnections(const char* name) const {
  const std::lock_guard lock(m_mutex);
  return std::ranges::any_of(m_listeners, [name](const Listener& listener) {
    return std::strcmp(listener.name, name) == 0 && listener.socket.isOpen();
  });
}

bool HttpServer::watch(int socket, std::uint32_t what) const {
  epoll_event event{.events = EPOLLIN, .data = {.u32 = what}};
  return ::epoll_ctl(m_events.get(), EPOLL_CTL_ADD, socket, &event) == 0;
}

bool HttpServer::open(Listener& listener) {
  if (listener.secure && m_tls == nullptr) {
    Logger::StaticLog(LogType::Error, "web: %s has no certificate", listener.name);
    return false;
  }
  platform::Descriptor socket = listenAt(m_address, listener.port);
  const auto index = static_cast<std::uint32_t>(&listener - m_listeners.data());
  if (!socket.isOpen() || !watch(socket.get(), index)) {
    Logger::StaticLog(LogType::Error, "web: %s cannot listen at %s:%d: %s", listener.name,
                      m_address.c_str(), listener.port, std::strerror(errno));
    return false;
  }
  listener.socket = std::move(socket);
  Logger::StaticLog(LogType::Info, "web: %s listens at %s:%d", listener.name, m_address.c_str(),
                    listener.port);
  return true;
}

// Who waits in the kernel is taken first: closing would reset those connections. A command that is
// just being started may hold the socket for a moment longer, hence the shutdown.
void HttpServer::close(Listener& listener) {
  if (!listener.socket.isOpen()) return;
  turnAwayNewcomers(listener.socket.get());
  bool more = true;
  while (more && m_waiting.size() < mostWaiting) {
    more = comesYet(listener.socket.get()) && take(listener);
  }
  ::epoll_ctl(m_events.get(), EPOLL_CTL_DEL, listener.socket.get(), nullptr);
  ::shutdown(listener.socket.get(), SHUT_RDWR);
  listener.socket.reset();
  Logger::StaticLog(LogType::Info, "web: %s is closed", listener.name);
}

// Accepts one connection. False, with errno, when there is none.
bool HttpServer::take(const Listener& listener) {
  platform::Descriptor socket(
      ::accept4(listener.socket.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket.isOpen()) return false;
  m_waiting.push_back({std::move(socket), listener.secure});
  m_changed.notify_all();
  return true;
}

void HttpServer::acceptClients() {
  std::unique_lock lock(m_mutex);
  while (!m_stopping) {
    lock.unlock();
    epoll_event event{};
    const bool happened = ::epoll_wait(m_events.get(), &event, 1, -1) == 1;
    lock.lock();
    if (!happened || event.data.u32 >= m_listeners.size()) continue;
    accept(m_listeners[event.data.u32], lock);
    m_changed.wait(lock, [this] { return m_stopping || m_waiting.size() < acceptBelow; });
  }
}

// Without the pause, a lack of descriptors would keep the thread spinning.
void HttpServer::accept(const Listener& listener, std::unique_lock<std::mutex>& lock) {
  if (!listener.socket.isOpen() || take(listener)) return;
  if (errno == EAGAIN || errno == EINTR || errno == ECONNABORTED) return;
  Logger::StaticLog(LogType::Error, "web: %s cannot accept a client: %s", listener.name,
                    std::strerror(errno));
  m_changed.wait_for(lock, pauseAccepting, [this] { return m_stopping; });
}

void HttpServer::work(Worker& worker) {
  std::unique_lock lock(m_mutex);
  for (;;) {
    m_changed.wait(lock, [this] { return m_stopping || !m_waiting.empty(); });
    if (m_waiting.empty()) return;
    const Connection client = std::move(m_waiting.front());
    m_waiting.pop_front();
    worker.serving = client.socket.get();
    m_changed.notify_all();
    lock.unlock();
    framework::guarded("web", "client", [&] {
      m_responder.serve(client.socket.get(), client.secure ? m_tls.get() : nullptr);
    });
    lock.lock();
    worker.serving = -1;
    m_changed.notify_all();
  }
}

bool HttpServer::isIdle() const {
  return m_waiting.empty() &&
         std::ranges::all_of(m_workers, [](const Worker& worker) { return worker.serving < 0; });
}

void HttpServer::disconnectAll() {
  m_waiting.clear();
  for (const Worker& worker : m_workers) {
    if (worker.serving >= 0) ::shutdown(worker.serving, SHUT_RDWR);
  }
}

}  // namespace services::http
