// The console commands that steer the log: debug and log.
#include <algorithm>
#include <array>

#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/console/fw_HostCommands.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_DebugFlags.h"

namespace framework {

namespace {

using utility::Arguments;
using utility::Debug;

std::vector<std::string> flagNames(unsigned int place) {
  return place == 0 ? debugFlagNames() : std::vector<std::string>();
}

std::vector<std::string> levelNames(unsigned int place) {
  if (place > 0) return {};
  return {"error", "warning", "info", "debug", "trace"};
}

template <bool on>
int switchFlag(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* name = arguments.ArgValue(0);
  const auto names = debugFlagNames();
  if (std::ranges::find(names, name) == names.end()) {
    console.reply(Refused, "no such debug flag: %s; there are:\n", name);
    for (const std::string& known : names) console.reply(Refused, "  %s\n", known.c_str());
    return 1;
  }
  if (!Debug::setDebug(strings::GS.toToken(name), on)) {
    console.reply(Refused, "debug flag %s cannot be switched\n", name);
    return 1;
  }
  console.reply(Ok, "debug %s for %s\n", on ? "on" : "off", name);
  if (on && Logger::getLevel() < LogType::Debug) {
    console.reply(Ok, "the log leaves debug lines out; see: log level debug\n");
  }
  return 1;
}

int listFlags(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  TableRows rows;
  for (const std::string& name : debugFlagNames()) {
    rows.push_back({name, Debug::isDebugOn(strings::GS.toToken(name.c_str())) ? "on" : "off"});
  }
  writeTable(console.output(), {{"NAME", "Name"}, {"DEBUG", "Enabled", Cell::Flag}}, rows);
  return 1;
}

const char* levelName() {
  constexpr std::array<const char*, 4> names = {"error", "warning", "info", "debug"};
  const auto* found = std::ranges::find_if(
      names, [](const char* name) { return Logger::levelOf(name) == Logger::getLevel(); });
  return found == names.end() ? "trace" : *found;
}

int logLevel(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 1) return 0;
  if (const char* name = arguments.ArgValue(0)) {
    const int level = Logger::levelOf(name);
    if (level < 0) return 0;
    Logger::setLevel(level);
  }
  console.reply(Ok, "log level %s\n", levelName());
  return 1;
}

}  // namespace

void registerLogCommands(Shell& shell) {
  registerCommands(
      shell,
      {
          {switchFlag<true>,
           commandOf<"debug", "on">("DebugOn",
                                    "debug on: write the debug lines of a service or of a flag.\n",
                                    "debug on NAME\n", nullptr, flagNames)},
          {switchFlag<false>,
           commandOf<"debug", "off">("DebugOff", "debug off: write them no more.\n",
                                     "debug off NAME\n", nullptr, flagNames)},
          {listFlags, commandOf<"debug", "list">("DebugList", "debug list: list the debug flags.\n",
                                                 "debug list\n")},
          {logLevel, commandOf<"log", "level">(
                         "LogLevel",
                         "log level: show or set the log's level: error, warning, info, debug or "
                         "trace.\n",
                         "log level [error|warning|info|debug|trace]\n", nullptr, levelNames)},
      });
}

}  // namespace framework
