// The operator's commands over the system information: "sysinfo show|get|set". No secret is ever in
// a reply.
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/console/fw_Nearest.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_Values.h"

namespace services::ops {

namespace {

using framework::commandOf;
using framework::Console;
using framework::Ok;
using framework::Refused;
using utility::Arguments;

std::vector<std::string> keys(unsigned int place) {
  std::vector<std::string> keys;
  if (place % 2 != 0) return keys;  // a value
  for (const sysinfo::Value& value : sysinfo::listValues()) keys.push_back(value.key);
  return keys;
}

int show(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  framework::TableRows rows;
  for (const sysinfo::Value& value : sysinfo::listValues()) {
    rows.push_back({value.key, value.secret ? "(secret)" : value.text});
  }
  framework::writeTable(console.output(), {{"KEY", "Key"}, {"VALUE", "Value"}}, rows);
  return 1;
}

int get(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* key = arguments.ArgValue(0);
  const auto value = sysinfo::findValue(key);
  if (!value) {
    const std::string near = framework::didYouMean(key, keys(0));
    console.reply(Refused, "no such key: %s%s\n", key,
                  near.empty() ? "; see: sysinfo show" : near.c_str());
  } else if (value->secret) {
    console.reply(Refused, "%s is a secret and not shown\n", key);
  } else {
    console.reply(Ok, "%s\n", value->text.c_str());
  }
  return 1;
}

int set(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() == 0 || arguments.ArgCount() % 2 != 0) return 0;
  std::vector<std::pair<std::string, std::string>> changes;
  for (unsigned int i = 0; i < arguments.ArgCount(); i += 2) {
    changes.emplace_back(arguments.ArgValue(i), arguments.ArgValue(i + 1));
  }
  const std::string refusal = sysinfo::changeValues(changes);
  if (!refusal.empty()) {
    console.reply(Refused, "%s\n", refusal.c_str());
    return 1;
  }
  for (const auto& [key, value] : changes) console.reply(Ok, "%s set\n", key.c_str());
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {show, commandOf<"sysinfo", "show">(
               "SysInfoShow", "sysinfo show: list the values of the system information.\n",
               "sysinfo show\n")},
    {get,
     commandOf<"sysinfo", "get">("SysInfoGet", "sysinfo get: show one value that is no secret.\n",
                                 "sysinfo get KEY\n", nullptr, keys)},
    {set, commandOf<"sysinfo", "set">(
              "SysInfoSet",
              "sysinfo set: change values, all in one; an empty one gives the initial value.\n",
              "sysinfo set KEY VALUE [KEY VALUE]...\n", nullptr, keys)},
};

using SysInfoCommands = framework::CommandTable<"SysInfoCommands", "mcops", commands>;
const framework::ServiceFactory factory(SysInfoCommands::build, "SysInfoCommands");

}  // namespace

}  // namespace services::ops
