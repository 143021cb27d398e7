// Reading and checking the configuration file.
#include "host/service/fw_ConfigFile.h"

#include <sys/un.h>
#include <toml++/toml.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "host/base/fw_Entrance.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/base/ut_TokenSet.h"
#include "host/log/fw_Logger.h"
#include "host/service/fw_DebugFlags.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/fw_ShownText.h"
#include "util/st_TokenTable.h"

namespace framework {

namespace {

const char* typeName(PropertyType type) {
  switch (type) {
    case PropertyType::Integer:
      return "an integer";
    case PropertyType::Boolean:
      return "true or false";
    case PropertyType::Text:
      return "a text";
    case PropertyType::List:
      return "a list of texts";
  }
  return "";
}

bool hasType(const Property& property, PropertyType type) {
  return property.value.index() == static_cast<std::size_t>(type);
}

// The list that a text stands for.
Property listOf(const Property& text) {
  Property property{.line = text.line};
  utility::StringArray list;
  for (const auto& entry : utility::entriesOf(std::get<std::string>(text.value).c_str())) {
    list.Append(entry);
    property.entryLines.push_back(text.line);
  }
  property.value = std::move(list);
  return property;
}

// A text without a zero character, at which its users would cut it.
bool isText(const toml::node& node) {
  return node.is_string() && node.as_string()->get().find('\0') == std::string::npos;
}

OtherValue otherValue(const toml::node& node) {
  return {node.source().begin.line, node.is_string() ? ", without zero characters" : ""};
}

// A list of texts; the first entry that is no text makes it another value.
void convertList(const toml::array& source, Property& property) {
  utility::StringArray list;
  for (const auto& entry : source) {
    if (!isText(entry)) {
      property.value = otherValue(entry);
      return;
    }
    list.Append(entry.as_string()->get());
    property.entryLines.push_back(entry.source().begin.line);
  }
  property.value = std::move(list);
}

void convert(const toml::node& node, Property& property) {
  property.value = otherValue(node);
  if (const auto* integer = node.as_integer()) property.value = static_cast<long>(integer->get());
  if (const auto* flag = node.as_boolean()) property.value = flag->get();
  if (isText(node)) property.value = node.as_string()->get();
  if (const auto* list = node.as_array()) convertList(*list, property);
}

std::vector<std::string> texts(const utility::StringArray& list) {
  std::vector<std::string> all;
  for (unsigned int i = 0; i < list.Length(); ++i) all.emplace_back(list.ElementAt(i));
  return all;
}

std::string rangeText(const PropertyRule& rule) {
  return "must be from " + std::to_string(rule.minimum) + " to " + std::to_string(rule.maximum);
}

void applyToList(const PropertyRule& rule, const Property& property,
                 std::vector<PropertyFinding>& findings) {
  const auto& list = std::get<utility::StringArray>(property.value);
  for (unsigned int i = 0; rule.check != nullptr && i < list.Length(); ++i) {
    const std::size_t before = findings.size();
    rule.check(list.ElementAt(i), findings);
    for (std::size_t k = before; k < findings.size(); ++k) {
      findings[k].line = property.entryLines[i];
    }
  }
  if (rule.checkAll != nullptr) rule.checkAll(list, findings);
}

// What is wrong with a property by its rule.
std::vector<PropertyFinding> apply(const PropertyRule& rule, const Property& property) {
  std::vector<PropertyFinding> findings;
  if (rule.orText && hasType(property, PropertyType::Text)) {
    applyToList(rule, listOf(property), findings);
  } else if (!hasType(property, rule.type)) {
    const auto* other = std::get_if<OtherValue>(&property.value);
    findings.push_back({true, std::string("must be ") + typeName(rule.type)});
    if (rule.orText) findings.back().text += " or one text";
    if (other != nullptr) findings.back().text += other->but;
    if (other != nullptr) findings.back().line = other->line;
  } else if (rule.type == PropertyType::Integer) {
    const long value = std::get<long>(property.value);
    if (value < rule.minimum || value > rule.maximum) findings.push_back({true, rangeText(rule)});
  } else if (rule.type == PropertyType::Text) {
    const char* value = std::get<std::string>(property.value).c_str();
    if (rule.check != nullptr) rule.check(value, findings);
    if (rule.holds != nullptr && !rule.holds(value)) findings.push_back({true, rule.rule});
  } else if (rule.type == PropertyType::List) {
    applyToList(rule, property, findings);
  }
  return findings;
}

void checkSlot(const char* value, std::vector<PropertyFinding>& findings) {
  if (std::strcmp(value, "A") != 0 && std::strcmp(value, "B") != 0) {
    findings.push_back({true, "must be \"A\" or \"B\""});
  }
}

void checkPath(const char* value, std::vector<PropertyFinding>& findings) {
  if (!isSafePath(value)) findings.push_back({true, safePathRule});
}

void checkSocket(const char* value, std::vector<PropertyFinding>& findings) {
  constexpr std::size_t room = sizeof(sockaddr_un::sun_path) - 1;
  checkPath(value, findings);
  if (std::strlen(value) > room) {
    findings.push_back({true, "must have at most " + std::to_string(room) + " characters"});
  }
}

void checkDestination(const char* value, std::vector<PropertyFinding>& findings) {
  if (std::strcmp(value, "stderr") != 0) checkPath(value, findings);
}

void checkLevel(const char* value, std::vector<PropertyFinding>& findings) {
  if (Logger::levelOf(value) < 0) {
    findings.push_back({true, "must be \"error\", \"warning\", \"info\", \"debug\" or \"trace\""});
  }
}

constexpr PropertyRule hostRules[] = {
    {.key = "slot", .type = PropertyType::Text, .absent = "", .check = checkSlot},
    {.key = "console", .type = PropertyType::Text, .check = checkSocket},
    {.key = "plugins", .type = PropertyType::List},
    {.key = "services", .type = PropertyType::List},
    {.key = "log.destination", .type = PropertyType::Text, .check = checkDestination},
    {.key = "log.level", .type = PropertyType::Text, .check = checkLevel},
    {.key = "debug", .type = PropertyType::List},
    {.key = "midplane", .type = PropertyType::Text, .check = checkPath},
    {.key = "commandSeconds", .type = PropertyType::Integer, .minimum = 1, .maximum = 3600},
};

const PropertyRule* findRule(std::span<const PropertyRule> rules, const std::string& key) {
  const auto found =
      std::find_if(rules.begin(), rules.end(), [&](const auto& rule) { return key == rule.key; });
  return found == rules.end() ? nullptr : &*found;
}

// Keeps the values of a table under their full names; tables within it become dotted keys.
void flatten(const toml::table& table, const std::string& prefix, Config& config) {
  for (const auto& [key, node] : table) {
    const std::string name = prefix + "." + std::string(key.str());
    Property property{.line = node.source().begin.line};
    if (const auto* inner = node.as_table()) {
      flatten(*inner, name, config);
    } else {
      convert(node, property);
      config.set(name, std::move(property));
    }
  }
}

}  // namespace

ConfigFile::ConfigFile(const std::string& path) : m_path(path) {
  m_read = read();
  if (m_read) checkHost();
}

// Names and values stand in the texts as the file has them; a line break or a control sequence in
// one must not reach a terminal or look like a further finding.
void ConfigFile::add(bool fatal, unsigned int line, const std::string& text) {
  const std::string place = line == 0 ? m_path : m_path + ":" + std::to_string(line);
  m_findings.push_back({fatal, shownText(place + ": " + text)});
}

bool ConfigFile::isRefused() const {
  return std::any_of(m_findings.begin(), m_findings.end(), [](const auto& f) { return f.fatal; });
}

bool ConfigFile::arePluginsKnown() const {
  const Property* list = m_config.find("host.plugins");
  return m_read && (list == nullptr || hasType(*list, PropertyType::List));
}

bool ConfigFile::read() {
  std::ifstream file(m_path);
  if (!file || std::filesystem::is_directory(m_path)) {
    add(true, 0, std::strerror(file ? EISDIR : errno));
    return false;
  }
  std::stringstream content;
  content << file.rdbuf();
  try {
    const toml::table root = toml::parse(content.str());
    for (const auto& [key, node] : root) {
      const auto* table = node.as_table();
      const std::string name(key.str());
      const unsigned int line = node.source().begin.line;
      if (table == nullptr) {
        add(true, line, name + ": must stand in a table");
        continue;
      }
      if (name == "host") m_hostLine = line;
      if (name != "host") m_tables.emplace_back(name, line);
      flatten(*table, name, m_config);
    }
    const toml::node* host = root.get("host");
    return host == nullptr || host->is_table();  // what else it lacks is not worth a line
  } catch (const toml::parse_error& fault) {
    add(true, fault.source().begin.line, std::string(fault.description()));
    return false;
  }
}

void ConfigFile::checkEnvironment() {
  constexpr std::size_t longest = 48;
  for (const char* name : {"MC_LOG_DIR", "MC_TEMP", "MC_CONFIG"}) {
    const char* value = utility::Environment::GetEnv(name);
    if (value == nullptr || (isSafePath(value) && std::strlen(value) <= longest)) continue;
    m_findings.push_back({true, std::string("environment: ") + name + ": " + safePathRule +
                                    ", here at most " + std::to_string(longest)});
  }
  const char* mails = utility::Environment::GetEnv("MC_TEMP");
  if (mails != nullptr && utility::Path::isOpenToOthers(mails)) {
    m_findings.push_back({false,
                          "environment: MC_TEMP: other users can write this directory and "
                          "it is not root's and sticky: no mail is sent"});
  }
}

void ConfigFile::checkDebugFlags() {
  const auto known = debugFlagNames();
  for (const std::string& name : m_host.debug) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    add(false, m_config.find("host.debug")->line,
        "host.debug: there is no debug flag \"" + name + "\"");
  }
}

