// A child process that is killed at some moment of its work.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace test {

/// Says the number of a step that is done, on a descriptor of runAndKill().
inline void say(int descriptor, int number) {
  if (::write(descriptor, &number, sizeof number) != sizeof number) ::_exit(1);
}

/// Runs `work` in a child, which says the numbers of its steps on the descriptor that it is given,
/// and kills it `microseconds` after its first one. The answer is the last number that it said,
/// `none` for none.
template <typename Work>
int runAndKill(int none, unsigned int microseconds, Work work) {
  std::array<int, 2> ends{};
  EXPECT_EQ(::pipe(ends.data()), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    work(ends[1]);
    ::_exit(1);
  }
  ::close(ends[1]);
  int last = none;
  EXPECT_EQ(::read(ends[0], &last, sizeof last), ssize_t(sizeof last)) << "the child did nothing";
  ::usleep(microseconds);
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  for (int number = 0; ::read(ends[0], &number, sizeof number) == sizeof number;) last = number;
  ::close(ends[0]);
  return last;
}

}  // namespace test
