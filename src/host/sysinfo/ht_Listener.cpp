// Sockets that listen, and closing one without losing who is already there.
#include "host/sysinfo/ht_Listener.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <cstdint>

namespace services::http {

namespace {
constexpr int backlog = 128;
constexpr int setUpMilliseconds = 5;
}  // namespace

platform::Descriptor listenAt(const std::string& address, int port) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(static_cast<std::uint16_t>(port));
  ::inet_pton(AF_INET, address.c_str(), &place.sin_addr);
  platform::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int on = 1;
  if (::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
      ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0 &&
      ::listen(socket.get(), backlog) == 0) {
    return socket;
  }
  const int reason = errno;
  socket.reset();
  errno = reason;
  return socket;
}

// A filter over the TCP header drops what has SYN set: a client sends that only to begin.
void turnAwayNewcomers(int listener) {
  constexpr std::uint32_t flagsOffset = 13;
  constexpr std::uint32_t syn = 2;
  constexpr std::uint32_t all = 0xffff;
  std::array<sock_filter, 4> code = {{BPF_STMT(BPF_LD | BPF_B | BPF_ABS, flagsOffset),
                                      BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, syn, 0, 1),
                                      BPF_STMT(BPF_RET | BPF_K, 0),
                                      BPF_STMT(BPF_RET | BPF_K, all)}};
  const sock_fprog filter{.len = code.size(), .filter = code.data()};
  ::setsockopt(listener, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter);
}

bool comesYet(int listener) {
  pollfd event{.fd = listener, .events = POLLIN, .revents = 0};
  return ::poll(&event, 1, setUpMilliseconds) == 1;
}

}  // namespace services::http
