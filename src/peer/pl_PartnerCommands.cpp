// The operator's command on the partner link.
#include <algorithm>

#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "peer/pl_PartnerLink.h"
#include "sysinfo/record/si_Field.h"
#include "util/ut_TimeMeasure.h"

namespace services::peer {

namespace {

using framework::commandOf;
using framework::Console;
using strings::StringRepository;
using utility::Arguments;

// Both controllers side by side, a line a value.
framework::TableRows tableOf(const PeerRecord& own, const PeerRecord& partner) {
  framework::TableRows rows;
  for (const auto& field : sysinfo::controllerFields()) {
    rows.push_back({field.key, field.get(own.controller).value_or(""),
                    field.get(partner.controller).value_or("")});
  }
  rows.push_back({"BootId", own.bootId, partner.bootId});
  rows.push_back(
      {"SyncRole", StringRepository::toString(own.role), StringRepository::toString(partner.role)});
  rows.push_back({"Digest", own.digest.substr(0, 12), partner.digest.substr(0, 12)});
  return rows;
}

long long secondsSince(std::int64_t time) {
  return utility::TimeMeasure::getSeconds(utility::TimeMeasure::getTimestamp() - time);
}

// A line on the partner's daemons, as old as it says.
void showDaemons(Console& console, const app::PartnerSummary& summary) {
  const auto isUp = [](const auto& daemon) { return daemon.state == "Up"; };
  std::string failing;
  for (const auto& daemon : summary.daemons) {
    if (daemon.failures == 0) continue;
    failing += (failing.empty() ? ", failing: " : ", ") + daemon.name;
  }
  console.reply(framework::Ok, "the partner's daemons: %lld of %zu up%s%s; told %lld s ago\n",
                static_cast<long long>(std::ranges::count_if(summary.daemons, isUp)),
                summary.daemons.size(), summary.isWhole ? "" : ", others not told", failing.c_str(),
                secondsSince(summary.received));
}

int show(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 0) return 0;
  auto* link = framework::runningOrReply<PartnerLink>(console, "partner link");
  if (link == nullptr) return 1;
  const PartnerView now = link->view();
  const app::PairingStory story = link->story(now);
  if (now.partner) {
    framework::writeTable(console.output(), {{"", "Key"}, {"this", "This"}, {"partner", "Partner"}},
                          tableOf(now.own.record, *now.partner));
    console.reply(framework::Ok, "last answer %lld s ago\n",
                  static_cast<long long>(now.secondsSince));
  }
  for (const std::string& line : story.explanation) {
    console.reply(framework::Ok, "%s\n", line.c_str());
  }
  if (const auto summary = app::partnerSummary()) showDaemons(console, *summary);
  if (!story.stall.empty()) {
    console.reply(framework::Ok, "stalled: %s; to go on: %s\n", story.stall.c_str(),
                  story.remedy.c_str());
  }
  return 1;
}

int history(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 0) return 0;
  auto* link = framework::runningOrReply<PartnerLink>(console, "partner link");
  if (link == nullptr) return 1;
  for (const std::string& line : link->history()) {
    console.reply(framework::Ok, "%s\n", line.c_str());
  }
  return 1;
}

// The kinds of a push as the push program names them, "pushmc" and "pushcfg"; empty when another
// word was typed.
std::string kindsOf(const Arguments& arguments, unsigned int first) {
  bool firmware = false;
  bool settings = false;
  for (unsigned int i = first; i < arguments.ArgCount(); ++i) {
    const std::string word = arguments.ArgValue(i);
    if (word != "pushmc" && word != "pushcfg") return {};
    (word == "pushmc" ? firmware : settings) = true;
  }
  if (firmware && settings) return "firmware-settings";
  return firmware ? "firmware" : settings ? "settings" : "";
}

// "yes ID", "unguarded -", "wait WHAT"; a refusal, with its rule, has the code for it.
int reply(Console& console, const Answer& answer) {
  std::string words = answer.words;
  const bool isId = answer.isYes();
  if (!isId) std::ranges::replace(words, '_', ' ');
  constexpr const char* kinds[] = {"wait", "yes", "unguarded", "no"};
  console.reply(answer.kind == Answer::Kind::No ? framework::Refused : framework::Ok, "%s %s\n",
                kinds[static_cast<int>(answer.kind)], words.c_str());
  return 1;
}

// What a client holds ends with its connection.
void endAtClose(Console& console) {
  console.atClose("partner", [client = &console] {
    if (auto* link = PartnerLink::getSingleton()) link->end(client);
  });
}

int ask(Console& console, const Arguments& arguments) {
  const std::string kinds = kindsOf(arguments, 0);
  if (kinds.empty()) return 0;
  auto* link = framework::runningOrReply<PartnerLink>(console, "partner link");
  if (link == nullptr) return 1;
  endAtClose(console);
  return reply(console, link->ask(&console, kinds));
}

int checkOrSeal(Console& console, const Arguments& arguments, bool seals) {
  const std::string kinds = kindsOf(arguments, 1);
  if (kinds.empty()) return 0;
  auto* link = framework::runningOrReply<PartnerLink>(console, "partner link");
  if (link == nullptr) return 1;
  const std::string id = arguments.ArgValue(0);
  if (!seals) return reply(console, link->check(id, kinds));
  endAtClose(console);
  return reply(console, link->seal(&console, id, kinds));
}

int check(Console& console, const Arguments& arguments) {
  return checkOrSeal(console, arguments, false);
}

int seal(Console& console, const Arguments& arguments) {
  return checkOrSeal(console, arguments, true);
}

int done(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() != 0) return 0;
  if (auto* link = framework::runningOrReply<PartnerLink>(console, "partner link")) {
    link->end(&console);
  }
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {show, commandOf<"partner", "show">("PartnerShow",
                                        "partner show: what the link knows of both controllers.\n",
                                        "partner show\n")},
    {history,
     commandOf<"partner", "history">(
         "PartnerHistory", "partner history: what became of the pairing.\n", "partner history\n")},
    {ask, commandOf<"partner", "ask">(
              "PartnerAsk", "partner ask: whether this controller may push to the partner.\n",
              "partner ask [pushmc] [pushcfg]\n")},
    {check, commandOf<"partner", "check">(
                "PartnerCheck", "partner check: whether a ticket of the partner is true.\n",
                "partner check TICKET [pushmc] [pushcfg]\n")},
    {seal, commandOf<"partner", "seal">(
               "PartnerSeal", "partner seal: the same, before what it brings is put in force.\n",
               "partner seal TICKET [pushmc] [pushcfg]\n")},
    {done,
     commandOf<"partner", "done">("PartnerDone", "partner done: the push of this client is over.\n",
                                  "partner done\n")},
};

using PartnerCommands = framework::CommandTable<"PartnerCommands", "mcpeer", commands>;
const framework::ServiceFactory factory(PartnerCommands::build, "PartnerCommands");

}  // namespace

}  // namespace services::peer
