// The fields of a record as keys and texts: what the store keeps and the operator sees.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "sysinfo/record/si_Grammar.h"

namespace services::sysinfo {

class MCInfo;
class SysInfo;

/// One field of a record. Its key is the name of its accessor without "get".
template <class Record>
struct Field {
  const char* key;
  const Grammar* grammar;
  /// The value as a text; nothing when the field is null.
  std::optional<std::string> (*get)(const Record& record);
  /// Takes a text that holds the grammar; null gives the field its initial value.
  void (*set)(Record& record, const char* value);
};

/// The fields of a record, in the order in which they are shown.
std::span<const Field<SysInfo>> settingFields();
std::span<const Field<MCInfo>> controllerFields();

/// The field of that key, or null.
template <class Record>
const Field<Record>* findField(std::span<const Field<Record>> fields, const std::string& key) {
  for (const auto& field : fields) {
    if (key == field.key) return &field;
  }
  return nullptr;
}

/// Sets the field to a text. The answer is the rule that the text breaks, and then nothing was set,
/// or null.
template <class Record>
const char* setField(const Field<Record>& field, Record& record, const std::string& text) {
  if (!field.grammar->holds(text.c_str())) return field.grammar->rule;
  field.set(record, text.c_str());
  return nullptr;
}

}  // namespace services::sysinfo
