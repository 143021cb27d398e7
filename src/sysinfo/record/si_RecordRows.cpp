// The settings and the controllers as rows.
#include "sysinfo/record/si_RecordRows.h"

#include "sysinfo/record/si_Field.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/record/si_SysInfo.h"

namespace services::sysinfo {

namespace {

constexpr char letters[] = {'A', 'B'};

template <class Record>
void addRows(const std::string& scope, const Record& record, std::span<const Field<Record>> fields,
             Rows& rows) {
  for (const auto& field : fields) {
    if (auto text = field.get(record)) rows[{scope, field.key}] = std::move(*text);
  }
}

template <class Record>
void takeFields(const std::string& scope, const Rows& rows, std::span<const Field<Record>> fields,
                Record& record, std::string& refused) {
  for (const auto& field : fields) {
    const auto row = rows.find({scope, field.key});
    if (row == rows.end()) {
      field.set(record, nullptr);
    } else if (const char* const rule = setField(field, record, row->second)) {
      if (!refused.empty()) refused += "; ";
      refused += scope + "." + field.key + " " + rule;
    }
  }
}

bool hasScope(const Rows& rows, const std::string& scope) {
  const auto first = rows.lower_bound({scope, ""});
  return first != rows.end() && first->first.scope == scope;
}

}  // namespace

Rows rowsOf(const SysInfo& sysInfo) {
  Rows rows;
  addRows(systemScope, sysInfo, settingFields(), rows);
  for (const char letter : letters) {
    const MCInfo* controller = sysInfo.getMCInfo(letter);
    if (controller != nullptr)
      addRows(std::string(1, letter), *controller, controllerFields(), rows);
  }
  return rows;
}

void takeRows(const Rows& rows, SysInfo& sysInfo, std::string& refused) {
  takeFields(systemScope, rows, settingFields(), sysInfo, refused);
  for (const char letter : letters) {
    const std::string scope(1, letter);
    if (!hasScope(rows, scope)) continue;
    takeFields(scope, rows, controllerFields(), sysInfo.makeMCInfo(letter), refused);
  }
}

}  // namespace services::sysinfo
