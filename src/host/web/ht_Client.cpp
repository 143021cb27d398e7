// One web client, from its connection to its end.
#include "host/web/ht_Client.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace services::http {

namespace {

constexpr std::size_t largestRequest = 8192;
constexpr std::size_t largestRemainder = 1 << 20;  // of a body, read to be thrown away
constexpr std::size_t largestPart = 1 << 16;       // of a response, sent at once
constexpr const char* emptyLine = "\r\n\r\n";

ssl_st* newTls(int socket, ssl_ctx_st* context) {
  if (context == nullptr) return nullptr;
  SSL* tls = SSL_new(context);
  if (tls != nullptr) SSL_set_fd(tls, socket);
  return tls;
}

}  // namespace

Client::Client(network::Newcomer newcomer, ssl_ctx_st* tls, const WebLimits& limits,
               Clock::time_point now)
    : m_socket(std::move(newcomer.socket)),
      m_address(newcomer.address),
      m_limits(limits),
      m_tls(newTls(m_socket.get(), tls), SSL_free),
      m_stage(tls == nullptr ? Stage::Request : Stage::Handshake),
      m_events(POLLIN),
      m_deadline(now + limits.request) {
  if (tls != nullptr && m_tls == nullptr) m_stage = Stage::Gone;  // never plain instead
}

network::Occupant Client::occupant() const {
  using network::Progress;
  switch (m_stage) {
    case Stage::Handshake:
    case Stage::Request:
      return {m_address, Progress::Asking};
    case Stage::Page:
      return {m_address, Progress::Waiting};
    default:
      return {m_address, Progress::Answered};
  }
}

Client::Clock::time_point Client::deadline() const {
  if (m_stage == Stage::Page) return Clock::time_point::max();
  return m_stage == Stage::Gone ? Clock::time_point::min() : m_deadline;
}

void Client::advance(Clock::time_point now) {
  switch (m_stage) {
    case Stage::Handshake:
      return handshake(now);
    case Stage::Request:
      return receive(now);
    case Stage::Response:
      return send(now);
    case Stage::End:
      return drain();
    case Stage::Page:
    case Stage::Gone:
      return;
  }
}

void Client::respond(std::string response, Clock::time_point now) {
  m_response = std::move(response);
  if (m_response.empty()) return end(now);
  m_stage = Stage::Response;
  m_events = POLLOUT;
  m_deadline = now + m_limits.response;
}

// A result is a positive count, 0 at the end or a failure, and negative when it is to be tried
// again after the events.
int Client::plainOutcome(long result, short events) {
  if (result >= 0) return static_cast<int>(result);
  m_events = events;
  return errno == EAGAIN || errno == EINTR ? -1 : 0;
}

int Client::tlsOutcome(int result) {
  if (result > 0) return result;
  const int error = SSL_get_error(m_tls.get(), result);
  m_events = error == SSL_ERROR_WANT_WRITE ? POLLOUT : POLLIN;
  return error == SSL_ERROR_WANT_READ || error == SSL_ERROR_WANT_WRITE ? -1 : 0;
}

void Client::handshake(Clock::time_point now) {
  ERR_clear_error();
  const int result = tlsOutcome(SSL_accept(m_tls.get()));
  if (result == 0) return end(now);
  if (result < 0) return;
  m_stage = Stage::Request;
  m_events = POLLIN;
}

void Client::receive(Clock::time_point now) {
  std::array<char, largestRequest> part;
  const std::size_t room = largestRequest - m_request.size();
  ERR_clear_error();
  const int count = m_tls == nullptr
                        ? plainOutcome(::recv(m_socket.get(), part.data(), room, 0), POLLIN)
                        : tlsOutcome(SSL_read(m_tls.get(), part.data(), static_cast<int>(room)));
  if (count < 0) return;
  m_request.append(part.data(), static_cast<std::size_t>(count));
  if (m_request.empty()) return end(now);
  const bool isWhole = count == 0 || m_request.size() == largestRequest ||
                       m_request.find(emptyLine) != std::string::npos;
  m_stage = isWhole ? Stage::Page : Stage::Request;
  m_events = POLLIN;
}

void Client::send(Clock::time_point now) {
  const std::size_t part = std::min(m_response.size() - m_sent, largestPart);
  const char* data = m_response.data() + m_sent;
  ERR_clear_error();
  const int count = m_tls == nullptr
                        ? plainOutcome(::send(m_socket.get(), data, part, MSG_NOSIGNAL), POLLOUT)
                        : tlsOutcome(SSL_write(m_tls.get(), data, static_cast<int>(part)));
  if (count < 0) return;
  m_sent += static_cast<std::size_t>(count);
  m_events = POLLOUT;
  if (count == 0 || m_sent == m_response.size()) end(now);
}

void Client::end(Clock::time_point now) {
  m_stage = Stage::End;
  m_events = POLLIN;
  m_deadline = now + m_limits.end;
  m_response = std::string();
  if (m_tls != nullptr && SSL_is_init_finished(m_tls.get())) {
    ERR_clear_error();
    SSL_shutdown(m_tls.get());
  }
  ::shutdown(m_socket.get(), SHUT_WR);
}

void Client::drain() {
  std::array<char, largestRequest> part;
  const int count = plainOutcome(::recv(m_socket.get(), part.data(), part.size(), 0), POLLIN);
  if (count > 0) m_drained += static_cast<std::size_t>(count);
  if (count == 0 || m_drained >= largestRemainder) m_stage = Stage::Gone;
}

}  // namespace services::http
