// The web listeners: opening, closing, and the threads that serve their clients.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>

#include "host/platform/Descriptor.h"
#include "host/sysinfo/ht_Responder.h"
#include "host/sysinfo/ht_WebSettings.h"

namespace services::http {

/// Serves one read-only page by two listeners, "StandardListener" (plain) and "SSLListener"
/// (TLS 1.2 or later), both closed at first.
///
/// Closing a listener closes its port at once; the connections that it had are served to their end,
/// those among them that no thread has taken yet too. Eight threads serve the clients of both, one
/// request a connection; 64 connections wait for them, and 128 more in the kernel. One thread
/// accepts. The threads are made with the object and go with it.
///
/// The switches may be called by any thread, a page being rendered included, and with any lock
/// held: they wait for no client and call nothing that takes a lock but the log's queue.
class HttpServer {
 public:
  /// Makes the certificate when it is needed; without one the TLS listener does not open. There is
  /// one server at a time.
  HttpServer(const WebSettings& settings, Responder::Page page);

  /// Closes the listeners and gives clients a second to end; then they are disconnected. A page
  /// that is being rendered is waited for. No other call may run.
  ~HttpServer();
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  /// The server, or null while there is none.
  static HttpServer* getSingleton() { return m_pSingleton; }

  /// Opens a listener. True when it is open then; false, with an error line, when there is none of
  /// that name, its port cannot be had or its certificate is missing.
  bool enableConnections(const char* listener);

  /// Closes a listener. True when it is closed then; false, with an error line, when there is none
  /// of that name.
  bool disableConnections(const char* listener);

  /// Whether a listener is open; false for an unknown one.
  bool isEnabledConnections(const char* listener) const;

 private:
  static constexpr std::size_t workerCount = 8;

  struct Listener {
    const char* name;
    int port;
    bool secure;
    platform::Descriptor socket = platform::Descriptor();
  };
  struct Connection {
    platform::Descriptor socket;
    bool secure;
  };
  struct Worker {
    int serving = -1;  // the socket of its client
    std::thread thread = {};
  };

  Listener* find(const char* name);
  Listener* findOrSay(const char* name);
  bool open(Listener& listener);
  void close(Listener& listener);
  bool watch(int socket, std::uint32_t what) const;
  bool take(const Listener& listener);
  void acceptClients();
  void accept(const Listener& listener, std::unique_lock<std::mutex>& lock);
  void work(Worker& worker);
  bool isIdle() const;
  void disconnectAll();

  static std::atomic<HttpServer*> m_pSingleton;

  const std::string m_address;
  const Responder m_responder;
  const std::shared_ptr<ssl_ctx_st> m_tls;
  const platform::Descriptor m_wake;    // an event counter: the server stops
  const platform::Descriptor m_events;  // an epoll(7) descriptor over the open listeners and m_wake

  mutable std::mutex m_mutex;  // over what follows; a leaf, never held while a client is served
  std::condition_variable m_changed;  // a connection came, was taken or has ended; or the stop
  bool m_stopping = false;
  std::array<Listener, 2> m_listeners;
  std::deque<Connection> m_waiting;
  std::array<Worker, workerCount> m_workers;

  std::thread m_accepting;
};

}  // namespace services::http
