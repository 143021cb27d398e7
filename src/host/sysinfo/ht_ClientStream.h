// The stream to one web client, with limits on time and size.
#pragma once

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>

struct ssl_ctx_st;
struct ssl_st;

namespace services::http {

/// Reads from and writes to a non-blocking socket, plain or by TLS, each of its three stages within
/// one time limit however slowly the bytes come: the request (with the handshake), the response,
/// the end. One thread at a time.
class ClientStream {
 public:
  /// Plain without a context. The socket stays the caller's.
  ClientStream(int socket, ssl_ctx_st* tls);

  /// The TLS handshake; nothing when plain. False when it fails or time is up.
  bool begin();
  /// At most `size` bytes of the request, as soon as there are some; -1 at its end, when time is up
  /// and behind the largest request.
  ssize_t read(char* data, std::size_t size);
  /// All of the bytes; the first call begins the response. -1 when time is up or the client is
  /// gone.
  ssize_t write(const char* data, std::size_t size);
  /// Says that nothing more is sent and waits for the client to say so too: closing while bytes of
  /// its own are unread would take the response away from it.
  void end();

 private:
  template <typename Attempt>
  int within(Attempt attempt) const;
  int receive(char* data, int size);
  int send(const char* data, int size);
  int outcome(int result) const;
  void beginStage(std::chrono::milliseconds limit);

  const int m_socket;
  const std::unique_ptr<ssl_st, void (*)(ssl_st*)> m_tls;
  std::chrono::steady_clock::time_point m_deadline;
  bool m_responding = false;
  std::size_t m_requestRoom;
  std::array<char, 1024> m_received;
  std::size_t m_taken = 0;   // of m_received
  std::size_t m_filled = 0;  // of m_received
};

}  // namespace services::http
