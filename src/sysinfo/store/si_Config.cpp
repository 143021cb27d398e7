// The table [sysinfo] of the configuration: the values with which a new store begins.
#include "sysinfo/store/si_Config.h"

#include <list>
#include <vector>

#include "host/base/st_StringRepository.h"
#include "host/service/fw_Config.h"
#include "host/service/fw_ServiceFactory.h"
#include "sysinfo/record/si_Field.h"
#include "sysinfo/record/si_MacAddress.h"
#include "sysinfo/record/si_RecordRows.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::sysinfo {

namespace {

using framework::PropertyRule;
using framework::PropertyType;

constexpr const char* section = "sysinfo";

// The keys that the table may hold; the list keeps their texts in place.
std::list<std::string> keys;

// The serial numbers of controllers with another prefix do not lead to their addresses.
void checkPrefix(const char* value, std::vector<framework::PropertyFinding>& findings) {
  const std::uint64_t address = parseMacAddress(value).value_or(0);
  if (address == 0 || address >> 24 == controllerPrefix) return;
  findings.push_back({false, std::string("does not begin with the controllers' prefix, ") +
                                 macAddressText(controllerPrefix << 24).substr(0, 8)});
}

PropertyRule ruleOf(const std::string& key, const Grammar& grammar) {
  const bool isFlag = &grammar == &flagGrammar;
  return {.key = keys.emplace_back(key).c_str(),
          .type = isFlag ? PropertyType::Boolean : PropertyType::Text,
          .check = &grammar == &macGrammar ? checkPrefix : nullptr,
          .holds = grammar.holds,
          .rule = grammar.rule};
}

std::vector<PropertyRule> allRules() {
  std::vector<PropertyRule> rules;
  for (const auto& field : settingFields()) {
    if (!isOwnFlag(field.key)) rules.push_back(ruleOf(field.key, *field.grammar));
  }
  for (const char* letter : {"A.", "B."}) {
    for (const auto& field : controllerFields()) {
      rules.push_back(ruleOf(std::string(letter) + field.key, *field.grammar));
    }
  }
  rules.push_back(ruleOf("release.HasBurnToActive", flagGrammar));
  for (const char* controller : {"controller_a_0", "controller_b_0"}) {
    rules.push_back(
        ruleOf(std::string("component.") + controller + ".CpldRevision", versionGrammar));
  }
  return rules;
}

const std::vector<PropertyRule> rules = allRules();
const framework::ServiceProperties properties(section, rules);

std::string textOf(const framework::Config& config, const PropertyRule& rule) {
  bool flag = false;
  if (config.getBoolValueOf(section, rule.key, false, &flag)) {
    return flag ? strings::pGStrue : strings::pGSfalse;
  }
  const char* text = "";
  config.getStringValueOf(section, rule.key, false, &text);
  return text;
}

}  // namespace

Rows firstRows(const framework::Config& config, char node) {
  SysInfo initial;
  initial.makeMCInfo(node);
  Rows rows = rowsOf(initial);
  rows[burnToActiveKey] = strings::pGStrue;
  for (const auto& rule : rules) {
    const std::string text = textOf(config, rule);
    if (!text.empty() && rule.holds(text.c_str())) rows[*rowKeyOf(rule.key)] = text;
  }
  return rows;
}

}  // namespace services::sysinfo
