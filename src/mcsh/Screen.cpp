// A terminal whose whole screen one picture after the other takes.
#include "mcsh/Screen.h"

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <string_view>

namespace mcsh {

namespace {

constexpr std::string_view enter = "\x1B[?1049h\x1B[?25l";  // the other screen, no cursor
constexpr std::string_view leave = "\x1B[?25h\x1B[?1049l";

void write(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(STDOUT_FILENO, text.data(), text.size());
    if (written <= 0) return;  // a terminal that is gone: wait() tells
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

// By Look.
constexpr std::array<std::string_view, 6> looks = {"",         "\x1B[1m",  "\x1B[32m",
                                                   "\x1B[31m", "\x1B[33m", "\x1B[2m"};

sigset_t endingSignals() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH}) ::sigaddset(&set, signal);
  return set;
}

}  // namespace

std::string cutText(const std::string& text, std::size_t characters) {
  const auto isStart = [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; };
  std::size_t at = 0;
  for (; at < text.size(); ++at) {
    if (isStart(text[at]) && characters-- == 0) break;
  }
  return text.substr(0, at);
}

Screen::Screen(const char* what) : m_colours(std::getenv("NO_COLOR") == nullptr) {
  if (::isatty(STDOUT_FILENO) == 0 || ::tcgetattr(STDIN_FILENO, &m_before) != 0) {
    throw NoTerminal(std::string(what) + " needs a terminal");
  }
  const sigset_t ending = endingSignals();
  ::sigprocmask(SIG_BLOCK, &ending, &m_signalsBefore);
  m_signals.reset(::signalfd(-1, &ending, SFD_CLOEXEC | SFD_NONBLOCK));
  termios raw = m_before;
  raw.c_lflag &= ~tcflag_t{ECHO | ICANON};
  raw.c_cc[VSUSP] = _POSIX_VDISABLE;  // who stops here would leave the other screen behind
  raw.c_cc[VMIN] = 1;
  raw.c_cc[VTIME] = 0;
  ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
  write(enter);
}

Screen::~Screen() {
  write(leave);
  ::tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_before);
  takeSignal();  // one that is still to come would end the program before its last words
  ::sigprocmask(SIG_SETMASK, &m_signalsBefore, nullptr);
}

Screen::Size Screen::size() const {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
    return {80, 24};
  }
  return {size.ws_col, size.ws_row};
}

// In one write, each line over what stood there, so that nothing flickers.
void Screen::paint(const std::vector<ScreenLine>& lines) const {
  const auto [columns, rows] = size();
  std::string picture = "\x1B[H";
  for (std::size_t row = 0; row < std::min(rows, lines.size()); ++row) {
    const auto& [text, look] = lines[row];
    if (row > 0) picture += "\r\n";
    if (m_colours) picture += looks[look];
    picture += cutText(text, columns);
    if (m_colours) picture += "\x1B[0m";
    picture += "\x1B[K";
  }
  write(picture + "\x1B[J");
}

bool Screen::wait(std::chrono::milliseconds time) {
  const auto end = std::chrono::steady_clock::now() + time;
  for (;;) {
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    std::array<pollfd, 2> events = {{{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                     {.fd = m_signals.get(), .events = POLLIN, .revents = 0}}};
    const auto limit = static_cast<int>(std::max<std::int64_t>(rest.count(), 0));
    if (::poll(events.data(), events.size(), limit) <= 0) return true;
    if (events[1].revents != 0) return takeSignal();
    if (!takeKeys()) return false;
  }
}

// False for "q" and when there are no more.
bool Screen::takeKeys() const {
  std::array<char, 64> keys;
  const ssize_t count = ::read(STDIN_FILENO, keys.data(), keys.size());
  if (count <= 0) return false;
  return std::string_view(keys.data(), static_cast<std::size_t>(count)).find_first_of("qQ") ==
         std::string_view::npos;
}

// False for one that ends the program.
bool Screen::takeSignal() {
  signalfd_siginfo signal{};
  if (::read(m_signals.get(), &signal, sizeof signal) != sizeof signal) return true;
  const int number = static_cast<int>(signal.ssi_signo);
  if (number == SIGWINCH) return true;
  if (number != SIGINT) m_exitStatus = 128 + number;
  return false;
}

}  // namespace mcsh
