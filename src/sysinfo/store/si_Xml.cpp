// The stored values as a document that may be mailed: without the secrets.
#include "sysinfo/store/si_Xml.h"

#include <cerrno>
#include <cstring>

#include "host/base/ut_DurableFile.h"
#include "host/log/fw_Logger.h"
#include "sysinfo/record/si_Grammar.h"
#include "sysinfo/record/si_Scopes.h"

namespace services::sysinfo {

namespace {

constexpr const char* path = "/cfg/sysinfo/system.xml";

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '"':
        out += "&quot;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

std::string elementOf(const RowKey& place, const std::string& value) {
  const Grammar* grammar = grammarAt(place);
  const bool shown = place == slotKey || (grammar != nullptr && !grammar->secret);
  const std::string opening = "    <value key=\"" + escaped(place.key) + "\"";
  if (!shown) return opening + " secret=\"true\"/>\n";
  return opening + ">" + escaped(value) + "</value>\n";
}

}  // namespace

std::string xmlOf(const Rows& rows) {
  std::string text = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<sysinfo>\n";
  std::string scope;
  for (const auto& [place, value] : rows) {
    if (place.scope != scope) {
      if (!scope.empty()) text += "  </record>\n";
      scope = place.scope;
      text += "  <record scope=\"" + escaped(scope) + "\">\n";
    }
    text += elementOf(place, value);
  }
  if (!scope.empty()) text += "  </record>\n";
  return text + "</sysinfo>\n";
}

void writeXml(const Rows& rows) {
  if (utility::replaceFile(path, xmlOf(rows), 0666) == 0) return;
  framework::Logger::StaticLog(framework::LogType::Warning, "system information: %s: %s", path,
                               std::strerror(errno));
}

}  // namespace services::sysinfo
