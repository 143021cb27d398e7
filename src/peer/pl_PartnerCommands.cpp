// The operator's command on the partner link.
#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "peer/pl_PartnerLink.h"
#include "sysinfo/record/si_Field.h"

namespace services::peer {

namespace {

using framework::commandOf;
using framework::Console;
using strings::StringRepository;

// Both controllers side by side, a line a value.
framework::TableRows tableOf(const PartnerLink::Standing& now) {
  framework::TableRows rows = {{"", "this", "partner"}};
  for (const auto& field : sysinfo::controllerFields()) {
    rows.push_back({field.key, field.get(now.own.controller).value_or(""),
                    field.get(now.partner.controller).value_or("")});
  }
  rows.push_back({"BootId", now.own.bootId, now.partner.bootId});
  rows.push_back({"SyncRole", StringRepository::toString(now.own.role),
                  StringRepository::toString(now.partner.role)});
  rows.push_back({"Digest", now.own.digest.substr(0, 12), now.partner.digest.substr(0, 12)});
  return rows;
}

int show(Console& console, const utility::Arguments& arguments) {
  if (arguments.ArgCount() != 0) return 0;
  const auto* link = framework::runningOrReply<PartnerLink>(console, "partner link");
  if (link == nullptr) return 1;
  const auto now = link->standing();
  if (!now.isThere) {
    console.reply(framework::Ok, "the partner is silent: %s\n",
                  now.failure.empty() ? "not yet asked" : now.failure.c_str());
    return 1;
  }
  framework::writeTable(console.output(), tableOf(now));
  console.reply(framework::Ok, "%s; last answer %lld s ago%s%s\n",
                now.equal ? "equal" : "different", static_cast<long long>(now.secondsSince),
                now.held ? "; not yet paired on both sides" : "",
                now.failure.empty() ? "" : ("; not heard: " + now.failure).c_str());
  if (now.stall != nullptr) console.reply(framework::Ok, "stalled: %s\n", now.stall);
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {show, commandOf<"partner", "show">("PartnerShow",
                                        "partner show: what the link knows of both controllers.\n",
                                        "partner show\n")},
};

using PartnerCommands = framework::CommandTable<"PartnerCommands", "mcpeer", commands>;
const framework::ServiceFactory factory(PartnerCommands::build, "PartnerCommands");

}  // namespace

}  // namespace services::peer
