// What a controller tells its partner about itself.
#include "peer/pl_PeerRecord.h"

#include <algorithm>
#include <sstream>

#include "host/base/st_StringRepository.h"
#include "host/network/nw_SignedExchange.h"
#include "peer/pl_SummaryText.h"
#include "sysinfo/record/si_Field.h"

namespace services::peer {

using app::BurnToActive;

namespace {

// The values beside those of the controller. Each is a serial number by its form.
struct Extra {
  const char* key;
  std::string& (*value)(PeerRecord& record);
};
constexpr Extra extras[] = {
    {"BootId", [](PeerRecord& r) -> std::string& { return r.bootId; }},
    {"Digest", [](PeerRecord& r) -> std::string& { return r.digest; }},
    {"RoleForSerial", [](PeerRecord& r) -> std::string& { return r.roleForSerial; }},
    {"RoleForBoot", [](PeerRecord& r) -> std::string& { return r.roleForBoot; }},
    {"MidplaneSN", [](PeerRecord& r) -> std::string& { return r.midplane; }},
    {"Ask", [](PeerRecord& r) -> std::string& { return r.ask.id; }},
    {"AskKinds", [](PeerRecord& r) -> std::string& { return r.ask.kinds; }},
    {"AskSerial", [](PeerRecord& r) -> std::string& { return r.ask.toSerial; }},
    {"AskBoot", [](PeerRecord& r) -> std::string& { return r.ask.toBoot; }},
    {"VerdictFor", [](PeerRecord& r) -> std::string& { return r.verdictFor; }},
    {"Verdict", [](PeerRecord& r) -> std::string& { return r.verdict; }},
};
struct RoleKey {
  const char* key;
  BurnToActive::SyncRole PeerRecord::*value;
};
constexpr RoleKey roleKeys[] = {{"SyncRole", &PeerRecord::role},
                                {"PartnerRole", &PeerRecord::partnerRole}};
struct FlagKey {
  const char* key;
  bool PeerRecord::*value;
};
constexpr FlagKey flagKeys[] = {{"PfuDisabled", &PeerRecord::isUpdateDisabled},
                                {"HasBurnToActive", &PeerRecord::decides},
                                {"Consents", &PeerRecord::consents},
                                {"GivesByVersions", &PeerRecord::givesByVersions}};

constexpr BurnToActive::SyncRole roles[] = {
    BurnToActive::Undetermined,  BurnToActive::MasterUnpaired, BurnToActive::MasterPaired,
    BurnToActive::SlaveUnpaired, BurnToActive::SlavePaired,
};

std::string lineOf(const char* key, const std::string& value) {
  return std::string(key) + "=" + value + "\n";
}

const char* takeRole(BurnToActive::SyncRole& taken, const std::string& value) {
  for (const auto role : roles) {
    if (value != strings::StringRepository::toString(role)) continue;
    taken = role;
    return nullptr;
  }
  return "must be a sync role";
}

// Takes one value. Answers the rule that it breaks, or null.
const char* take(PeerRecord& record, const std::string& key, const std::string& value) {
  if (const auto* field = findField(sysinfo::controllerFields(), key)) {
    return sysinfo::setField(*field, record.controller, value);
  }
  for (const Extra& extra : extras) {
    if (key != extra.key) continue;
    if (!sysinfo::serialGrammar.holds(value.c_str())) return sysinfo::serialGrammar.rule;
    extra.value(record) = value;
  }
  for (const FlagKey& flag : flagKeys) {
    if (key == flag.key) record.*flag.value = value == strings::pGStrue;
  }
  for (const RoleKey& known : roleKeys) {
    if (key == known.key) return takeRole(record.*known.value, value);
  }
  return takeSummary(record.summary, key, value);
}

// The log names the key that was refused, and a zero byte would end a value before its grammar saw
// the rest.
bool isPrintable(const std::string& line) {
  return std::ranges::all_of(line, [](char c) { return c >= ' ' && c <= '~'; });
}

const char* missingIn(const PeerRecord& record) {
  const char* serial = record.controller.getControllerSerial();
  if (serial == nullptr || *serial == '\0') return "no serial number";
  if (record.controller.getMacAddress() == 0) return "no MAC address";
  return record.bootId.empty() ? "no boot id" : nullptr;
}

}  // namespace

std::string textOf(const sysinfo::MCInfo& controller) {
  std::string text;
  for (const auto& field : sysinfo::controllerFields()) {
    if (const auto value = field.get(controller)) text += lineOf(field.key, *value);
  }
  return text;
}

std::string textOf(const PeerRecord& record) {
  std::string text = textOf(record.controller);
  PeerRecord values = record;
  for (const Extra& extra : extras) {
    const std::string& value = extra.value(values);
    if (value != PeerRecord::untold) text += lineOf(extra.key, value);
  }
  for (const RoleKey& known : roleKeys) {
    text += lineOf(known.key, strings::StringRepository::toString(record.*known.value));
  }
  for (const FlagKey& flag : flagKeys) {
    text += lineOf(flag.key, record.*flag.value ? strings::pGStrue : strings::pGSfalse);
  }
  if (record.summary)
    text +=
        textOf(*record.summary, network::longestBody - std::min(text.size(), network::longestBody));
  return text;
}

std::optional<PeerRecord> recordOf(const std::string& text, std::string& failure) {
  PeerRecord record;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    if (!isPrintable(line)) {
      failure = "the record has a line that is not printable text";
      return std::nullopt;
    }
    const std::size_t equals = line.find('=');
    const std::string key = line.substr(0, equals);
    const char* broken = equals == std::string::npos ? "a line is KEY=VALUE"
                                                     : take(record, key, line.substr(equals + 1));
    if (broken == nullptr) continue;
    failure = key.substr(0, 32) + " " + broken;
    return std::nullopt;
  }
  if (const char* missing = missingIn(record)) {
    failure = missing;
    return std::nullopt;
  }
  return record;
}

}  // namespace services::peer
