// The stored values by their keys, for the console.
#include "sysinfo/manager/si_Values.h"

#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/si_Field.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::sysinfo {

namespace {

constexpr const char* noInformation = "there is no system information";

Value valueOf(const RowKey& place, const std::string& text) {
  const bool secret = grammarAt(place)->secret;
  return {keyOf(place), secret ? std::string() : text, secret};
}

template <class Record>
void addValues(const std::string& scope, const Record& record,
               std::span<const Field<Record>> fields, std::vector<Value>& values) {
  for (const auto& field : fields) {
    values.push_back(valueOf({scope, field.key}, field.get(record).value_or("")));
  }
}

std::string refusalOf(const std::string& key, const std::string& value) {
  const auto place = rowKeyOf(key);
  if (!place) return key + ": no such key";
  if (isOwnFlag(place->key)) return key + " is set by the store alone";
  const Grammar* grammar = grammarAt(*place);
  const bool resets = value.empty() && !grammar->secret;
  return resets || grammar->holds(value.c_str()) ? std::string() : key + " " + grammar->rule;
}

void set(SysInfo& sysInfo, const RowKey& place, const std::string& value) {
  const char* text = value.empty() ? nullptr : value.c_str();
  if (place.scope == systemScope) {
    findField(settingFields(), place.key)->set(sysInfo, text);
  } else if (place.scope == "A" || place.scope == "B") {
    findField(controllerFields(), place.key)->set(sysInfo.makeMCInfo(place.scope[0]), text);
  } else if (text == nullptr) {
    SysInfoManager::getManager()->others().erase(place);
  } else {
    SysInfoManager::getManager()->others()[place] = value;
  }
}

}  // namespace

std::vector<Value> listValues() {
  std::vector<Value> values;
  const SysInfoReadGuard guard;
  const SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) return values;
  addValues(systemScope, *sysInfo, settingFields(), values);
  for (const char letter : {'A', 'B'}) {
    const MCInfo* controller = sysInfo->getMCInfo(letter);
    if (controller != nullptr) {
      addValues(std::string(1, letter), *controller, controllerFields(), values);
    }
  }
  for (const auto& [place, text] : SysInfoManager::getManager()->others()) {
    if (place != slotKey) values.push_back(valueOf(place, text));
  }
  return values;
}

std::optional<Value> findValue(const std::string& key) {
  for (auto& value : listValues()) {
    if (value.key == key) return value;
  }
  const auto place = rowKeyOf(key);
  return place ? std::optional(valueOf(*place, "")) : std::nullopt;
}

std::string changeValues(const std::vector<std::pair<std::string, std::string>>& changes) {
  for (const auto& [key, value] : changes) {
    if (std::string refusal = refusalOf(key, value); !refusal.empty()) return refusal;
  }
  SysInfoWriteGuard guard;
  if (guard.getObject() == nullptr) return noInformation;
  for (const auto& [key, value] : changes) set(*guard.getObject(), *rowKeyOf(key), value);
  return guard.freeObject() ? "" : "the change could not be stored; the log says why";
}

}  // namespace services::sysinfo
