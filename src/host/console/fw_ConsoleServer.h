// Serves the console to its clients over a Unix socket.
#pragma once

#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <list>
#include <string>
#include <thread>
#include <utility>

#include "host/console/fw_Console.h"
#include "host/console/fw_ConsoleSocket.h"
#include "host/console/fw_Shell.h"
#include "host/machine/Descriptor.h"

namespace framework {

/// The console's socket and a thread for each of its clients, at most 32 at once.
///
/// Clients are processes of the host's own user and of root; the others are told so in one line.
/// For one client more the one that has been idle the longest makes room, unless it left something
/// to its end (Console::atClose: a lock, a portal, a hold); where none can, the new one is refused.
/// A client that stops reading is closed once a reply has made no progress for
/// the send limit. While the server lives, its console is the host's (Container::getConsole), by
/// which the console is enabled and disabled.
class ConsoleServer {
 public:
  static constexpr std::size_t maxClients = 32;

  explicit ConsoleServer(const Shell& shell = Shell::instance(),
                         std::chrono::milliseconds sendLimit = std::chrono::seconds(5));
  ~ConsoleServer();
  ConsoleServer(const ConsoleServer&) = delete;
  ConsoleServer& operator=(const ConsoleServer&) = delete;

  /// Takes `path`, whose lock (lockBeside) the process has; clients that connect wait until
  /// start(). The answer is empty, or one line that says why it cannot, without its line end.
  std::string listen(const std::string& path);
  /// Begins to serve there.
  void start();

  /// Takes no more clients, disconnects those there are, waits for their threads and removes the
  /// socket, unless another stands in its place. A command that runs is waited for; its reply is
  /// lost. Not to be called by a command.
  void stop();

  /// Why a client of user `peer` is not admitted by the host of user `host`: one line, empty when
  /// it is. `enabling` is the line that enables a disabled console, empty for none.
  static std::string refusalOf(uid_t peer, uid_t host, bool enabled, const std::string& enabling);
  /// The same of a line of that client: of a disabled console that which enables it remains to
  /// root.
  static std::string refusalOf(uid_t peer, uid_t host, bool enabled, const std::string& enabling,
                               const std::string& line);

 private:
  struct Client {
    platform::Descriptor socket;
    ucred peer{};
    std::atomic<std::uint64_t> idleSince = busy;  // a count of m_idles, busy or holding
    bool dismissed = false;                       // the accepting thread's own
    std::atomic<bool> done = false;
    std::thread thread;
  };

  static constexpr std::uint64_t busy = 0;              // with a line, or dismissed
  static constexpr std::uint64_t holding = UINT64_MAX;  // something, or with more lines to come

  void run();
  void admit();
  void accept(platform::Descriptor socket);
  void begin(platform::Descriptor socket, const ucred& peer);
  bool hasRoom() const;
  bool dismissOne();
  void serve(Client& client);
  void converse(Client& client);
  std::string answerTo(const Client& client, LineReader::Result read, const std::string& line,
                       Console& console) const;
  void reap();
  void pauseAccepting() const;

  const Shell& m_shell;
  std::chrono::milliseconds m_sendLimit;
  Console m_console;
  std::string m_path;
  std::pair<std::uint64_t, std::uint64_t> m_file;  // the socket's device and number
  platform::Descriptor m_listener;
  platform::Descriptor m_wake;  // an event counter: a client is done, or the server stops
  std::atomic<bool> m_stopping = false;
  std::atomic<std::uint64_t> m_idles = busy;
  std::list<Client> m_clients;  // the accepting thread's own, stop()'s after it has ended
  std::thread m_thread;
};

}  // namespace framework
