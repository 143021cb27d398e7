// Serves the console to its clients over a Unix socket.
#include "host/console/fw_ConsoleServer.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>

#include "host/base/fw_Container.h"
#include "host/base/fw_Guarded.h"
#include "host/console/fw_TypedLine.h"

namespace framework {

namespace {

constexpr int pauseMilliseconds = 1000;

std::string disabledText(const std::string& enabling) {
  const std::string disabled = "the console is disabled";
  return enabling.empty() ? disabled + "\n"
                          : disabled + "; the local root enables it by: " + enabling + "\n";
}

bool isSameCommand(const std::string& line, const std::string& other) {
  std::string error;
  const auto words = splitLine(line, error);
  return words && !words->empty() && words == splitLine(other, error);
}

constexpr const char* dismissedText =
    "this client was idle the longest and made room for another; connect again\n";

// What a client has sent that its thread has not taken yet.
enum class Pending { Nothing, Something, Leave };

Pending pendingOf(int socket) {
  char next = 0;
  const ssize_t size = ::recv(socket, &next, 1, MSG_PEEK | MSG_DONTWAIT);
  if (size == 0) return Pending::Leave;
  return size < 0 ? Pending::Nothing : Pending::Something;
}

// Whether both ends are shut: who only sends no more may still read.
bool isHungUp(int socket) {
  pollfd event{.fd = socket, .events = 0, .revents = 0};
  return ::poll(&event, 1, 0) == 1 && (event.revents & POLLHUP) != 0;
}

// Which file stands at a path: its device and number, zeros for none.
std::pair<std::uint64_t, std::uint64_t> fileAt(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return {};
  return {status.st_dev, status.st_ino};
}

// Sends what answers a client's lines. False when it does not take it.
bool sendAnswers(int socket, const std::string& frames, const Console& console) {
  if (sendAll(socket, frames)) return true;
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

std::string ConsoleServer::refusalOf(uid_t peer, uid_t host, bool enabled,
                                     const std::string& enabling) {
  if (peer != host && peer != 0) return "the console is for the host's own user\n";
  if (!enabled && peer != 0) return disabledText(enabling);
  return "";
}

std::string ConsoleServer::refusalOf(uid_t peer, uid_t host, bool enabled,
                                     const std::string& enabling, const std::string& line) {
  std::string refusal = refusalOf(peer, host, enabled, enabling);
  if (!refusal.empty() || enabled || isSameCommand(line, enabling)) return refusal;
  return disabledText(enabling);
}

std::string ConsoleServer::listen(const std::string& path) {
  std::string error;
  m_listener = listenAt(path, error);
  m_path = path;
  if (error.empty()) m_file = fileAt(path);
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
  if (m_thread.joinable()) m_thread.join();
  if (m_file == fileAt(m_path)) ::unlink(m_path.c_str());
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
  guarded("console", "accepting a client", [&] { accept(std::move(socket)); });
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
  std::string refusal =
      refusalOf(peer.uid, ::geteuid(), m_console.isEnabled(), m_shell.enablingLine());
  if (refusal.empty() && !hasRoom() && !dismissOne()) refusal = "too many clients\n";
  if (refusal.empty()) {
    begin(std::move(socket), peer);
  } else {
    sendReply(socket.get(), Refused, refusal);
  }
}

void ConsoleServer::begin(platform::Descriptor socket, const ucred& peer) {
  Client& client = m_clients.emplace_back();
  client.socket = std::move(socket);
  client.peer = peer;
  try {
    client.thread = std::thread([this, &client] { serve(client); });
  } catch (const std::exception& failure) {
    Logger::StaticLog(LogType::Error, "console: no thread for a client: %s", failure.what());
    sendReply(client.socket.get(), Refused, "the host has no thread left for a client\n");
    m_clients.pop_back();
  }
}

// A client that was dismissed or has left counts no more, though its last reply may still be on its
// way.
bool ConsoleServer::hasRoom() const {
  const auto stay = std::ranges::count_if(m_clients, [](const Client& client) {
    return !client.dismissed && pendingOf(client.socket.get()) != Pending::Leave;
  });
  return static_cast<std::size_t>(stay) < maxClients && m_clients.size() < 2 * maxClients;
}

// Dismisses the client that has been idle the longest. False when none is idle, or when too many
// that count no more are still there.
bool ConsoleServer::dismissOne() {
  while (m_clients.size() < 2 * maxClients) {
    Client* chosen = nullptr;
    std::uint64_t least = holding;
    for (Client& client : m_clients) {
      const std::uint64_t idleSince = client.idleSince;
      if (idleSince == busy || idleSince >= least) continue;
      if (pendingOf(client.socket.get()) != Pending::Nothing) continue;
      chosen = &client;
      least = idleSince;
    }
    if (chosen == nullptr) return false;
    if (!chosen->idleSince.compare_exchange_strong(least, busy)) continue;  // it has a line now
    chosen->dismissed = true;
    ::shutdown(chosen->socket.get(), SHUT_RD);
    return true;
  }
  return false;
}

void ConsoleServer::serve(Client& client) {
  guarded("console", "client", [&] { converse(client); });
  ::shutdown(client.socket.get(), SHUT_RDWR);
  client.done = true;
  ::eventfd_write(m_wake.get(), 1);
}

// A client counts as idle before its reply goes out: one that has its reply is idle for sure, and
// one that is dismissed then gets it all the same.
void ConsoleServer::converse(Client& client) {
  Console console(client.peer.pid);
  Console::setClientGone([&client] { return isHungUp(client.socket.get()); });
  LineReader reader(client.socket.get());
  std::string line;
  client.idleSince = ++m_idles;
  for (auto read = reader.next(line); true; read = reader.next(line)) {
    if (client.idleSince.exchange(busy) == busy) {
      sendReply(client.socket.get(), Refused, dismissedText);
      return;
    }
    if (read == LineReader::Result::End) return;
    std::string frames = answerTo(client, read, line, console);
    // A flood of empty lines is to cost no system call for each.
    while (reader.takeEmpty()) frames += answerTo(client, LineReader::Result::Line, "", console);
    const bool stays = console.isLeftToClose() || reader.hasLine();
    client.idleSince = stays ? holding : ++m_idles;
    const bool taken = sendAnswers(client.socket.get(), frames, console);
    console.replySent();
    if (!taken) return;
  }
}

std::string ConsoleServer::answerTo(const Client& client, LineReader::Result read,
                                    const std::string& line, Console& console) const {
  const std::string refusal =
      refusalOf(client.peer.uid, ::geteuid(), m_console.isEnabled(), m_shell.enablingLine(), line);
  if (!refusal.empty()) {
    console.reply(Refused, "%s", refusal.c_str());
  } else if (read == LineReader::Result::TooLong) {
    console.reply(Refused, "a line may have %zu bytes; this one was skipped\n", maxConsoleLine);
  } else {
    m_shell.execute(line, console);
  }
  std::string text;
  const int code = console.takeReply(text);
  return replyFrame(code, text);
}

void ConsoleServer::reap() {
  std::erase_if(m_clients, [](Client& client) {
    if (!client.done) return false;
    client.thread.join();
    return true;
  });
}

}  // namespace framework
