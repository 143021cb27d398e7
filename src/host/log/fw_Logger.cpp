// The log, over an asynchronous logger whose full queue drops its oldest lines.
#include "host/log/fw_Logger.h"

#include <fcntl.h>
#include <limits.h>
#include <poll.h>
#include <spdlog/async.h>
#include <spdlog/async_logger.h>
#include <spdlog/sinks/base_sink.h>
#include <spdlog/spdlog.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "util/fw_ShownText.h"

namespace framework {

namespace {

#ifdef MC_SMALL
constexpr std::size_t queueLength = 512;  // the queue is made whole at the start
#else
constexpr std::size_t queueLength = 1024;
#endif
constexpr std::size_t lineSize = 9216;  // the longest report and its prefix
constexpr int patience = 1000;          // milliseconds
constexpr const char* pattern = "%Y-%m-%d %H:%M:%S.%e %-7l %v";

// Whether this thread is in a taker's call, with the fanout locked.
thread_local bool t_inTaker = false;
struct TakersCall {
  TakersCall() { t_inTaker = true; }
  ~TakersCall() { t_inTaker = false; }
  TakersCall(const TakersCall&) = delete;
  TakersCall& operator=(const TakersCall&) = delete;
};

// Whether standard error goes to the journal, as systemd.exec(5) has who is started find out.
bool isJournal() {
  const char* stream = std::getenv("JOURNAL_STREAM");
  struct stat status {};
  return stream != nullptr && ::fstat(STDERR_FILENO, &status) == 0 &&
         fmt::format("{}:{}", status.st_dev, status.st_ino) == stream;
}

// What the journal reads before a line, by sd-daemon(3).
std::string_view priorityOf(spdlog::level::level_enum level) {
  if (level >= spdlog::level::err) return "<3>";
  if (level == spdlog::level::warn) return "<4>";
  return level == spdlog::level::info ? "<6>" : "<7>";
}

// Writes every line to the destination and to the registered takers.
class Fanout : public spdlog::sinks::base_sink<std::mutex> {
 public:
  Fanout() { set_pattern(pattern); }
  ~Fanout() override { setDestination(STDERR_FILENO); }

  void setDestination(int descriptor) {
    const std::lock_guard lock(mutex_);
    if (m_descriptor != STDERR_FILENO) ::close(m_descriptor);
    m_descriptor = descriptor;
  }

  // The pool whose dropped lines are reported, null for none. It is not shared with the pool's own
  // owner: were the logging thread the last to let go of it, the thread would have to join itself.
  void setPool(spdlog::details::thread_pool* pool) {
    const std::lock_guard lock(mutex_);
    m_pool = pool;
    m_overruns = m_dropped = 0;
    m_keeps = pool != nullptr;
    m_kept = {};
  }

  // Before the pool is destroyed, and nothing is queued in it any more.
  void letGoOfPool() {
    const std::lock_guard lock(mutex_);
    if (m_pool != nullptr) m_overruns = m_pool->overrun_counter();
    m_pool = nullptr;
  }

  void add(Logger* taker) {
    const std::lock_guard lock(mutex_);
    m_takers.push_back(taker);
    m_keeps = false;
    const TakersCall call;
    for (const auto& [type, line] : std::exchange(m_kept, {})) {
      taker->takeLine(type, line.data(), line.size());
    }
  }

  std::size_t flushes() {
    const std::lock_guard lock(m_flushMutex);
    return m_flushes;
  }

  // Waits until there was another flush than the first `before`, for at most `limit`.
  void awaitFlush(std::size_t before, std::chrono::milliseconds limit) {
    std::unique_lock lock(m_flushMutex);
    m_flushed.wait_for(lock, limit, [&] { return m_flushes != before; });
  }

  std::uint64_t everDropped() const { return m_everDropped; }

  void remove(Logger* taker) {
    const std::lock_guard lock(mutex_);
    std::erase(m_takers, taker);
  }

 protected:
  void sink_it_(const spdlog::details::log_msg& message) override {
    reportDropped();
    send(message);
  }
  void flush_() override {
    const std::lock_guard lock(m_flushMutex);
    ++m_flushes;
    m_flushed.notify_all();
  }

