// The debug flags, one for each token that writes debug lines.
#include "host/framework/ut_Debug.h"

#include <array>
#include <atomic>

namespace utility {

namespace {
std::array<std::atomic<bool>, 65536> flags{};
}

bool Debug::isDebugOn(strings::stringtoken token) {
  return token < flags.size() && flags[token].load(std::memory_order_relaxed);
}

bool Debug::setDebug(strings::stringtoken token, bool on) {
  if (token >= flags.size()) return false;
  flags[token].store(on, std::memory_order_relaxed);
  return true;
}

}  // namespace utility
