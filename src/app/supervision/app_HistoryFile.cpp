// The file in which the daemons' history survives the host.
#include "app/supervision/app_HistoryFile.h"

#include <chrono>
#include <fstream>
#include <sstream>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "util/ut_FileOutputStream.h"

namespace services::app {

using framework::Logger;
using framework::LogType;

namespace {

constexpr std::size_t maxSize = 1 << 20;
constexpr std::size_t maxWaiting = 1 << 16;  // bytes; beyond, the file is written whole
constexpr int fileMode = 0600;
constexpr std::chrono::seconds patience(10);

}  // namespace

HistoryFile::HistoryFile(History& history, std::string path)
    : m_history(history), m_path(std::move(path)) {}

HistoryFile::~HistoryFile() { stop(); }

void HistoryFile::load(const std::vector<std::string>& daemons) {
  std::ifstream file(utility::Path::located(m_path));
  if (m_path.empty() || !file) return;
  std::stringstream content;
  content << file.rdbuf();
  const unsigned int refused = m_history.read(content.str(), daemons);
  if (refused > 0) {
    Logger::StaticLog(LogType::Warning, "history: %u lines of %s are none and left out", refused,
                      m_path.c_str());
  }
  m_anew = true;
}

void HistoryFile::start() {
  if (m_path.empty() || m_thread.joinable()) return;
  m_thread = std::jthread([this](const std::stop_token& stopped) { run(stopped); });
}

// The history and the lines that wait change together, so that no entry is written twice.
void HistoryFile::add(HistoryEntry entry) {
  const std::lock_guard lock(m_mutex);
  append(m_history.add(std::move(entry)));
}

void HistoryFile::setOutcome(const std::string& daemon, const std::string& what,
                             std::string_view outcome) {
  const std::lock_guard lock(m_mutex);
  append(m_history.setOutcome(daemon, what, outcome));
}

void HistoryFile::append(const std::string& line) {
  if (m_path.empty()) return;
  m_size += line.size();
  m_anew = m_anew || m_waiting.size() + line.size() > maxWaiting || m_size > maxSize;
  m_anew ? m_waiting.clear() : void(m_waiting += line);
  m_changed.notify_one();
}

void HistoryFile::stop() {
  if (m_thread.joinable()) {
    m_thread.request_stop();
    m_thread.join();
  }
  std::unique_lock lock(m_mutex);
  writeWaiting(lock);
}

void HistoryFile::run(const std::stop_token& stopped) {
  std::unique_lock lock(m_mutex);
  while (!stopped.stop_requested()) {
    m_changed.wait(lock, stopped, [this] { return m_anew || !m_waiting.empty(); });
    writeWaiting(lock);
    if (m_failed) m_changed.wait_for(lock, stopped, patience, [] { return false; });
  }
}

// The lock is open while the file is written.
void HistoryFile::writeWaiting(std::unique_lock<std::mutex>& lock) {
  const bool anew = std::exchange(m_anew, false);
  const std::string text = anew ? m_history.text() : std::exchange(m_waiting, "");
  if (m_path.empty() || (text.empty() && !anew)) return;
  if (anew) m_size = text.size();
  lock.unlock();
  const bool failed = !write(text, anew);
  lock.lock();
  m_anew = m_anew || failed;
  if (failed && !m_failed) {
    Logger::StaticLog(LogType::Error, "history: %s cannot be written", m_path.c_str());
  }
  m_failed = failed;
}

bool HistoryFile::write(const std::string& text, bool anew) const {
  if (anew) return utility::replaceFile(m_path.c_str(), text, fileMode) == 0;
  utility::FileOutputStream file(m_path.c_str(), true, fileMode);
  return file.SendOutputStream(text.data(), static_cast<unsigned int>(text.size()));
}

}  // namespace services::app
