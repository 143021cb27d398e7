// What the clients of the web have done and tried.
#pragma once

#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "web/wb_AuditFile.h"

namespace services::web {

/// The last records of who did what from where, kept over restarts. Each is a
/// line of the log, too, so none may hold a secret. Any thread may call.
class Audit {
 public:
  static constexpr std::size_t most = 1000;

  struct Record {
    std::uint64_t number = 0;  ///< from 1, in the order of their making
    std::int64_t time = 0;     ///< the host's timestamp
    bool refused = false;
    std::string user = {};  ///< empty where it is not known
    std::string address = {};
    std::string what = {};
  };

  /// Reads what the file at that path holds (see AuditFile); an empty path is
  /// no file.
  explicit Audit(const std::string& path = "");

  /// Notes what was done, or was refused: on the disk when it returns.
  void note(bool refused, const std::string& user, const std::string& address,
            const std::string& what);
  /// All that are kept, the oldest first.
  std::vector<Record> records() const;
  /// How many were refused since the host's start.
  std::uint64_t refusals() const;

 private:
  void keep(Record record);

  std::mutex m_fileMutex;  // guards the file, and keeps its lines in order;
                           // taken before the other
  AuditFile m_file;
  mutable std::mutex m_mutex;  // guards what follows
  std::deque<Record> m_records;
  std::uint64_t m_count = 0;
  std::uint64_t m_refusals = 0;
};

}  // namespace services::web
