// The shell: the commands by their words.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "host/console/fw_CommandHandler.h"

namespace framework {

/// Finds the command that a line names and has it answer. Commands are registered before the
/// console is served; from then on any thread may execute.
class Shell {
 public:
  /// The process's shell.
  static Shell& instance();

  /// Takes the command over. Where two commands have the same words, the first counts. While the
  /// shell takes none, an error line says so and the command is deleted.
  void registerCommand(CommandHandler* handler);

  /// Begins and ends to take commands; any shell but the process's takes them from the first. The
  /// process's does while the host asks its services for them: one that a constructor, Startup() or
  /// a thread brings would outlive a service that was not built, or meet a client's search.
  void takeCommands(bool take) { m_takes = take; }

  /// Splits the line and executes its words; an empty line does nothing. A first word "--json"
  /// asks for records (Console::askForRecords).
  void execute(const std::string& line, Console& console) const;

  /// Has the command with the longest match answer. Without one, the answer is the usage of the
  /// commands that begin with the same word, or that the command is unknown, with the code Usage.
  void execute(const std::vector<std::string>& words, Console& console) const;

  /// The commands that begin with these words, in the order of their words.
  std::vector<const CommandHandler*> commandsFrom(const utility::Arguments& words) const;

  /// The words that may stand behind these: those of commands, and what the command that they name
  /// knows (CommandHandler::commanddata::choices). Sorted, each once.
  std::vector<std::string> choices(const utility::Arguments& words) const;

  /// A command's words, joined by blanks.
  static std::string pathOf(const CommandHandler& handler);

  /// The line that enables a disabled console, as its command says; empty without one.
  std::string enablingLine() const;

 private:
  CommandHandler* find(const utility::Arguments& arguments) const;
  void replyUsage(const utility::Arguments& arguments, Console& console) const;

  std::atomic<bool> m_takes = true;
  std::vector<std::unique_ptr<CommandHandler>> m_handlers;
};

}  // namespace framework
