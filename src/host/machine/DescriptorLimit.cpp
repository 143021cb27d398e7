// How many descriptors the process may have open, and how many the commands that it runs.
#include "host/machine/DescriptorLimit.h"

#include <sys/resource.h>

#include <algorithm>

namespace platform {

namespace {

// Background commands may outlive main, so the line stays.
std::string& line() {
  static std::string& only = *new std::string;
  return only;
}

}  // namespace

void raiseDescriptorLimit() {
  rlimit limit{};
  if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur == limit.rlim_max) return;
  const std::string before = std::to_string(limit.rlim_cur);
  limit.rlim_cur = limit.rlim_max;
  if (::setrlimit(RLIMIT_NOFILE, &limit) == 0) line() = "ulimit -S -n " + before + "\n";
}

const std::string& descriptorLimitLine() { return line(); }

int freeDescriptors() {
  rlimit limit{};
  ::getrlimit(RLIMIT_NOFILE, &limit);
  return static_cast<int>(std::clamp<rlim_t>(limit.rlim_cur / 4, 128, 1024));
}

}  // namespace platform
