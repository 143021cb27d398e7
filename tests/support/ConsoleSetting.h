// What tests of the console share: a server at a temporary place, its clients.
#pragma once

#include <sys/time.h>

#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleServer.h"
#include "host/console/fw_ConsoleSocket.h"
#include "support/Test.h"

namespace test {

/// The path of what was built, by its place beside the tests: "bin/mcsh", "lib/libmcops.so".
inline std::string built(const char* name) {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / name;
}

/// A client of the console whose reads give up after a minute.
class Peer {
 public:
  explicit Peer(const std::string& path) : m_socket(framework::connectTo(path)) {
    const timeval limit{.tv_sec = 60, .tv_usec = 0};
    ::setsockopt(m_socket.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  }

  bool send(const std::string& text) { return framework::sendAll(m_socket.get(), text); }

  /// The next reply as "CODE text", or "closed".
  std::string reply() {
    std::string header;
    for (char c = 0; c != '\n'; header += c) {
      if (::recv(m_socket.get(), &c, 1, 0) != 1) return "closed";
    }
    const std::size_t size = std::stoul(header.substr(header.find(' ')));
    std::string text(size, '\0');
    if (size > 0 && ::recv(m_socket.get(), text.data(), size, MSG_WAITALL) != ssize_t(size)) {
      return "closed";
    }
    return header.substr(0, header.find(' ') + 1) + text;
  }

  std::string ask(const std::string& line) {
    send(line + "\n");
    return reply();
  }

  /// Waits until the server has closed the connection, reading nothing.
  bool hungUp() const {
    pollfd event{.fd = m_socket.get(), .events = 0, .revents = 0};
    return ::poll(&event, 1, 60000) == 1 && (event.revents & POLLHUP) != 0;
  }

  void close() { m_socket.reset(); }

 private:
  platform::Descriptor m_socket;
};

/// Makes a command of a shell out of a function.
inline void addCommand(framework::Shell& shell, const framework::CommandHandler::commanddata& data,
                       framework::FunctionCommand::Function function) {
  shell.registerCommand(new framework::FunctionCommand(data, std::move(function)));
}

/// A test with a shell behind a socket in a temporary directory. No client is closed for being
/// slow.
class ConsoleServing : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    m_lock = framework::lockBeside(
        m_path, [] { return false; }, error);
    ASSERT_EQ(error, "");
    ASSERT_EQ(m_server.listen(m_path), "");
    m_server.start();
  }

  Temporary m_files;
  const std::string m_path = m_files.path("run/console");
  platform::Descriptor m_lock;
  framework::Shell m_shell;
  framework::ConsoleServer m_server{m_shell, std::chrono::hours(1)};
};

}  // namespace test
