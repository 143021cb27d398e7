// The log: levels, lines, and where the lines go.
#pragma once

#include <chrono>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>

namespace framework {

/// The weight of a log line; the static calls take it as a number. Debug and trace lines are
/// written only by those whose debug flag is on (utility::Debug), so the level seldom needs to hold
/// them back.
enum LogType { Error = 0, Warning = 1, Info = 2, Debug = 3, Trace = 4 };

/// Where the log is written and what is let through.
struct LogSettings {
  std::string destination = "stderr";  ///< "stderr", or the path of a file to append to
  int level = LogType::Trace;          ///< the highest type that is written
};

/// A taker of finished log lines, and the log itself in its static calls.
///
/// A line reads "2026-11-22 03:04:05.678 info    AppManager: text"; a method-level one
/// "... AppManager [sendMail:150]: text", with the operation's name without its signature. Writing
/// never blocks: lines go to a bounded queue that the logging thread empties; when it is full the
/// oldest are dropped, counted, and the count is logged. A text is cut at 9215 bytes and written as
/// shownText() gives it, a line feed at its end kept; the report of LogInfoS as shownLines() does.
/// Until start() and from stop() on lines are written at once, after stop() to standard error. Any
/// thread may write at any time.
class Logger {
 public:
  virtual ~Logger() = default;

  /// Takes one finished line with its line end, on the logging thread or, what came before it was
  /// registered, on that which registers it. What it logs while the log
  /// is started comes in later lines; before start() and from stop() on it is dropped.
  virtual void takeLine(int type, const char* line, std::size_t size) = 0;

  /// Begins to write to the destination. False, with nothing changed, when the file cannot be
  /// opened; errno tells why. Call from the main thread.
  static bool start(const LogSettings& settings);

  /// Writes what is queued and goes back to standard error.
  static void stop();

  /// Returns when what was logged before is written, or `limit` has passed. Any thread may call.
  static void drain(std::chrono::milliseconds limit);

  /// How many lines were dropped since the process began, as far as that was reported. Any thread
  /// may call.
  static std::uint64_t dropped();

  /// The highest type written; set from any thread.
  static int getLevel();
  static void setLevel(int type);
  /// The type of a level's name ("error", "warning", "info", "debug", "trace"), or -1.
  static int levelOf(const char* name);

  /// Adds or takes out a further taker of lines, which stays the caller's. One that is the first
  /// since start() is given the lines since then, at most the first 1024, before the call returns.
  /// Once unregisterLogger() returned, the taker is not called again.
  static void registerLogger(Logger* logger);
  static void unregisterLogger(Logger* logger);

  static void StaticLogMethod(int type, const char* operation, int line, const char* format, ...)
      __attribute__((format(printf, 4, 5)));
  static void StaticLog(int type, const char* format, ...) __attribute__((format(printf, 2, 3)));

  /// What the calls above and those of Entity come down to. `operation` is a name or a whole
  /// signature (__PRETTY_FUNCTION__), null for a plain line. The
  /// text of write() holds nothing that is not shown but line feeds.
  static void write(int type, const char* service, const char* operation, int line,
                    const std::string& text);
  [[gnu::format(printf, 5, 0)]] static void writeFormat(int type, const char* service,
                                                        const char* operation, int line,
                                                        const char* format, std::va_list arguments);
};

}  // namespace framework
