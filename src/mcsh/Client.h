// The client's end of the console's socket.
#pragma once

#include <chrono>
#include <functional>
#include <string>

#include "host/machine/Descriptor.h"

namespace mcsh {

struct Reply {
  int code = 0;
  std::string text;
};

/// How long a host may keep silent while a reply is awaited.
struct Patience {
  std::chrono::milliseconds notice = std::chrono::seconds(3);
  std::function<void()> noAnswerYet;   ///< called after that time; may be empty
  std::chrono::milliseconds limit{0};  ///< ends the waiting; 0 for none
};

/// A connection to the host. Every failure is thrown as a std::runtime_error whose text is one line
/// without its line end.
class Client {
 public:
  /// Connects to the console at `path`.
  explicit Client(const std::string& path, Patience patience = {});

  /// Sends one line and waits for its reply. The line holds no line feed.
  Reply ask(const std::string& line);

 private:
  void awaitAnswer() const;
  std::string receive(std::size_t size);
  std::string receiveHeader();
  [[noreturn]] void fail(const char* what) const;

  std::string m_path;
  Patience m_patience;
  platform::Descriptor m_socket;
};

}  // namespace mcsh