 private:
  void reportDropped() {
    const std::size_t dropped = m_pool == nullptr ? m_overruns : m_pool->overrun_counter();
    if (dropped == m_dropped) return;
    const std::string text = fmt::format("host: {} log lines were dropped", dropped - m_dropped);
    m_everDropped += dropped - m_dropped;
    m_dropped = dropped;
    send({spdlog::source_loc{}, "", spdlog::level::warn, text});
  }

  void send(const spdlog::details::log_msg& message) {
    spdlog::memory_buf_t line;
    formatter_->format(message, line);
    if (m_isJournal && m_descriptor == STDERR_FILENO) {
      const std::string_view priority = priorityOf(message.level);
      writeAll(priority.data(), priority.size());
    }
    writeAll(line.data(), line.size());
    const int type = static_cast<int>(spdlog::level::err) - static_cast<int>(message.level);
    {
      const TakersCall call;
      for (Logger* taker : m_takers) taker->takeLine(type, line.data(), line.size());
    }
    m_keeps = m_keeps && m_takers.empty() && m_kept.size() < queueLength;
    if (m_keeps) m_kept.emplace_back(type, fmt::to_string(line));
  }

  // A destination that takes no more (a full disk, a closed pipe, one that nobody reads) loses the
  // line; there is nowhere left to say so. It is waited for once: the takers have lines to write,
  // and a stop waits for this thread.
  void writeAll(const char* data, std::size_t size) {
    while (size > 0) {
      pollfd room{m_descriptor, POLLOUT, 0};
      m_stuck = ::poll(&room, 1, m_stuck ? 0 : patience) == 0;
      if (m_stuck) return;
      const ssize_t written = ::write(m_descriptor, data, std::min<std::size_t>(size, PIPE_BUF));
      if (written < 0 && errno == EINTR) continue;
      if (written <= 0) return;
      data += written;
      size -= static_cast<std::size_t>(written);
    }
  }

  const bool m_isJournal = isJournal();
  int m_descriptor = STDERR_FILENO;
  bool m_stuck = false;  // it took nothing when it was last written to
  spdlog::details::thread_pool* m_pool = nullptr;
  std::size_t m_overruns = 0;  // of the pool that was let go of
  std::size_t m_dropped = 0;   // of them, those reported
  std::atomic<std::uint64_t> m_everDropped = 0;
  std::vector<Logger*> m_takers;
  std::mutex m_flushMutex;  // guards the next two
  std::condition_variable m_flushed;
  std::size_t m_flushes = 0;
  bool m_keeps = false;  // lines for the first taker: the log of a start
  std::vector<std::pair<int, std::string>> m_kept;
};

constexpr std::array<const char*, 5> levelNames = {"error", "warning", "info", "debug", "trace"};

spdlog::level::level_enum levelFor(int type) {
  return static_cast<spdlog::level::level_enum>(static_cast<int>(spdlog::level::err) -
                                                std::clamp(type, 0, 4));
}

// The operation's own name, "f" of "static bool space::Class::f(int)".
std::string_view shortName(std::string_view signature) {
  const std::string_view name = signature.substr(0, signature.find_first_of("(["));
  return name.substr(name.find_last_of(": *&") + 1);
}

struct Log {
  Log() { setLogger(std::make_shared<spdlog::logger>("mc", fanout), true); }

  // Answers the one before.
  std::shared_ptr<spdlog::logger> setLogger(std::shared_ptr<spdlog::logger> next,
                                            bool writesAtOnce) {
    next->set_level(spdlog::level::trace);
    const std::lock_guard lock(mutex);
    isDirect = writesAtOnce;
    return std::exchange(logger, std::move(next));
  }

