// How long who has failed to log in must wait.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

namespace services::web {

/// Counts failures by a key, a user's name or an address. From the fifth on, each has the key wait
/// twice as long as the one before, at most a minute; a key without a failure for a quarter of an
/// hour is forgotten. Times are the host's timestamps in seconds. It has no lock.
class Throttle {
 public:
  static constexpr std::size_t most = 256;  ///< keys; then those that have waited longest go

  /// Whole seconds until the key's next try is looked at; 0 for at once.
  std::int64_t wait(const std::string& key, std::int64_t now) const;
  void fail(const std::string& key, std::int64_t now);
  void succeed(const std::string& key) { m_tries.erase(key); }

 private:
  struct Tries {
    int failures = 0;
    std::int64_t last = 0;
    std::int64_t until = 0;
  };
  void makeRoom();

  std::map<std::string, Tries> m_tries;
};

}  // namespace services::web
