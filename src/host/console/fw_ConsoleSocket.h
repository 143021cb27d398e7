// The console's Unix socket: making it, reaching it, and what goes over it.
//
// A client sends command lines, each ended by a line feed and at most maxConsoleLine bytes long
// without it. For each the host answers "CODE LENGTH\n", both decimal, and LENGTH bytes of text.
// A last line without its line feed is not executed.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <string_view>

#include "host/machine/Descriptor.h"

namespace framework {

inline constexpr std::size_t maxConsoleLine = 4096;

/// How much of a line that is too long is skipped before its sender is taken for a flood.
inline constexpr std::size_t maxConsoleSkip = 1 << 20;

/// The lock beside `path`, the file "PATH.lock", by which one process at a time is the host of that
/// console, from before it takes the socket until the descriptor is closed. The file stays. The
/// directory is made, for its owner alone, when it is missing. While another process has the lock
/// and nobody answers at `path`, that process is on its way out: `pause` is called before each
/// further try, and ends the trying by answering false. On failure the descriptor is not open and
/// `error` says why.
platform::Descriptor lockBeside(const std::string& path, const std::function<bool()>& pause,
                                std::string& error);

/// A listening socket at `path`, for its owner alone; a socket on which nobody answers is replaced.
/// On failure the descriptor is not open and `error` says why.
platform::Descriptor listenAt(const std::string& path, std::string& error);

/// A socket that is connected to `path`; not open, with errno, on failure. Connecting and sends
/// that make no progress for five seconds fail.
platform::Descriptor connectTo(const std::string& path);

/// Lets sends fail with EAGAIN that have made no progress for this long.
void limitSends(int socket, std::chrono::milliseconds limit);

/// Sends all of `data`. False when the peer is gone or the socket's time-out passed, with errno.
bool sendAll(int socket, std::string_view data);

/// A reply as it goes over the socket.
std::string replyFrame(int code, const std::string& text);
/// Sends one.
bool sendReply(int socket, int code, const std::string& text);

/// Reads lines from a stream socket on which the peer may send anything.
class LineReader {
 public:
  enum class Result { Line, TooLong, End };

  explicit LineReader(int socket) : m_socket(socket) {}

  /// Waits for the next line. TooLong stands for a line that was too long and has been skipped; a
  /// line that is still not at its end after maxConsoleSkip bytes is the end.
  Result next(std::string& line);

  /// Whether a whole line has been received that was not given out.
  bool hasLine() const { return m_received.find('\n', m_begin) != std::string::npos; }

  /// Takes the next line if it has been received and is empty.
  bool takeEmpty();

 private:
  bool receive();

  int m_socket;
  std::string m_received;
  std::size_t m_begin = 0;  // what is before it in m_received has been given out
};

}  // namespace framework
