// The operator's command on the partner link.
#include "peer/pl_PartnerCommands.h"

#include <array>

#include "host/framework/fw_CommandHandler.h"
#include "host/framework/fw_Console.h"
#include "host/framework/fw_ConsoleTable.h"
#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/fw_Shell.h"
#include "host/framework/st_StringRepository.h"
#include "host/sysinfo/si_Field.h"
#include "peer/pl_PartnerLink.h"

namespace services::peer {

namespace {

using framework::CommandHandler;
using framework::Console;
using strings::StringRepository;

framework::Service* BuildPartnerCommands(const char* name) { return new PartnerCommands(name); }
const framework::ServiceFactory pFactoryPartnerCommands(BuildPartnerCommands, "PartnerCommands");

constexpr std::array<strings::stringtoken, 2> showPath = {strings::tGSpartner, strings::tGSshow};
const CommandHandler::commanddata showData = {
    "PartnerShow", "partner show: what the link knows of both controllers.\n", "partner show\n",
    showPath.size(), showPath.data()};

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
  const PartnerLink* link = PartnerLink::getSingleton();
  if (link == nullptr) {
    console.reply(framework::Refused, "no partner link runs in this host\n");
    return 1;
  }
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

const framework::ServiceInfo info = {strings::tGSPartnerCommands, strings::tGSPartnerCommands,
                                     strings::tGSpeerClass};

}  // namespace

const framework::ServiceInfo* PartnerCommands::serviceInfo() const { return &info; }

void PartnerCommands::initializeCommands(framework::Shell& shell) {
  shell.registerCommand(new framework::FunctionCommand(showData, show));
}

}  // namespace services::peer
