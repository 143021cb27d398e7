// What services and commands print, as texts.
#pragma once

#include "host/base/ut_Debug.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_Shell.h"

namespace test {

/// All that the action puts into the stream that it is given.
template <typename Action>
std::string printed(Action action) {
  framework::Console console;
  action(console.output());
  std::string text;
  console.takeReply(text);
  return text;
}

/// The reply to a command as "CODE text"; the command is a line or its words.
template <typename Command>
std::string ask(const framework::Shell& shell, const Command& command,
                framework::Console& console) {
  shell.execute(command, console);
  std::string text;
  const int code = console.takeReply(text);
  return std::to_string(code) + " " + text;
}
template <typename Command>
std::string ask(const framework::Shell& shell, const Command& command) {
  framework::Console console;
  return ask(shell, command, console);
}

/// The debug lines of a service are written while this lives.
class DebugLines : public Unique {
 public:
  explicit DebugLines(strings::stringtoken service) : m_service(service) {
    utility::Debug::setDebug(m_service, true);
  }
  ~DebugLines() { utility::Debug::setDebug(m_service, false); }

 private:
  const strings::stringtoken m_service;
};

}  // namespace test
