// The operator's commands over the pairing of the controllers: "pairing show", which shows what was
// decided and decides nothing, and "pairing explain", which applies the rules to what is typed.
#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <string>

#include "app/pairing/app_BurnToActive.h"
#include "app/pairing/app_SyncRules.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_CommandTable.h"
#include "host/console/fw_ConsoleTable.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Grammar.h"

namespace services::ops {

namespace {

using app::BurnToActive;
using framework::commandOf;
using framework::Console;
using framework::Ok;
using strings::StringRepository;
using strings::stringtoken;
using sysinfo::MCInfo;
using utility::Arguments;

std::string textOf(const char* text) { return text == nullptr ? "" : text; }

std::vector<std::string> decisionRow(const char* name, stringtoken value, const std::string& rule) {
  return {name, StringRepository::toString(value), rule};
}

void showDecisions(Console& console, const BurnToActive::Decisions& known) {
  framework::writeTable(
      console.output(), {{"DECISION", "Decision"}, {"VALUE", "Value"}, {"RULE", "Rule"}},
      {decisionRow("local role", known.mySyncRole, known.rules.mySyncRole),
       decisionRow("partner role", known.partnerSyncRole, known.rules.partnerSyncRole),
       decisionRow("config action", known.configSyncAction, known.rules.configSyncAction),
       decisionRow("firmware action", known.pfuSyncAction, known.rules.pfuSyncAction)});
}

// The table of both controllers' records: a row for each, of the name and how it is read.
struct RecordRow {
  const char* name;
  std::string (*read)(const MCInfo& controller);
};

template <const char* (MCInfo::*read)() const>
std::string readText(const MCInfo& controller) {
  return textOf((controller.*read)());
}

std::string readMacSerial(const MCInfo& controller) {
  std::array<char, 32> serial;
  BurnToActive::makeControllerSN(controller.getMacAddress(), serial.data(), serial.size());
  return serial.data();
}

constexpr RecordRow recordRows[] = {
    {"serial", readText<&MCInfo::getControllerSerial>},
    {"MAC serial", readMacSerial},
    {"load midplane", readText<&MCInfo::getLoadMidplaneSerial>},
    {"last loaded", readText<&MCInfo::getLastLoadedTime>},
    {"last partner", readText<&MCInfo::getLastPairedPartnerSerial>},
    {"MC version", readText<&MCInfo::getMcVersion>},
    {"bundle version", readText<&MCInfo::getBundleVersion>},
    {"CPLD version", readText<&MCInfo::getCpldVersion>},
};

std::string cellOf(const RecordRow& row, const MCInfo* controller) {
  return controller == nullptr ? "" : row.read(*controller);
}

void showRecords(Console& console, const BurnToActive::Decisions& known) {
  const sysinfo::SysInfoReadGuard guard;
  const sysinfo::SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return;
  framework::TableRows rows;
  for (const RecordRow& row : recordRows) {
    rows.push_back(
        {row.name, cellOf(row, sysInfo->getMyMCInfo()), cellOf(row, sysInfo->getOtherMCInfo())});
  }
  rows.push_back({"handed over: serial", "", known.currentPartnerSN.value_or("")});
  rows.push_back({"handed over: loaded", "", known.partnerCodeloadTimestamp.value_or("")});
  framework::writeTable(console.output(),
                        {{"RECORD", "Record"}, {"LOCAL", "Local"}, {"PARTNER", "Partner"}}, rows);
  console.output().PutF(
      "controller %c in midplane %s; the partner's information is %s\n",
      sysinfo::SysInfoManager::getManager()->getMCNode(),
      sysInfo->getMidplaneSN() == nullptr ? "-" : sysInfo->getMidplaneSN(),
      sysinfo::SysInfoManager::getManager()->isValidPartner() ? "valid" : "not valid");
}

int show(Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  const BurnToActive::Decisions known = BurnToActive::getInstance()->decisions();
  showDecisions(console, known);
  showRecords(console, known);
  return 1;
}

// What was typed as "--KEY VALUE" pairs.
class Options {
 public:
  /// Nothing when something else was typed, or a key that is none of these or comes twice.
  static std::optional<Options> read(const Arguments& arguments,
                                     std::initializer_list<std::string> keys) {
    Options options;
    for (unsigned int i = 0; i < arguments.ArgCount(); i += 2) {
      const char* value = arguments.ArgValue(i + 1);
      const std::string key = arguments.ArgValue(i);
      if (value == nullptr || std::ranges::find(keys, key) == keys.end()) return std::nullopt;
      if (!options.m_values.emplace(key, value).second) return std::nullopt;
    }
    return options;
  }

