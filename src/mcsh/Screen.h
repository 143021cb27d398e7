// A terminal whose whole screen one picture after the other takes.
#pragma once

#include <sys/signalfd.h>
#include <termios.h>

#include <chrono>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include "host/machine/Descriptor.h"

namespace mcsh {

/// A line of a picture: UTF-8 without control characters.
struct ScreenLine {
  std::string text;
  enum Look { Plain, Bold, Good, Bad, Passing, Dim } look = Plain;
};

/// There is no terminal to paint on.
class NoTerminal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The screen, from its making to its end, which gives the terminal back as it was: the key "q",
/// the end of input and the signals that end programs are told by wait(), not acted upon. One at a
/// time, in a program of one thread.
class Screen {
 public:
  /// Throws NoTerminal, with `what` in its text, where standard input or output is no terminal.
  explicit Screen(const char* what);
  ~Screen();
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  struct Size {
    std::size_t columns, rows;
  };
  Size size() const;

  /// Paints these lines, cut to the screen; colours only where NO_COLOR is not set.
  void paint(const std::vector<ScreenLine>& lines) const;

  /// Waits that long or until the screen's size changes. False when the program is to end.
  bool wait(std::chrono::milliseconds time);
  /// The exit status then: 0 for "q", the end of input and ^C, else 128 and the signal's number.
  int exitStatus() const { return m_exitStatus; }

 private:
  bool takeKeys() const;
  bool takeSignal();

  termios m_before{};
  sigset_t m_signalsBefore{};
  platform::Descriptor m_signals;
  bool m_colours;
  int m_exitStatus = 0;
};

/// The text's first characters, at most so many.
std::string cutText(const std::string& text, std::size_t characters);

}  // namespace mcsh
