// One web client, from its connection to its end.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

#include "host/network/nw_ListeningSocket.h"
#include "host/network/nw_Room.h"
#include "host/web/ht_Responder.h"
#include "host/web/ht_WebSettings.h"

struct ssl_ctx_st;
struct ssl_st;

namespace services::http {

/// A connection, plain or by TLS, with its requests and responses. It is driven by whoever polls
/// its socket, and no call waits: the client has its time for each stage, however slowly the bytes
/// come.
///
/// Handshake and Request share a time limit, Response has one, and so has End: the client is told
/// that nothing more is sent, and may close first, since closing while bytes of its own are unread
/// would take the response away from it. In Page the client waits for us, without a limit. Idle is
/// the time between a response and the next request. In Stream a service says more whenever it
/// likes, and the client has the time of a response to take it; one for which there is no room any
/// more is late at once, whether or not its socket takes anything.
class Client {
 public:
  using Clock = std::chrono::steady_clock;
  enum class Stage { Handshake, Request, Page, Response, Idle, Stream, End, Gone };

  /// Plain without a context.
  Client(network::Newcomer newcomer, ssl_ctx_st* tls, const WebLimits& limits,
         Clock::time_point now);

  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client();

  Stage stage() const { return m_stage; }
  network::Occupant occupant() const;
  /// What to poll(2) for: the socket, -1 in Page, and the events.
  int socket() const { return m_stage == Stage::Page ? -1 : m_socket.get(); }
  short events() const;
  /// When its time is up, unless it gets further.
  Clock::time_point deadline() const;

  /// Does one piece of what can be done without waiting; in Page nothing.
  void advance(Clock::time_point now);
  /// In Page: the request. Any thread may read it then.
  const Asked& asked() const { return m_asked; }
  /// Ends Page. A reply without a text ends the connection; a stream's `wake` is called by any
  /// thread when there is more to send.
  void respond(Reply reply, const std::function<void()>& wake, Clock::time_point now);
  /// No further request is taken: one that has not begun ends the connection.
  void closeWhenIdle(Clock::time_point now);

 private:
  void handshake(Clock::time_point now);
  void receive(Clock::time_point now);
  void take(Clock::time_point now);
  void send(Clock::time_point now);
  void sent(Clock::time_point now);
  void stream(Clock::time_point now);
  int read(char* data, std::size_t room);
  int write(const char* data, std::size_t size);
  void drain();
  void end(Clock::time_point now);
  int plainOutcome(long result, short events);
  int tlsOutcome(int result);

  platform::Descriptor m_socket;
  const std::uint32_t m_address;
  const WebLimits& m_limits;
  const std::unique_ptr<ssl_st, void (*)(ssl_st*)> m_tls;
  Stage m_stage;
  short m_events;
  Clock::time_point m_deadline;
  RequestParser m_parser;
  Asked m_asked;
  Reply m_reply;
  std::size_t m_sent = 0;     // of the reply's text
  std::size_t m_drained = 0;  // bytes behind the request, thrown away
};

}  // namespace services::http
