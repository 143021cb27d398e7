// One shell command: starting it, reading what it prints, waiting for its end.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "host/platform/Platform.h"

namespace platform {

/// An open file descriptor, closed with the object.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : m_number(number) {}
  ~Descriptor() { reset(); }
  Descriptor(Descriptor&& other) noexcept : m_number(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(other.release());
    return *this;
  }
  int get() const { return m_number; }
  bool isOpen() const { return m_number >= 0; }
  int release();
  void reset(int number = -1);

 private:
  int m_number;
};

/// A child process that runs `/bin/sh -c LINE`: in a session of its own, with default signal
/// dispositions, nothing blocked, umask 022, no inherited descriptors, and /dev/null where no
/// stream is given. The child is reaped by waitFor(), or by whom release() hands it to.
class ShellCommand {
 public:
  /// Starts the command. When it cannot be started, started() is false.
  explicit ShellCommand(const Command& command);

  bool started() const { return m_pid > 0; }

  /// Passes the command's output on until the shell exits, then reaps it. Past `limit`
  /// microseconds, or once `abort` becomes readable, its process group is killed first.
  Result waitFor(std::int64_t limit, int abort);

  /// A descriptor that becomes readable when the shell has exited, and its pid.
  struct Running {
    pid_t pid;
    Descriptor exited;
  };
  Running release();

 private:
  void start(const Command& command, int input, int output);
  /// Reads what is there and sends it on; false at the end of the output.
  bool passOutput();
  Outcome waitForExit(std::int64_t limit, int abort);

  pid_t m_pid = -1;
  Descriptor m_exited;
  Descriptor m_read;
  framework::OutputStream* m_output;
};

}  // namespace platform