void ConfigFile::checkHost() {
  checkTable("host", m_hostLine, hostRules);
  const auto text = [this](const char* key, std::string& out) {
    const Property* found = m_config.find(key);
    const auto* value = found == nullptr ? nullptr : std::get_if<std::string>(&found->value);
    if (value != nullptr) out = *value;
  };
  const auto list = [this](const char* key, std::vector<std::string>& out) {
    const Property* found = m_config.find(key);
    const auto* value =
        found == nullptr ? nullptr : std::get_if<utility::StringArray>(&found->value);
    if (value != nullptr) out = texts(*value);
    return value != nullptr;
  };
  text("host.slot", m_host.slot);
  text("host.console", m_host.console);
  text("host.log.destination", m_host.logDestination);
  text("host.log.level", m_host.logLevel);
  text("host.midplane", m_host.midplane);
  list("host.plugins", m_host.plugins);
  list("host.debug", m_host.debug);
  m_host.servicesGiven = list("host.services", m_host.services);
  m_config.getIntValueOf("host", "commandSeconds", false, &m_host.commandSeconds);
}

void ConfigFile::checkTable(const std::string& name, unsigned int line,
                            std::span<const PropertyRule> rules) {
  for (const auto& [full, property] : m_config.all()) {
    if (!full.starts_with(name + ".")) continue;
    const PropertyRule* rule = findRule(rules, full.substr(name.size() + 1));
    if (rule == nullptr) {
      add(true, property.line, full + ": no such property");
      continue;
    }
    for (const auto& finding : apply(*rule, property)) {
      add(finding.fatal, finding.line == 0 ? property.line : finding.line,
          full + ": " + finding.text);
    }
  }
  if (name != "host" && !isToBeBuilt(name)) return;
  for (const auto& rule : rules) {
    if (rule.absent == nullptr || m_config.find(name + "." + rule.key) != nullptr) continue;
    std::string text = name + "." + rule.key + ": property not supplied";
    if (*rule.absent != '\0') text += std::string(": ") + rule.absent;
    add(name == "host", line, text);
  }
}

