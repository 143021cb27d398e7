// Console commands, written as a table.
#pragma once

#include <array>
#include <vector>

#include "host/console/fw_CommandBundle.h"
#include "host/console/fw_CommandHandler.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_Shell.h"

namespace framework {

/// A row of a table: what does a command, and its texts.
struct TableCommand {
  FunctionCommand::Function run;
  CommandHandler::commanddata data;
};

template <strings::Literal... words>
inline constexpr std::array<strings::stringtoken, sizeof...(words)> pathOf = {
    strings::token<words>...};

/// The texts of the command that these words make.
template <strings::Literal... words>
constexpr CommandHandler::commanddata commandOf(
    const char* name, const char* help, const char* usage, const char* enabling = nullptr,
    std::vector<std::string> (*choices)(unsigned int) = nullptr) {
  return {name, help, usage, sizeof...(words), pathOf<words...>.data(), enabling, choices};
}

/// Registers the commands of a table.
inline void registerCommands(Shell& shell, const std::vector<TableCommand>& table) {
  for (const auto& [run, data] : table) shell.registerCommand(new FunctionCommand(data, run));
}

/// The service of this name and class whose commands are those of `table`, which lives as
/// long as the program.
template <strings::Literal name, strings::Literal serviceClass,
          const std::vector<TableCommand>& table>
class CommandTable : public CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  /// What the service's factory takes.
  static Service* build(const char* instanceName) { return new CommandTable(instanceName); }

  const ServiceInfo* serviceInfo() const override { return &m_info; }
  void initializeCommands(Shell& shell) override { registerCommands(shell, table); }

 private:
  static constexpr ServiceInfo m_info = {strings::token<name>, strings::token<name>,
                                         strings::token<serviceClass>};
};

/// The service of this class that runs in the host; where none does, the command replies that
/// `what` does not run, and the answer is null.
template <typename Service>
auto* runningOrReply(Console& console, const char* what) {
  auto* service = Service::getSingleton();
  if (service == nullptr) console.reply(Refused, "no %s runs in this host\n", what);
  return service;
}

}  // namespace framework
