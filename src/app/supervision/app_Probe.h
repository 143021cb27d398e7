// A question to a daemon whether it works.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace services::app {

/// "tcp:PORT" asks whether somebody takes a connection at that port of 127.0.0.1, "unix:PATH" the
/// same of a stream socket, and "exec:COMMAND" whether that shell command ends with status 0.
class Probe {
 public:
  /// Nothing for a text that breaks the grammar.
  static std::optional<Probe> parse(const std::string& text);
  static bool isProbe(const char* text) { return parse(text).has_value(); }
  static constexpr const char* rule =
      "must be \"tcp:\" and a port, \"unix:\" and an absolute path of at most 107 letters, digits "
      "and \"/_-.+,:@=\", or \"exec:\" and a command of one line that does not end with \"&\"";

  /// Asks and waits for the answer, at most that long: empty when all is well, else what is wrong,
  /// in one line. A connection is no longer waited for once `stopped` answers true, a command is.
  /// Any thread may call.
  std::string ask(int limitSeconds, const std::function<bool()>& stopped) const;

  /// The text that it was made of.
  const std::string& text() const { return m_text; }

 private:
  enum class Kind { Tcp, Unix, Exec };

  Probe(Kind kind, std::string text, std::string target)
      : m_kind(kind), m_text(std::move(text)), m_target(std::move(target)) {}

  Kind m_kind;
  std::string m_text;
  std::string m_target;  // the port, the path or the command
};

}  // namespace services::app
