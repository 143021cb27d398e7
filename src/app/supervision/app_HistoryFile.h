// The file in which the daemons' history survives the host.
#pragma once

#include <condition_variable>
#include <string>
#include <thread>
#include <vector>

#include "app/supervision/app_History.h"

namespace services::app {

/// Appends the history's lines to a file on a thread of its own, as soon as they come, and writes
/// the file anew when it has grown to 1 MiB. Whatever ends the process leaves whole lines. While
/// the file cannot be written, which is an error line, it is tried again every 10 seconds, and
/// nothing is lost that the history still holds.
class HistoryFile {
 public:
  /// An empty path is no file: nothing is kept.
  HistoryFile(History& history, std::string path);
  /// Writes what is left.
  ~HistoryFile();
  HistoryFile(const HistoryFile&) = delete;
  HistoryFile& operator=(const HistoryFile&) = delete;

  /// Reads what earlier hosts wrote of these daemons and leaves the rest out. Lines that break the
  /// grammar are a warning. Call before the first add().
  void load(const std::vector<std::string>& daemons);

  /// Begins to write in the background; until then lines wait for the end.
  void start();
  /// The history's, with what they answer written. Any thread may call; they never wait for the
  /// file.
  void add(HistoryEntry entry);
  void setOutcome(const std::string& daemon, const std::string& what, std::string_view outcome);
  /// Writes what waits and ends the thread.
  void stop();

 private:
  void run(const std::stop_token& stopped);
  void append(const std::string& line);
  bool write(const std::string& text, bool anew) const;
  void writeWaiting(std::unique_lock<std::mutex>& lock);

  History& m_history;
  const std::string m_path;
  std::mutex m_mutex;  // guards what follows; taken before the history's
  std::condition_variable_any m_changed;
  std::string m_waiting;
  std::size_t m_size = 0;  // of the file, with what waits
  bool m_anew = false;     // the file is to be written whole
  bool m_failed = false;   // the last write
  std::jthread m_thread;
};

}  // namespace services::app
