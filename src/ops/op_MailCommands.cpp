// The operator's commands that send mail. They check what is typed, since it reaches command lines
// and header lines, and wait for sendmail, whose command is in the log.
#include <algorithm>
#include <array>

#include "app/supervision/app_AppManager.h"
#include "host/base/fw_Entrance.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_CommandTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/fw_ShownText.h"

namespace services::ops {

namespace {

using app::AppManager;
using framework::commandOf;
using framework::Console;
using framework::Ok;
using framework::Refused;
using utility::Arguments;

bool isPlainText(const char* text) { return framework::isShown(text); }
constexpr const char* plainTextRule = "must be UTF-8 without control characters";

// What is asked of an argument, in the order of the arguments.
struct Check {
  const char* place;
  bool (*holds)(const char* text);
  const char* rule;
};
constexpr std::array<Check, 4> simpleChecks = {{
    {"TO", framework::isMailAddress, framework::mailAddressRule},
    {"FROM", framework::isMailAddress, framework::mailAddressRule},
    {"SUBJECT", isPlainText, plainTextRule},
    {"TEXT", isPlainText, plainTextRule},
}};

// `what` and `name` are those of the mail.
void replyIssued(Console& console, bool issued, const char* what, const char* name) {
  if (issued) {
    console.reply(Ok, "%s %s issued\n", what, name);
  } else {
    console.reply(Refused, "nothing is mailed; the log says why\n");
  }
}

int sendSimple(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != simpleChecks.size()) return 0;
  for (unsigned int i = 0; i < simpleChecks.size(); ++i) {
    const Check& check = simpleChecks[i];
    if (check.holds(arguments.ArgValue(i))) continue;
    console.reply(Refused, "%s %s\n", check.place, check.rule);
    return 1;
  }
  const bool issued =
      AppManager::mailSimple(__PRETTY_FUNCTION__, arguments.ArgValue(0), arguments.ArgValue(1),
                             arguments.ArgValue(2), arguments.ArgValue(3));
  replyIssued(console, issued, "mail to", arguments.ArgValue(0));
  return 1;
}

// Why no managed-log mail can be sent; null when one can.
const char* managedLogsRefusal() {
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr || !sysInfo->getManagedLogsEnable()) return "ManagedLogsEnable is off";
  return *sysInfo->getEmailAddr4() == '\0' ? "EmailAddr4 is empty" : nullptr;
}

int sendManagedLogs(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 1) return 0;
  const char* file = arguments.ArgValue(0);
  if (!framework::isSafePath(file)) {
    console.reply(Refused, "FILE %s\n", framework::safePathRule);
  } else if (!utility::Path::exists(file)) {
    console.reply(Refused, "no such file: %s\n", file);
  } else if (!utility::Path::isFile(file)) {
    console.reply(Refused, "no regular file: %s\n", file);
  } else if (const char* refusal = managedLogsRefusal()) {
    console.reply(Refused, "nothing is mailed: %s; see: sysinfo show\n", refusal);
  } else if (const auto* manager =
                 framework::runningOrReply<AppManager>(console, "process supervision")) {
    replyIssued(console, manager->mailManagedLogs(__PRETTY_FUNCTION__, file), "managed-log mail of",
                file);
  }
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {sendSimple, commandOf<"mail", "simple">(
                     "MailSimple", "mail simple: mail a text through the product's relay.\n",
                     "mail simple TO FROM SUBJECT TEXT\n")},
    {sendManagedLogs, commandOf<"mail", "managed-logs">(
                          "MailManagedLogs",
                          "mail managed-logs: mail a managed-log file to the configured address.\n",
                          "mail managed-logs FILE\n")},
};

using MailCommands = framework::CommandTable<"MailCommands", "mcops", commands>;
const framework::ServiceFactory factory(MailCommands::build, "MailCommands");

}  // namespace

}  // namespace services::ops
