// What the clients of the web have done and tried.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace services::web {

/// The last records of who did what from where. Each is a line of the log, too, so none may hold a
/// secret. Any thread may call.
class Audit {
 public:
  static constexpr std::size_t most = 256;

  struct Record {
    std::uint64_t number;  ///< from 1, in the order of their making
    std::int64_t time;     ///< the host's timestamp
    bool refused;
    std::string user;  ///< empty where it is not known
    std::string address;
    std::string what;
  };

  /// Notes what was done, or was refused.
  void note(bool refused, const std::string& user, const std::string& address,
            const std::string& what);
  /// All that are kept, the oldest first.
  std::vector<Record> records() const;
  /// How many were refused so far.
  std::uint64_t refusals() const;

 private:
  mutable std::mutex m_mutex;
  std::deque<Record> m_records;
  std::uint64_t m_count = 0;
  std::uint64_t m_refusals = 0;
};

}  // namespace services::web
