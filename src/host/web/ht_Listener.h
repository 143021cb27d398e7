// A web listener: its port, its clients, and the threads that serve them.
#pragma once

#include <array>
#include <condition_variable>
#include <deque>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/web/ht_Client.h"
#include "host/web/ht_Responder.h"

struct pollfd;

namespace services::http {

/// Serves clients at one port, plain or by TLS; closed at first.
///
/// One thread accepts, reads requests and sends responses, and waits for none of its clients; four
/// render what was asked for. A client takes none of the four before its request is whole, nor
/// while it takes the response. Where there is no room for another client, the one goes that
/// whoMakesRoom() names; while all wait for a page, the next wait in the kernel.
///
/// A kept connection and a stream go with the listener: a client between two requests ends when it
/// closes.
///
/// A listener that was enabled but could not be opened is tried again until it is open or disabled.
/// Any thread may call, as HttpServer says.
class Listener {
 public:
  /// `settings` and `responder` outlive it.
  Listener(const char* name, const WebSettings& settings, int port, bool secure,
           const Responder& responder);
  /// Stops it and waits until its clients are gone.
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  const char* name() const { return m_name; }

  /// Opens it, with the certificate that there is now. Whether it is open then; an error line says
  /// why not.
  bool enable();
  /// Closes the port at once. The clients that it had are served to their end, those that wait in
  /// the kernel too.
  void disable();
  bool isOpen() const;

  /// The certificate that new clients get, with its chain, as PEM text; empty while it is closed.
  std::string certificate() const;
  /// Has new clients get the certificate that there is now; those that it has keep theirs. A
  /// closed listener reads it when it opens.
  void renewCertificate();

  /// Closes it for good and gives its clients the drain limit to end; then they are disconnected. A
  /// page that is being rendered is waited for. The call itself waits for nobody.
  void stop();

 private:
  using Clock = Client::Clock;
  static constexpr auto never = Clock::time_point::max();
  struct Answer {
    Client* client;
    Reply reply;
  };

  bool open();
  bool fail(const std::string& reason);
  void close();
  bool takeOne();
  void accept();
  void wake() const;

  void serve();
  bool isDone() const;
  void round();
  Clock::time_point addListening(std::vector<pollfd>& events);
  void advance(Client& client, Clock::time_point now);
  void takeOver(bool accepting, Clock::time_point now);
  void makeRoom(std::uint32_t newcomer);
  bool isLate(const Client& client, Clock::time_point now) const;
  void render();

  const char* const m_name;
  const WebSettings& m_settings;
  const int m_port;
  const bool m_secure;
  const Responder& m_responder;
  const platform::Descriptor m_wake;  // an event counter: the serving thread shall look around

  mutable std::mutex m_mutex;  // over what follows; a leaf, never held while a client is served
  std::condition_variable m_changed;  // a request came, or the end
  bool m_ended = false;               // there will be no more requests
  std::string m_failure;              // why it is not open, as the log has it
  platform::Descriptor m_socket;
  std::shared_ptr<ssl_ctx_st> m_tls;  // of the last opening
  std::vector<network::Newcomer> m_newcomers;
  std::deque<Client*> m_requests;  // of clients in Page that no thread has taken yet
  std::vector<Answer> m_answers;
  Clock::time_point m_retryAt = never;   // opened again then
  Clock::time_point m_acceptAt = never;  // nobody can be accepted before
  Clock::time_point m_drainEnd = never;  // given once it stops

  std::list<Client> m_clients;  // the serving thread's own, from the oldest to the newest
  std::array<std::thread, 4> m_renderers;
  std::thread m_serving;
};

}  // namespace services::http
