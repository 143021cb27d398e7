// The operator's commands that send mail.
#include "ops/op_MailCommands.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "app/app_AppManager.h"
#include "host/framework/fw_CommandHandler.h"
#include "host/framework/fw_CommandLine.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_Entrance.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_Shell.h"
#include "host/framework/ut_Path.h"

namespace services::ops {

namespace {

using app::AppManager;
using framework::CommandHandler;
using framework::Console;
using framework::Ok;
using framework::Refused;
using strings::stringtoken;
using utility::Arguments;

framework::Service* BuildMailCommands(const char* name) { return new MailCommands(name); }
const framework::ServiceFactory pFactoryMailCommands(BuildMailCommands, "MailCommands");

constexpr std::array<stringtoken, 2> simplePath = {strings::tGSmail, strings::tGSsimple};
const CommandHandler::commanddata simpleData = {
    "MailSimple", "mail simple: mail a text through the product's relay.\n",
    "mail simple TO FROM SUBJECT TEXT\n", simplePath.size(), simplePath.data()};

constexpr std::array<stringtoken, 2> managedLogsPath = {strings::tGSmail,
                                                        strings::tGSmanagedLogsMail};
const CommandHandler::commanddata managedLogsData = {
    "MailManagedLogs", "mail managed-logs: mail a managed-log file to the configured address.\n",
    "mail managed-logs FILE\n", managedLogsPath.size(), managedLogsPath.data()};

bool isPlainText(const char* text) {
  return std::ranges::none_of(std::string_view(text), framework::isControl);
}

// What is asked of an argument, in the order of the arguments.
struct Check {
  const char* place;
  bool (*holds)(const char* text);
  const char* rule;
};
constexpr std::array<Check, 4> simpleChecks = {{
    {"TO", framework::isMailAddress, framework::mailAddressRule},
    {"FROM", framework::isMailAddress, framework::mailAddressRule},
    {"SUBJECT", isPlainText, "must hold no control character"},
    {"TEXT", isPlainText, "must hold no control character"},
}};

int sendSimple(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != simpleChecks.size()) return 0;
  for (unsigned int i = 0; i < simpleChecks.size(); ++i) {
    const Check& check = simpleChecks[i];
    if (check.holds(arguments.ArgValue(i))) continue;
    console.reply(Refused, "%s %s\n", check.place, check.rule);
    return 1;
  }
  AppManager::sendSimpleMail(arguments.ArgValue(0), arguments.ArgValue(1), arguments.ArgValue(2),
                             arguments.ArgValue(3));
  console.reply(Ok, "mail to %s issued\n", arguments.ArgValue(0));
  return 1;
}

int sendManagedLogs(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* file = arguments.ArgValue(0);
  const AppManager* manager = AppManager::getSingleton();
  if (!framework::isSafePath(file)) {
    console.reply(Refused, "FILE %s\n", framework::safePathRule);
  } else if (!utility::Path::exists(file)) {
    console.reply(Refused, "no such file: %s\n", file);
  } else if (manager == nullptr) {
    console.reply(Refused, "no process supervision runs in this host\n");
  } else {
    manager->sendManagedLogsMail(0, 0, file);
    console.reply(Ok, "managed-log mail of %s issued\n", file);
  }
  return 1;
}

const framework::ServiceInfo info = {strings::tGSMailCommands, strings::tGSMailCommands,
                                     strings::tGSoperatorClass};

}  // namespace

const framework::ServiceInfo* MailCommands::serviceInfo() const { return &info; }

void MailCommands::initializeCommands(framework::Shell& shell) {
  shell.registerCommand(new framework::FunctionCommand(simpleData, sendSimple));
  shell.registerCommand(new framework::FunctionCommand(managedLogsData, sendManagedLogs));
}

}  // namespace services::ops
