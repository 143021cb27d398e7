// Where a secret comes from that is not typed into a command line.
#include "mcsh/SecretSource.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "host/console/fw_ConsoleSocket.h"
#include "host/machine/Descriptor.h"
#include "util/fw_ShownText.h"

namespace mcsh {

namespace {

// No more than could be sent.
std::string firstLineOf(const platform::Descriptor& descriptor) {
  std::string line;
  char c = 0;
  while (line.size() < framework::maxConsoleLine && ::read(descriptor.get(), &c, 1) == 1) {
    if (c == '\n') break;
    line += c;
  }
  return line;
}

// The process's terminal; in a session without one, as on the bench, what stdin is.
platform::Descriptor openTerminal() {
  const int terminal = ::open("/dev/tty", O_RDWR | O_CLOEXEC);
  return platform::Descriptor(terminal >= 0 ? terminal : ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0));
}

// That terminal, without echo, and without the keys that raise signals, which would leave it like
// that.
class SilentTerminal {
 public:
  SilentTerminal() : m_terminal(openTerminal()) {
    if (::tcgetattr(m_terminal.get(), &m_before) != 0) {
      throw SecretError("there is no terminal to ask for a secret");
    }
    termios silent = m_before;
    silent.c_lflag &= ~tcflag_t{ECHO | ISIG};
    ::tcsetattr(m_terminal.get(), TCSAFLUSH, &silent);
  }
  ~SilentTerminal() { ::tcsetattr(m_terminal.get(), TCSADRAIN, &m_before); }
  SilentTerminal(const SilentTerminal&) = delete;
  SilentTerminal& operator=(const SilentTerminal&) = delete;

  std::string ask(const std::string& prompt) const {
    ::dprintf(m_terminal.get(), "%s", prompt.c_str());
    std::string line = firstLineOf(m_terminal);
    ::dprintf(m_terminal.get(), "\n");
    return line;
  }

 private:
  platform::Descriptor m_terminal;
  termios m_before{};
};

std::string askFor(const std::string& key) {
  const SilentTerminal terminal;
  std::string secret = terminal.ask(key + ": ");
  if (terminal.ask(key + " again: ") != secret) throw SecretError(key + ": the two differ");
  return secret;
}

std::string readFile(const std::string& path) {
  const platform::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  if (!file.isOpen()) throw SecretError(path + ": " + std::strerror(errno));
  return firstLineOf(file);
}

}  // namespace

std::string readSecret(const std::string& key, const std::string& source) {
  std::string secret = source == "-" ? askFor(key) : readFile(source);
  if (secret.empty()) throw SecretError(key + ": the secret is empty");
  if (!framework::isShown(secret)) {
    throw SecretError(key + ": the secret holds a control character or is no UTF-8");
  }
  return secret;
}

}  // namespace mcsh
