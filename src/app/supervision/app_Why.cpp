// Why a daemon is in its state, and what would change that, for those who wonder.
#include "app/supervision/app_Why.h"

#include "host/base/st_StringRepository.h"
#include "host/console/fw_ConsoleTable.h"
#include "util/ut_PutStream.h"

namespace services::app {

namespace {

void addRows(framework::TableRows& rows, const char* when, const StateRule& rule,
             const StateFacts& facts, bool hold) {
  for (const StateCondition* one : conditionsOf(rule, facts, hold)) {
    std::string holds = hold ? "yes" : "no";
    if (one->limit != nullptr) {
      holds += ", " + std::to_string(facts.stateSeconds) + " of " +
               std::to_string(one->limit(facts)) + " s";
    }
    rows.push_back({when, rule.text, one->text, holds});
  }
}

}  // namespace

void writeWhy(const char* name, const StateFacts& facts, utility::PutStream& stream) {
  const StateRule* const rule = decidingRule(facts);
  stream.PutF("%s is %s and %s\n", name, strings::StringRepository::toString(facts.state),
              rule == nullptr ? "stays so" : rule->text);
  framework::TableRows rows;
  if (rule != nullptr) addRows(rows, "now", *rule, facts, true);
  for (const StateRule* next : nextRules(facts)) addRows(rows, "next", *next, facts, false);
  framework::writeTable(
      stream, {{"WHEN", "When"}, {"RULE", "Rule"}, {"FACT", "Fact"}, {"HOLDS", "Holds"}}, rows);
}

std::string nextStep(const StateFacts& facts) {
  for (const StateRule* next : nextRules(facts)) {
    if (const auto seconds = secondsUntil(*next, facts)) {
      return std::string(next->text) + " in " + std::to_string(*seconds) + " s";
    }
  }
  return "";
}

}  // namespace services::app