  /// The value, or null; valid as long as this object.
  const char* get(const char* key) const {
    const auto found = m_values.find(key);
    return found == m_values.end() ? nullptr : found->second.c_str();
  }

 private:
  std::map<std::string, std::string> m_values;
};

int explainRole(Console& console, const Arguments& arguments) {
  const auto options =
      Options::read(arguments, {"--midplane", "--last-midplane", "--partner", "--last-partner"});
  if (!options || options->get("--midplane") == nullptr) return 0;
  const app::RoleDecision decision = app::decideRole({
      .midplane = options->get("--midplane"),
      .lastMidplane = options->get("--last-midplane"),
      .partner = options->get("--partner"),
      .lastPartner = options->get("--last-partner"),
  });
  console.reply(Ok, "%s\n%s\n", decision.rule, StringRepository::toString(decision.role));
  return 1;
}

std::optional<BurnToActive::SyncRole> roleOf(const char* text) {
  using enum BurnToActive::SyncRole;
  for (const auto role : {Undetermined, MasterUnpaired, MasterPaired, SlaveUnpaired, SlavePaired}) {
    if (textOf(text) == StringRepository::toString(role)) return role;
  }
  return std::nullopt;
}

bool isTime(const char* text) { return text == nullptr || sysinfo::timestampGrammar.holds(text); }

// The facts that the options give; nothing when one is missing or wrong.
std::optional<app::ActionFacts> actionFacts(const Options& options) {
  const auto mine = roleOf(options.get("--local"));
  const auto partner = roleOf(options.get("--partner"));
  const std::string letter = textOf(options.get("--letter"));
  const char* myTime = options.get("--local-time");
  const char* partnerTime = options.get("--partner-time");
  if (!mine || !partner || (letter != "A" && letter != "B")) return std::nullopt;
  if (!isTime(myTime) || !isTime(partnerTime)) return std::nullopt;
  return app::ActionFacts{.mine = *mine,
                          .partner = *partner,
                          .letter = letter[0],
                          .myTime = myTime,
                          .partnerTime = partnerTime};
}

int explainAction(Console& console, const Arguments& arguments) {
  const auto options = Options::read(
      arguments, {"--local", "--partner", "--letter", "--local-time", "--partner-time"});
  const auto facts = options ? actionFacts(*options) : std::nullopt;
  if (!facts) return 0;
  const app::ActionDecision config = app::decideConfigAction(*facts);
  const app::ActionDecision firmware = app::decideFirmwareAction(*facts);
  console.reply(Ok, "config: %s\nfirmware: %s\nconfig %s firmware %s\n", config.rule.c_str(),
                firmware.rule.c_str(), StringRepository::toString(config.action),
                StringRepository::toString(firmware.action));
  return 1;
}

const std::vector<framework::TableCommand> commands = {
    {show, commandOf<"pairing", "show">(
               "PairingShow",
               "pairing show: show roles, actions, the rules behind them, and the records.\n",
               "pairing show\n")},
    {explainRole,
     commandOf<"pairing", "explain", "role">(
         "PairingExplainRole", "pairing explain role: the role that these serial numbers give.\n",
         "pairing explain role --midplane S [--last-midplane S] [--partner S] [--last-partner "
         "S]\n")},
    {explainAction,
     commandOf<"pairing", "explain", "action">(
         "PairingExplainAction", "pairing explain action: the actions that these roles give.\n",
         "pairing explain action --local ROLE --partner ROLE --letter A|B [--local-time T] "
         "[--partner-time T]; ROLE is Undetermined, MasterUnpaired, MasterPaired, SlaveUnpaired or "
         "SlavePaired, T digits\n")},
};

using PairingCommands = framework::CommandTable<"PairingCommands", "mcops", commands>;
const framework::ServiceFactory factory(PairingCommands::build, "PairingCommands");

}  // namespace

}  // namespace services::ops
