// A question to a daemon whether it works.
#include "app/supervision/app_Probe.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <system_error>

#include "host/base/fw_Container.h"
#include "host/base/fw_Entrance.h"
#include "util/ut_CommandOutcome.h"

namespace services::app {

namespace {

constexpr int sliceTicks = 10;  // of 10 ms: how soon a stop is noticed

// Where a daemon listens.
struct Address {
  union {
    sockaddr any;
    sockaddr_in tcp;
    sockaddr_un local;
  };
  socklen_t size;
};

class Socket {
 public:
  explicit Socket(const Address& address)
      : m_address(address),
        m_descriptor(
            ::socket(address.any.sa_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)) {}
  ~Socket() {
    if (m_descriptor >= 0) ::close(m_descriptor);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // 0 or the error: EINPROGRESS for a connection that was begun, EAGAIN where the listener has no
  // room yet.
  int connect() const {
    const bool connected =
        m_descriptor >= 0 && ::connect(m_descriptor, &m_address.any, m_address.size) == 0;
    return connected ? 0 : errno;
  }

  // After a slice of time at most: the same, of a connection that was begun.
  int outcome() const {
    pollfd ready = {.fd = m_descriptor, .events = POLLOUT, .revents = 0};
    if (::poll(&ready, 1, sliceTicks * 10) <= 0) return EINPROGRESS;
    int error = 0;
    socklen_t size = sizeof(error);
    return ::getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
  }

  // After a slice of time: the same, of one for which there was no room.
  int again() const {
    taskDelay(sliceTicks);
    return connect();
  }

 private:
  const Address& m_address;
  int m_descriptor;
};

int portOf(const std::string& text) {
  int port = 0;
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(text.data(), end, port);
  return error == std::errc() && last == end && port >= 1 && port <= 65535 ? port : 0;
}

Address portAddress(const std::string& port) {
  Address address = {.tcp = {}, .size = sizeof(sockaddr_in)};
  address.tcp.sin_family = AF_INET;
  address.tcp.sin_port = htons(static_cast<std::uint16_t>(portOf(port)));
  address.tcp.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Address pathAddress(const std::string& path) {
  Address address = {.local = {}, .size = sizeof(sockaddr_un)};
  address.local.sun_family = AF_UNIX;
  std::memcpy(address.local.sun_path, path.c_str(), path.size() + 1);
  return address;
}

bool isCommand(const std::string& text) {
  const std::size_t last = text.find_last_not_of(' ');
  const bool printable = std::ranges::none_of(
      text, [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; });
  return last != std::string::npos && text[last] != '&' && printable;
}

std::string run(const std::string& command, int limitSeconds) {
  const framework::CommandBudget limit(limitSeconds);
  utility::CommandOutcome outcome;
  framework::Container::spawnFor(
      command.c_str(), framework::Container::Fault::CallersAffair,
      [&outcome](const utility::CommandOutcome& told) { outcome = told; });
  const bool well = outcome.isEnded() && !outcome.isFailed();
  return well ? "" : outcome.text();
}

}  // namespace

std::optional<Probe> Probe::parse(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) return std::nullopt;
  const std::string kind = text.substr(0, colon);
  const std::string target = text.substr(colon + 1);
  if (kind == "tcp" && portOf(target) > 0) return Probe(Kind::Tcp, text, target);
  if (kind == "unix" && framework::isSafePath(target.c_str()) &&
      target.size() < sizeof(sockaddr_un::sun_path)) {
    return Probe(Kind::Unix, text, target);
  }
  if (kind == "exec" && isCommand(target)) return Probe(Kind::Exec, text, target);
  return std::nullopt;
}

std::string Probe::ask(int limitSeconds, const std::function<bool()>& stopped) const {
  if (m_kind == Kind::Exec) return run(m_target, limitSeconds);
  const Address address = m_kind == Kind::Tcp ? portAddress(m_target) : pathAddress(m_target);
  const Socket socket(address);
  int error = socket.connect();
  const auto isOpen = [&error] { return error == EINPROGRESS || error == EAGAIN; };
  for (int left = limitSeconds * 100; isOpen() && left > 0 && !stopped(); left -= sliceTicks) {
    error = error == EAGAIN ? socket.again() : socket.outcome();
  }
  if (error == 0) return "";
  if (isOpen()) return "no connection within " + std::to_string(limitSeconds) + " s";
  return std::generic_category().message(error);
}

}  // namespace services::app
