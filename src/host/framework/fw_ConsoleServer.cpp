// Serves the console to its clients over a Unix socket.
#include "host/framework/fw_ConsoleServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "host/framework/fw_CommandLine.h"
#include "host/framework/fw_ConsoleSocket.h"
#include "host/framework/fw_Container.h"
#include "host/framework/fw_Guarded.h"

namespace framework {

namespace {

constexpr int pauseMilliseconds = 1000;
constexpr const char* disabledText =
    "the console is disabled; the local root enables it by: interface up Debug\n";

bool isEnabling(const std::string& line) {
  std::string error;
  return splitLine(line, error) == std::vector<std::string>{"interface", "up", "Debug"};
}

// Answers one line that was read. False when the client does not take the reply.
bool answer(int socket, Console& console) {
  std::string text;
  const int code = console.takeReply(text);
  if (sendReply(socket, code, text)) return true;
  if (errno == EAGAIN) {
    Logger::StaticLog(LogType::Warning, "console: client %d does not read its replies: closed",
                      console.getPeer());
  }
  return false;
}

}  // namespace

ConsoleServer::ConsoleServer(const Shell& shell, std::chrono::milliseconds sendLimit)
    : m_shell(shell), m_sendLimit(sendLimit), m_wake(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  Container::setConsole(&m_console);
}

ConsoleServer::~ConsoleServer() {
  stop();
  Container::setConsole(nullptr);
}

const char* ConsoleServer::refusalOf(uid_t peer, uid_t host, bool enabled) {
  if (peer != host && peer != 0) return "the console is for the host's own user\n";
  if (!enabled && peer != 0) return disabledText;
  return nullptr;
}

const char* ConsoleServer::refusalOf(uid_t peer, uid_t host, bool enabled,
                                     const std::string& line) {
  const char* refusal = refusalOf(peer, host, enabled);
  if (refusal != nullptr || enabled || isEnabling(line)) return refusal;
  return disabledText;
}

std::string ConsoleServer::listen(const std::string& path) {
  std::string error;
  m_listener = listenAt(path, error);
  m_path = path;
  return error;
}

void ConsoleServer::start() {
  m_stopping = false;
  m_thread = std::thread([this] { run(); });
}

void ConsoleServer::stop() {
  if (!m_listener.isOpen()) return;
  m_stopping = true;
  ::eventfd_write(m_wake.get(), 1);
  if (error.empty()) ::lstat(path.c_str(), &m_file);
  if (m_thread.joinable()) m_thread.join();
  struct stat file {};
  const bool there = ::lstat(m_path.c_str(), &file) == 0;
  if (there && file.st_dev == m_file.st_dev && file.st_ino == m_file.st_ino) {
    ::unlink(m_path.c_str());
  }
  m_listener.reset();
  for (Client& client : m_clients) ::shutdown(client.socket.get(), SHUT_RDWR);
  for (Client& client : m_clients) client.thread.join();
  m_clients.clear();
}

void ConsoleServer::run() {
  while (!m_stopping) {
    std::array<pollfd, 2> events = {{{.fd = m_listener.get(), .events = POLLIN, .revents = 0},
                                     {.fd = m_wake.get(), .events = POLLIN, .revents = 0}}};
    ::poll(events.data(), events.size(), -1);
    eventfd_t count = 0;
    ::eventfd_read(m_wake.get(), &count);
    reap();
    if (!m_stopping && events[0].revents != 0) admit();
  }
}

void ConsoleServer::admit() {
  platform::Descriptor socket(::accept4(m_listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!socket.isOpen()) {
    if (errno != EAGAIN && errno != EINTR && errno != ECONNABORTED) pauseAccepting();
    return;
  }
  limitSends(socket.get(), m_sendLimit);
  if (!guarded("console", "accepting a client", [&] { accept(std::move(socket)); })) {
    std::erase_if(m_clients, [](const Client& client) { return !client.thread.joinable(); });
  }
}

// Without this, a lack of descriptors would keep the thread spinning.
void ConsoleServer::pauseAccepting() const {
  Logger::StaticLog(LogType::Error, "console: cannot accept a client: %s", std::strerror(errno));
  pollfd event{.fd = m_wake.get(), .events = POLLIN, .revents = 0};
  ::poll(&event, 1, pauseMilliseconds);
}

void ConsoleServer::accept(platform::Descriptor socket) {
  ucred peer{.pid = 0, .uid = static_cast<uid_t>(-1), .gid = static_cast<gid_t>(-1)};
  socklen_t size = sizeof peer;
  ::getsockopt(socket.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size);
  const char* refusal = refusalOf(peer.uid, ::geteuid(), m_console.isEnabled());
  if (refusal == nullptr && m_clients.size() >= maxClients) refusal = "too many clients\n";
  if (refusal != nullptr) {
    sendReply(socket.get(), Refused, refusal);
    return;
  }
  Client& client = m_clients.emplace_back();
  client.socket = std::move(socket);
  client.peer = peer;
  client.thread = std::thread([this, &client] { serve(client); });
}

void ConsoleServer::serve(Client& client) {
  guarded("console", "client", [&] { converse(client); });
  ::shutdown(client.socket.get(), SHUT_RDWR);
  client.done = true;
  ::eventfd_write(m_wake.get(), 1);
}

void ConsoleServer::converse(const Client& client) const {
  Console console(client.peer.pid);
  LineReader reader(client.socket.get());
  std::string line;
  for (auto read = reader.next(line); read != LineReader::Result::End; read = reader.next(line)) {
    const char* refusal = refusalOf(client.peer.uid, ::geteuid(), m_console.isEnabled(), line);
    if (refusal != nullptr) {
      console.reply(Refused, "%s", refusal);
    } else if (read == LineReader::Result::TooLong) {
      console.reply(Refused, "a line may have %zu bytes; this one was skipped\n", maxConsoleLine);
    } else {
      m_shell.execute(line, console);
    }
    const bool taken = answer(client.socket.get(), console);
    console.replySent();
    if (!taken) return;
  }
}

void ConsoleServer::reap() {
  std::erase_if(m_clients, [](Client& client) {
    if (!client.done) return false;
    client.thread.join();
    return true;
  });
}

}  // namespace framework