void ConfigFile::checkVariables(const std::string& name) {
  if (!isToBeBuilt(name)) return;
  for (const auto& variable : ServiceProperties::variablesOf(name)) {
    if (utility::Environment::GetEnv(variable.name) != nullptr) continue;
    m_findings.push_back(
        {false, std::string("environment: ") + variable.name + ": not set: " + variable.absent});
  }
}

bool ConfigFile::isToBeBuilt(const std::string& name) const {
  const auto& names = m_host.services;
  return !m_host.servicesGiven || std::find(names.begin(), names.end(), name) != names.end();
}

void ConfigFile::checkInstances() {
  for (const std::string& name : ServiceFactory::duplicates()) {
    add(true, 0, name + ": two plug-ins register a service of this name");
  }
  for (const std::string& collision : strings::TokenTable::collisions()) add(true, 0, collision);
  checkServiceNames();
  checkDebugFlags();
  std::map<std::string, unsigned int> lines(m_tables.begin(), m_tables.end());
  for (const std::string& name : ServiceProperties::names()) {
    checkTable(name, lines[name], ServiceProperties::of(name));
    checkVariables(name);
    lines.erase(name);
  }
  for (const auto& [name, line] : lines) {
    if (ServiceFactory::find(name) != nullptr) {
      checkTable(name, line, {});
    } else {
      add(false, line, name + ": no loaded plug-in registers a service of this name");
    }
  }
}

void ConfigFile::checkServiceNames() {
  const Property* list = m_config.find("host.services");
  std::vector<std::string> seen;
  for (const std::string& name : m_host.services) {
    if (ServiceFactory::find(name) == nullptr) {
      add(true, list->line, "host.services: no loaded plug-in registers \"" + name + "\"");
    }
    if (std::find(seen.begin(), seen.end(), name) != seen.end()) {
      add(true, list->line, "host.services: \"" + name + "\" stands twice");
    }
    seen.push_back(name);
  }
}

}  // namespace framework
