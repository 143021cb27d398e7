// The debug flags, one for each token that writes debug lines.
#include "host/base/ut_Debug.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <span>

namespace utility {

namespace {

using Flag = std::atomic<strings::stringtoken>;  // one that is on, or 0

std::mutex changing;
std::array<Flag, 64> flags{};
std::atomic<std::size_t> used = 0;  // those before it may be on: seldom any

Flag* find(std::span<Flag> among, strings::stringtoken token) {
  const auto found = std::ranges::find_if(
      among, [token](const Flag& flag) { return flag.load(std::memory_order_relaxed) == token; });
  return found == among.end() ? nullptr : &*found;
}

}  // namespace

bool Debug::isDebugOn(strings::stringtoken token) {
  const std::size_t count = used.load(std::memory_order_acquire);
  return count != 0 && token != 0 && find({flags.data(), count}, token) != nullptr;
}

bool Debug::setDebug(strings::stringtoken token, bool on) {
  if (token == 0) return false;
  const std::lock_guard lock(changing);
  Flag* flag = find(flags, token);
  if (flag == nullptr && on) flag = find(flags, 0);
  if (flag == nullptr) return !on;
  flag->store(on ? token : 0, std::memory_order_relaxed);
  const auto place = static_cast<std::size_t>(flag - flags.data());
  if (used <= place) used.store(place + 1, std::memory_order_release);
  return true;
}

}  // namespace utility
