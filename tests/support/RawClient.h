// A client of a TCP port that sends what it likes.
#pragma once

#include "host/machine/Descriptor.h"
#include "support/Test.h"

namespace test {

/// A connection to a port at ownAddress(); reads give up after ten seconds.
class RawClient {
 public:
  explicit RawClient(int port, timeval connectLimit = {.tv_sec = 10, .tv_usec = 0})
      : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(static_cast<std::uint16_t>(port));
    ::inet_pton(AF_INET, ownAddress().c_str(), &place.sin_addr);
    const timeval limit{.tv_sec = 10, .tv_usec = 0};
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_SNDTIMEO, &connectLimit, sizeof connectLimit);
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    const auto* generic = reinterpret_cast<const sockaddr*>(&place);
    m_error = ::connect(m_socket.get(), generic, sizeof place) == 0 ? 0 : errno;
  }

  bool connected() const { return m_error == 0; }
  bool refused() const { return m_error == ECONNREFUSED; }
  bool send(const std::string& text) {
    return ::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL) >= 0;
  }
  /// Says that nothing more is sent.
  void finish() { ::shutdown(m_socket.get(), SHUT_WR); }
  /// All that comes until the server ends the connection, and " LOST" when that is not in order,
  /// " LATE" when reading was given up.
  std::string reply() {
    std::string text;
    std::array<char, 4096> part;
    ssize_t count = 0;
    while ((count = ::recv(m_socket.get(), part.data(), part.size(), 0)) > 0) {
      text.append(part.data(), static_cast<std::size_t>(count));
    }
    if (count < 0) text += errno == EAGAIN ? " LATE" : " LOST";
    return text;
  }
  std::string ask(const std::string& request) {
    send(request);
    return reply();
  }

 private:
  platform::Descriptor m_socket;
  int m_error = 0;
};

}  // namespace test
