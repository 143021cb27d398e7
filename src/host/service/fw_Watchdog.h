// Whether the thread on which all supervision depends still goes round.
#pragma once

#include <cstdint>

namespace framework {

/// One thread of the process promises to come round within a period. Three periods without are an
/// error line, written by another thread; four let the service manager end and restart the process,
/// where it was asked to watch (systemd's watchdog, see sd_notify(3)).
class Watchdog {
 public:
  /// Takes what is to reach the service manager; null for nobody. Set before there are threads.
  static void setNotify(void (*notify)(const char* state));

  /// The calling thread, known by a name that lives as long as the program, promises to come round
  /// within that many seconds and the time of one command.
  static void begin(const char* name, int seconds);
  /// It comes round.
  static void beat();
  /// It promises nothing any more.
  static void end();

  /// Logs a thread that is late, once, and its return. For one other thread. Answers the
  /// microseconds until that is worth another call.
  static std::int64_t look();
};

}  // namespace framework
