// Sockets that listen, and closing one without losing who is already there.
#include "host/network/nw_ListeningSocket.h"

#include <arpa/inet.h>
#include <linux/filter.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

namespace services::network {

using platform::Descriptor;

namespace {

constexpr int backlog = 128;

bool bindTo(int socket, const std::string& address, int port) {
  sockaddr_in place{};
  place.sin_family = AF_INET;
  place.sin_port = htons(static_cast<std::uint16_t>(port));
  ::inet_pton(AF_INET, address.c_str(), &place.sin_addr);
  return ::bind(socket, reinterpret_cast<const sockaddr*>(&place), sizeof place) == 0;
}

}  // namespace

Descriptor listenAt(const std::string& address, int port) {
  Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  const int on = 1;
  ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  ::setsockopt(socket.get(), IPPROTO_IP, IP_FREEBIND, &on, sizeof on);
  if (bindTo(socket.get(), address, port) && ::listen(socket.get(), backlog) == 0) return socket;
  const int reason = errno;
  socket.reset();
  errno = reason;
  return socket;
}

bool isHere(const std::string& address) {
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  return bindTo(socket.get(), address, 0);
}

std::optional<Newcomer> acceptFrom(int listener) {
  sockaddr_in from{};
  socklen_t size = sizeof from;
  Descriptor socket(
      ::accept4(listener, reinterpret_cast<sockaddr*>(&from), &size, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (!socket.isOpen()) return std::nullopt;
  return Newcomer{std::move(socket), from.sin_addr.s_addr};
}

bool isNobody(int error) { return error == EAGAIN || error == EINTR || error == ECONNABORTED; }

int millisecondsTo(std::chrono::steady_clock::time_point time) {
  using Clock = std::chrono::steady_clock;
  if (time == Clock::time_point::max()) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
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

bool comesYet(int listener, int milliseconds) {
  pollfd event{.fd = listener, .events = POLLIN, .revents = 0};
  return ::poll(&event, 1, milliseconds) == 1;
}

}  // namespace services::network
