// The console's Unix socket: making it, reaching it, and what goes over it.
#include "host/console/fw_ConsoleSocket.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <optional>
#include <utility>

namespace framework {

namespace {

std::optional<sockaddr_un> addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty() || path.size() >= sizeof address.sun_path) return std::nullopt;
  path.copy(address.sun_path, path.size());
  return address;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

std::string failure(const std::string& path, const char* what) {
  return path + ": " + what + ": " + std::strerror(errno);
}

platform::Descriptor newSocket(int flags) {
  return platform::Descriptor(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | flags, 0));
}

constexpr std::chrono::seconds connectLimit(5);

// Makes way for a new socket. An error when something stands there that is no left-over of ours.
std::string clearPath(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) {
    return errno == ENOENT ? "" : failure(path, "cannot be looked at");
  }
  if (!S_ISSOCK(status.st_mode)) return path + ": is there and is no socket";
  if (connectTo(path).isOpen()) return path + ": another host answers there";
  if (errno != ECONNREFUSED) return failure(path, "cannot tell whether a host answers there");
  return ::unlink(path.c_str()) == 0 ? "" : failure(path, "cannot be replaced");
}

std::string makeDirectoryOf(const std::string& path) {
  const std::string directory = std::filesystem::path(path).parent_path();
  if (directory.empty() || ::mkdir(directory.c_str(), S_IRWXU) == 0 || errno == EEXIST) return "";
  return failure(directory, "cannot be made");
}

}  // namespace

platform::Descriptor lockBeside(const std::string& path, const std::function<bool()>& pause,
                                std::string& error) {
  platform::Descriptor lock;
  const std::string file = path + ".lock";
  error = makeDirectoryOf(path);
  if (!error.empty()) return lock;
  lock.reset(::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
  if (!lock.isOpen()) error = failure(file, "cannot be opened");
  while (error.empty() && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      error = failure(file, "cannot be locked");
    } else if (connectTo(path).isOpen()) {
      error = path + ": another host answers there";
    } else if (!pause()) {
      error = file + ": another host holds it and has not ended";
    }
  }
  if (!error.empty()) lock.reset();
  return lock;
}

platform::Descriptor listenAt(const std::string& path, std::string& error) {
  platform::Descriptor none;
  const auto address = addressOf(path);
  error = address ? "" : path + ": is no path for a socket (1 to 107 bytes)";
  if (error.empty()) error = clearPath(path);
  if (!error.empty()) return none;
  platform::Descriptor socket = newSocket(SOCK_NONBLOCK);
  // The mode before the binding is that of the file, so there is no moment at which it is wider.
  if (::fchmod(socket.get(), S_IRUSR | S_IWUSR) != 0 ||
      ::bind(socket.get(), generic(*address), sizeof *address) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0) {
    error = failure(path, "cannot listen");
    return none;
  }
  return socket;
}

platform::Descriptor connectTo(const std::string& path) {
  const auto address = addressOf(path);
  if (!address) {
    errno = ENAMETOOLONG;
    return platform::Descriptor();
  }
  platform::Descriptor socket = newSocket(0);
  limitSends(socket.get(), connectLimit);
  if (::connect(socket.get(), generic(*address), sizeof *address) == 0) return socket;
  const int reason = errno;
  socket.reset();
  errno = reason;
  return socket;
}

void limitSends(int socket, std::chrono::milliseconds limit) {
  const timeval time{.tv_sec = limit.count() / 1000, .tv_usec = limit.count() % 1000 * 1000};
  ::setsockopt(socket, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
}

bool sendAll(int socket, std::string_view data) {
  while (!data.empty()) {
    const ssize_t sent = ::send(socket, data.data(), data.size(), MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    data.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

std::string replyFrame(int code, const std::string& text) {
  return std::to_string(code) + ' ' + std::to_string(text.size()) + '\n' + text;
}

bool sendReply(int socket, int code, const std::string& text) {
  return sendAll(socket, replyFrame(code, text));
}

LineReader::Result LineReader::next(std::string& line) {
  std::size_t skipped = 0;
  while (skipped <= maxConsoleSkip) {
    const std::size_t end = m_received.find('\n', m_begin);
    if (end != std::string::npos) {
      line.assign(m_received, m_begin, end - m_begin);
      m_begin = end + 1;
      return skipped > 0 || line.size() > maxConsoleLine ? Result::TooLong : Result::Line;
    }
    m_received.erase(0, std::exchange(m_begin, 0));
    if (m_received.size() > maxConsoleLine) {
      skipped += m_received.size();
      m_received.clear();
    }
    if (!receive()) break;
  }
  return Result::End;
}

bool LineReader::takeEmpty() {
  if (m_begin == m_received.size() || m_received[m_begin] != '\n') return false;
  ++m_begin;
  return true;
}

bool LineReader::receive() {
  std::array<char, maxConsoleLine> chunk;
  ssize_t received = 0;
  do {
    received = ::recv(m_socket, chunk.data(), chunk.size(), 0);
  } while (received < 0 && errno == EINTR);
  if (received <= 0) return false;
  m_received.append(chunk.data(), static_cast<std::size_t>(received));
  return true;
}

}  // namespace framework
