// The scopes of the stored values: which there are, and what belongs to them.
#include "sysinfo/record/si_Scopes.h"

#include "host/base/fw_Entrance.h"
#include "sysinfo/record/si_Field.h"
#include "sysinfo/record/si_SysInfo.h"
#include "sysinfo/record/us_User.h"

namespace services::sysinfo {

namespace {

constexpr std::string_view snmpChanged = "SnmpChanged";
constexpr std::string_view smisChanged = "SmisChanged";

struct Membership {
  std::string_view setting;
  std::string_view flag;
};

// What the SNMP agent's file is written from, and what the SMI-S provider starts from.
constexpr Membership memberships[] = {
    {"SnmpReadCommunity", snmpChanged},  {"SnmpWriteCommunity", snmpChanged},
    {"SnmpTrap1V4Address", snmpChanged}, {"SnmpTrap2V4Address", snmpChanged},
    {"SnmpTrap3V4Address", snmpChanged}, {"SmisDisable", smisChanged},
    {"UsmisEnable", smisChanged},
};

template <class Record>
const Grammar* grammarOf(std::span<const Field<Record>> fields, const std::string& key) {
  const auto* field = findField(fields, key);
  return field == nullptr ? nullptr : field->grammar;
}

bool isComponent(const std::string& scope) {
  return scope.starts_with(componentScope) &&
         framework::isDaemonName(scope.c_str() + componentScope.size());
}

}  // namespace

std::optional<RowKey> rowKeyOf(const std::string& key) {
  const std::size_t first = key.find('.');
  const std::size_t last = key.rfind('.');
  RowKey place;
  if (first == std::string::npos) {
    place = {systemScope, key};
  } else if (first == last) {
    place = {key.substr(0, first), key.substr(first + 1)};
  } else {
    place = {key.substr(0, last), key.substr(last + 1)};
    place.scope[first] = ' ';
  }
  const bool isUsers = place.scope.starts_with(userScope);
  const bool alias = place.scope == systemScope && first != std::string::npos;
  const bool known =
      !alias && place.scope != slotKey.scope && !isUsers && grammarAt(place) != nullptr;
  return known ? std::optional(place) : std::nullopt;
}

std::string keyOf(const RowKey& place) {
  if (place.scope == systemScope) return place.key;
  std::string scope = place.scope;
  if (scope.starts_with(componentScope)) scope[componentScope.size() - 1] = '.';
  return scope + "." + place.key;
}

const Grammar* grammarAt(const RowKey& place) {
  if (place.scope == systemScope) return grammarOf(settingFields(), place.key);
  if (place.scope == "A" || place.scope == "B") return grammarOf(controllerFields(), place.key);
  if (place == burnToActiveKey) return &flagGrammar;
  if (place.scope.starts_with(userScope)) return grammarOf(user::userFields(), place.key);
  return isComponent(place.scope) && place.key == revisionKey ? &versionGrammar : nullptr;
}

bool isOwnFlag(std::string_view key) { return key == snmpChanged || key == smisChanged; }

Rows rowsUnder(std::string_view flag, const Rows& rows) {
  Rows under;
  for (const auto& membership : memberships) {
    const auto row = rows.find({systemScope, std::string(membership.setting)});
    if (membership.flag == flag && row != rows.end()) under.insert(*row);
  }
  return under;
}

}  // namespace services::sysinfo