  std::shared_ptr<Fanout> fanout = std::make_shared<Fanout>();
  std::shared_ptr<spdlog::details::thread_pool> pool;  // the main thread's
  std::atomic<int> level = LogType::Trace;
  // Guards what follows, and is held while a line is queued: no queue ends under a line's writer,
  // nor does a writer come to own a pool, which would have to be ended there.
  std::mutex mutex;
  std::shared_ptr<spdlog::logger> logger;
  bool isDirect = true;
};

// Destructors of other static objects log, so the log stays to the end of the process.
Log& theLog() {
  static Log& only = *new Log;
  return only;
}

}  // namespace

bool Logger::start(const LogSettings& settings) {
  int descriptor = STDERR_FILENO;
  if (settings.destination != "stderr") {
    constexpr int atOnce = O_NONBLOCK;  // a pipe that nobody reads is refused, not waited for
    descriptor = ::open(settings.destination.c_str(),
                        O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | atOnce, 0600);
    if (descriptor < 0) return false;
  }
  Log& log = theLog();
  log.fanout->setDestination(descriptor);
  log.pool = std::make_shared<spdlog::details::thread_pool>(queueLength, 1);
  log.fanout->setPool(log.pool.get());
  setLevel(settings.level);
  log.setLogger(std::make_shared<spdlog::async_logger>(
                    "mc", log.fanout, log.pool, spdlog::async_overflow_policy::overrun_oldest),
                false);
  return true;
}

void Logger::stop() {
  Log& log = theLog();
  // Kept to the end, as the queued lines need it.
  const auto before = log.setLogger(std::make_shared<spdlog::logger>("mc", log.fanout), true);
  log.fanout->letGoOfPool();
  log.pool.reset();  // the loggers hold it weakly: this joins the logging thread, the queue done
  log.fanout->setPool(nullptr);
  log.fanout->setDestination(STDERR_FILENO);
}

// A flush goes through the queue like a line, behind those that are there.
void Logger::drain(std::chrono::milliseconds limit) {
  Log& log = theLog();
  const std::size_t before = log.fanout->flushes();
  {
    const std::lock_guard lock(log.mutex);
    if (log.isDirect) return;  // every line is written
    log.logger->flush();
  }
  log.fanout->awaitFlush(before, limit);
}

std::uint64_t Logger::dropped() { return theLog().fanout->everDropped(); }

int Logger::getLevel() { return theLog().level; }

void Logger::setLevel(int type) { theLog().level = std::clamp(type, 0, 4); }

int Logger::levelOf(const char* name) {
  const auto* found = std::find_if(levelNames.begin(), levelNames.end(), [name](const char* known) {
    return std::strcmp(known, name) == 0;
  });
  return found == levelNames.end() ? -1 : static_cast<int>(found - levelNames.begin());
}

void Logger::registerLogger(Logger* logger) { theLog().fanout->add(logger); }
void Logger::unregisterLogger(Logger* logger) { theLog().fanout->remove(logger); }

void Logger::write(int type, const char* service, const char* operation, int line,
                   const std::string& text) {
  Log& log = theLog();
  if (type > log.level) return;
  spdlog::memory_buf_t whole;
  if (operation == nullptr) {
    fmt::format_to(std::back_inserter(whole), "{}: {}", service, text);
  } else {
    fmt::format_to(std::back_inserter(whole), "{} [{}:{}]: {}", service, shortName(operation), line,
                   text);
  }
  std::unique_lock lock(log.mutex);
  const std::shared_ptr<spdlog::logger> logger = log.logger;
  if (log.isDirect) {
    lock.unlock();
    if (t_inTaker) return;
  }
  logger->log(levelFor(type), {whole.data(), whole.size()});
}

void Logger::writeFormat(int type, const char* service, const char* operation, int line,
                         const char* format, std::va_list arguments) {
  if (type > theLog().level) return;
  std::array<char, lineSize> text;
  if (std::vsnprintf(text.data(), text.size(), format, arguments) < 0) return;
  std::string_view shown = text.data();
  const std::string_view end = shown.ends_with('\n') ? "\n" : "";
  shown.remove_suffix(end.size());
  write(type, service, operation, line, shownText(shown).append(end));
}

void Logger::StaticLogMethod(int type, const char* operation, int line, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  writeFormat(type, "host", operation, line, format, arguments);
  va_end(arguments);
}

void Logger::StaticLog(int type, const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  writeFormat(type, "host", nullptr, 0, format, arguments);
  va_end(arguments);
}

}  // namespace framework
