// The stream to one web client, with limits on time and size.
#include "host/sysinfo/ht_ClientStream.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <new>

namespace services::http {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds requestLimit(5000);
constexpr milliseconds responseLimit(5000);
constexpr milliseconds endLimit(1000);
constexpr std::size_t largestRequest = 8192;
constexpr std::size_t largestRemainder = 1 << 20;  // of a body, read to be thrown away

ssl_st* newTls(int socket, ssl_ctx_st* context) {
  if (context == nullptr) return nullptr;
  SSL* tls = SSL_new(context);
  if (tls == nullptr || SSL_set_fd(tls, socket) != 1)
    throw std::bad_alloc();  // never plain instead
  return tls;
}

// What an attempt on a plain socket answers in place of recv(2)'s and send(2)'s result.
int plainOutcome(ssize_t result, int event) {
  if (result >= 0) return static_cast<int>(result);
  if (errno == EINTR) return -(POLLIN | POLLOUT);
  return errno == EAGAIN ? -event : 0;
}

}  // namespace

ClientStream::ClientStream(int socket, ssl_ctx_st* tls)
    : m_socket(socket), m_tls(newTls(socket, tls), SSL_free), m_requestRoom(largestRequest) {
  beginStage(requestLimit);
}

void ClientStream::beginStage(milliseconds limit) { m_deadline = steady_clock::now() + limit; }

// Attempts until there is a result: a positive count, or 0 at the end. A negative one stands for
// the events to wait for.
template <typename Attempt>
int ClientStream::within(Attempt attempt) const {
  for (;;) {
    const int result = attempt();
    if (result >= 0) return result;
    const auto left = std::chrono::ceil<milliseconds>(m_deadline - steady_clock::now()).count();
    pollfd event{.fd = m_socket, .events = static_cast<short>(-result), .revents = 0};
    if (left <= 0 || ::poll(&event, 1, static_cast<int>(left)) == 0) return 0;
  }
}

int ClientStream::outcome(int result) const {
  if (result > 0) return result;
  switch (SSL_get_error(m_tls.get(), result)) {
    case SSL_ERROR_WANT_READ:
      return -POLLIN;
    case SSL_ERROR_WANT_WRITE:
      return -POLLOUT;
    default:
      return 0;
  }
}

int ClientStream::receive(char* data, int size) {
  return within([&] {
    if (m_tls == nullptr) {
      return plainOutcome(::recv(m_socket, data, static_cast<std::size_t>(size), 0), POLLIN);
    }
    ERR_clear_error();
    return outcome(SSL_read(m_tls.get(), data, size));
  });
}

int ClientStream::send(const char* data, int size) {
  return within([&] {
    if (m_tls == nullptr) {
      const auto length = static_cast<std::size_t>(size);
      return plainOutcome(::send(m_socket, data, length, MSG_NOSIGNAL), POLLOUT);
    }
    ERR_clear_error();
    return outcome(SSL_write(m_tls.get(), data, size));
  });
}

bool ClientStream::begin() {
  if (m_tls == nullptr) return true;
  return within([this] {
           ERR_clear_error();
           return outcome(SSL_accept(m_tls.get()));
         }) > 0;
}

ssize_t ClientStream::read(char* data, std::size_t size) {
  if (m_taken == m_filled) {
    const std::size_t room = std::min(m_received.size(), m_requestRoom);
    const int count = room == 0 ? 0 : receive(m_received.data(), static_cast<int>(room));
    if (count <= 0) return -1;
    m_taken = 0;
    m_filled = static_cast<std::size_t>(count);
    m_requestRoom -= m_filled;
  }
  const std::size_t count = std::min(size, m_filled - m_taken);
  std::copy_n(m_received.data() + m_taken, count, data);
  m_taken += count;
  return static_cast<ssize_t>(count);
}

ssize_t ClientStream::write(const char* data, std::size_t size) {
  if (!m_responding) beginStage(responseLimit);
  m_responding = true;
  for (std::size_t done = 0; done < size;) {
    const std::size_t part = std::min<std::size_t>(size - done, INT_MAX);
    const int count = send(data + done, static_cast<int>(part));
    if (count <= 0) return -1;
    done += static_cast<std::size_t>(count);
  }
  return static_cast<ssize_t>(size);
}

void ClientStream::end() {
  beginStage(endLimit);
  if (m_tls != nullptr && SSL_is_init_finished(m_tls.get())) {
    ERR_clear_error();
    SSL_shutdown(m_tls.get());
  }
  ::shutdown(m_socket, SHUT_WR);
  for (std::size_t total = 0; total < largestRemainder;) {
    const int count = within([this] {
      return plainOutcome(::recv(m_socket, m_received.data(), m_received.size(), 0), POLLIN);
    });
    if (count <= 0) return;
    total += static_cast<std::size_t>(count);
  }
}

}  // namespace services::http
