// The client's end of the console's socket.
#pragma once

#include <string>
#include <vector>

#include "host/platform/Descriptor.h"

namespace mcsh {

struct Reply {
  int code = 0;
  std::string text;
};

/// A connection to the host. Every failure is thrown as a std::runtime_error whose text is one line
/// without its line end.
class Client {
 public:
  /// Connects to the console at `path`.
  explicit Client(const std::string& path);

  /// Sends one line and waits for its reply. The line holds no line feed.
  Reply ask(const std::string& line);

 private:
  std::string receive(std::size_t size);
  std::string receiveHeader();
  [[noreturn]] void fail(const char* what) const;

  std::string m_path;
  platform::Descriptor m_socket;
};

}  // namespace mcsh
