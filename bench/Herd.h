// A herd of idle processes around a measurement.
#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

namespace bench {

/// That many idle processes, which end with the object. Their command lines are those of a daemon,
/// each with a number of its own, from 0: "/app/bin/idle-00000 --config /cfg/idle.conf --level
/// info".
class Herd {
 public:
  /// Returns when all run; ends the program where the machine does not allow so many. The herd's
  /// program, mcbench-herd, lies beside this one.
  explicit Herd(int size);
  ~Herd();
  Herd(const Herd&) = delete;
  Herd& operator=(const Herd&) = delete;

  /// Replaces so many of them, those that have run longest, by new ones of the same command lines.
  void replace(int count);

 private:
  pid_t m_pid = -1;
  std::FILE* m_stream = nullptr;  // a socket, both ways
};

}  // namespace bench
