// One web client, from its connection to its end.
#include "host/web/ht_Client.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <string_view>

#include "host/web/ht_Stream.h"

namespace services::http {

namespace {

constexpr std::size_t readAtOnce = 16384;          // no less, or part of a TLS record would stay
constexpr std::size_t largestRemainder = 1 << 20;  // of a body, read to be thrown away
constexpr std::size_t largestPart = 1 << 16;       // of a response, sent at once
constexpr std::size_t largestBody = 1 << 16;       // that is read, by TLS alone
constexpr std::string_view goOn = "HTTP/1.1 100 Continue\r\n\r\n";

ssl_st* newTls(int socket, ssl_ctx_st* context) {
  if (context == nullptr) return nullptr;
  SSL* tls = SSL_new(context);
  if (tls != nullptr) SSL_set_fd(tls, socket);
  return tls;
}

std::string dotted(std::uint32_t address) {
  std::array<char, INET_ADDRSTRLEN> text = {};
  const in_addr binary = {address};
  ::inet_ntop(AF_INET, &binary, text.data(), text.size());
  return text.data();
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
      m_deadline(now + limits.request),
      m_parser(tls == nullptr ? 0 : largestBody) {
  if (tls != nullptr && m_tls == nullptr) m_stage = Stage::Gone;  // never plain instead
}

Client::~Client() {
  if (m_reply.stream != nullptr) m_reply.stream->attach({});
}

network::Occupant Client::occupant() const {
  using network::Progress;
  switch (m_stage) {
    case Stage::Handshake:
    case Stage::Request:
    case Stage::Idle:
      return {m_address, Progress::Asking};
    case Stage::Page:
      return {m_address, Progress::Waiting};
    default:
      return {m_address, Progress::Answered};
  }
}

Client::Clock::time_point Client::deadline() const {
  if (m_stage == Stage::Page) return Clock::time_point::max();
  const bool isTooSlow = m_stage == Stage::Stream && m_reply.stream->isTooSlow();
  return m_stage == Stage::Gone || isTooSlow ? Clock::time_point::min() : m_deadline;
}

void Client::advance(Clock::time_point now) {
  switch (m_stage) {
    case Stage::Handshake:
      return handshake(now);
    case Stage::Request:
    case Stage::Idle:
      return receive(now);
    case Stage::Response:
      return send(now);
    case Stage::Stream:
      return stream(now);
    case Stage::End:
      return drain();
    case Stage::Page:
    case Stage::Gone:
      return;
  }
}

short Client::events() const {
  const bool hasMore = m_stage == Stage::Stream && m_reply.stream->hasMore();
  return static_cast<short>(hasMore ? m_events | POLLOUT : m_events);
}

void Client::respond(Reply reply, const std::function<void()>& wake, Clock::time_point now) {
  m_reply = std::move(reply);
  if (m_reply.stream != nullptr) m_reply.stream->attach(wake);
  if (m_reply.text.empty()) return end(now);
  m_stage = Stage::Response;
  m_events = POLLOUT;
  m_sent = 0;
  m_deadline = now + m_limits.response;
}

void Client::closeWhenIdle(Clock::time_point now) {
  m_reply.keeps = false;
  if (m_stage == Stage::Idle || m_stage == Stage::Stream) end(now);
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

int Client::read(char* data, std::size_t room) {
  ERR_clear_error();
  return m_tls == nullptr ? plainOutcome(::recv(m_socket.get(), data, room, 0), POLLIN)
                          : tlsOutcome(SSL_read(m_tls.get(), data, static_cast<int>(room)));
}

int Client::write(const char* data, std::size_t size) {
  ERR_clear_error();
  return m_tls == nullptr ? plainOutcome(::send(m_socket.get(), data, size, MSG_NOSIGNAL), POLLOUT)
                          : tlsOutcome(SSL_write(m_tls.get(), data, static_cast<int>(size)));
}

void Client::receive(Clock::time_point now) {
  std::array<char, readAtOnce> part;
  const int count = read(part.data(), part.size());
  if (count < 0) return;
  if (count == 0 && !m_parser.isBegun()) return end(now);
  if (m_stage == Stage::Idle) m_deadline = now + m_limits.request;
  m_parser.put({part.data(), static_cast<std::size_t>(count)});
  if (count == 0) m_parser.end();
  take(now);
}

// Takes the request if it is whole. Who waits to be told so sends its body then; the few bytes that
// tell it find room in an empty socket.
void Client::take(Clock::time_point now) {
  m_stage = Stage::Request;
  m_events = POLLIN;
  if (m_parser.takeExpectation() && write(goOn.data(), goOn.size()) == 0) return end(now);
  m_events = POLLIN;
  if (!m_parser.isWhole()) return;
  m_asked = m_parser.take();
  m_asked.request.address = dotted(m_address);
  m_asked.request.secure = m_tls != nullptr;
  m_stage = Stage::Page;
}

void Client::send(Clock::time_point now) {
  const std::string& text = m_reply.text;
  const std::size_t part = std::min(text.size() - m_sent, largestPart);
  const int count = write(text.data() + m_sent, part);
  if (count < 0) return;
  m_sent += static_cast<std::size_t>(count);
  m_events = POLLOUT;
  if (count == 0) return end(now);
  if (m_sent == text.size()) sent(now);
}

// What follows a response. A request that is there already is taken at once.
void Client::sent(Clock::time_point now) {
  m_reply.text = std::string();
  m_sent = 0;
  m_events = POLLIN;
  m_asked = Asked();
  if (m_reply.stream != nullptr) {
    m_stage = Stage::Stream;
    m_deadline = Clock::time_point::max();
  } else if (!m_reply.keeps) {
    end(now);
  } else if (m_parser.isBegun()) {
    m_deadline = now + m_limits.request;
    take(now);
  } else {
    m_stage = Stage::Idle;
    m_deadline = now + m_limits.idle;
  }
}

// Sends what the service has said, and hears whether the client is still there; what it says itself
// is thrown away.
void Client::stream(Clock::time_point now) {
  std::array<char, readAtOnce> part;
  if (read(part.data(), part.size()) == 0) return end(now);
  if (m_reply.stream->isTooSlow()) return;  // its time is up
  m_events = POLLIN;
  if (m_reply.text.empty()) {
    m_reply.text = m_reply.stream->take();
    m_sent = 0;
    m_deadline = m_reply.text.empty() ? Clock::time_point::max() : now + m_limits.response;
  }
  if (m_reply.text.empty()) {
    if (m_reply.stream->isEnded()) end(now);
    return;
  }
  const int count = write(m_reply.text.data() + m_sent, m_reply.text.size() - m_sent);
  if (count == 0) return end(now);
  if (count > 0) m_sent += static_cast<std::size_t>(count);
  if (m_sent == m_reply.text.size()) {
    m_reply.text = std::string();
    m_deadline = Clock::time_point::max();
  } else {
    m_events |= POLLOUT;
  }
}

void Client::end(Clock::time_point now) {
  m_stage = Stage::End;
  m_events = POLLIN;
  m_deadline = now + m_limits.end;
  m_reply.text = std::string();
  if (m_tls != nullptr && SSL_is_init_finished(m_tls.get())) {
    ERR_clear_error();
    SSL_shutdown(m_tls.get());
  }
  ::shutdown(m_socket.get(), SHUT_WR);
}

void Client::drain() {
  std::array<char, readAtOnce> part;
  const int count = plainOutcome(::recv(m_socket.get(), part.data(), part.size(), 0), POLLIN);
  if (count > 0) m_drained += static_cast<std::size_t>(count);
  if (count == 0 || m_drained >= largestRemainder) m_stage = Stage::Gone;
}

}  // namespace services::http
