// Registration: what a plug-in offers to the host when it is loaded.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "host/service/fw_PluginStamp.h"

namespace utility {
class StringArray;
}

namespace framework {

class Config;
class Service;

/// Pairs a service's name with the function that builds it. Made by static initialisers; a name
/// that is taken already is an error that the host reports and that keeps it from starting.
class ServiceFactory {
 public:
  using Build = Service* (*)(const char* instanceName);

  /// `name` must live as long as the program.
  ServiceFactory(Build build, const char* name);

  Build getBuild() const { return m_build; }
  const char* getName() const { return m_name; }

  /// The factory of that name, or null.
  static const ServiceFactory* find(const std::string& name);
  /// All factories, in the order of their registration.
  static const std::vector<const ServiceFactory*>& all();
  /// The names that were registered more than once.
  static const std::vector<std::string>& duplicates();

 private:
  Build m_build;
  const char* m_name;
};

enum class PropertyType { Integer, Boolean, Text, List };

/// What is wrong with a value: a text of one line, and whether it may run all the same.
struct PropertyFinding {
  bool fatal = true;
  std::string text;
  unsigned int line = 0;  ///< of the file; the host fills it in
};

/// What a service expects of one of its properties. The configuration is held to it before any
/// service is built.
struct PropertyRule {
  const char* key;  ///< may have a "*" in place of a name: "daemon.*.priority"
  PropertyType type;
  long minimum = 0;  ///< of an integer
  long maximum = 2147483647;
  bool orText = false;           ///< of a list: it may also be one text, see utility::entriesOf()
  const char* absent = nullptr;  ///< what its absence means, for a warning; null: it is in order
  /// Adds what is wrong with a text or with one entry of a list; may be null.
  void (*check)(const char* value, std::vector<PropertyFinding>& findings) = nullptr;
  /// Adds what is wrong with a list as a whole; may be null.
  void (*checkAll)(const utility::StringArray& list,
                   std::vector<PropertyFinding>& findings) = nullptr;
  /// What a text must hold, and the words for it: the plain form of `check`; may be null.
  bool (*holds)(const char* value) = nullptr;
  const char* rule = nullptr;
};

/// A variable of the environment without which a service does less.
struct VariableRule {
  const char* name;
  const char* absent;  ///< what its absence means, for a warning
};

/// What does not fit this machine, or another property, and may run all the same.
struct PlacedWarning {
  static constexpr unsigned int noEntry = ~0U;

  std::string key;     ///< of the property
  unsigned int entry;  ///< which one of a list it is about; noEntry: the whole
  std::string text;    ///< of one line
};

/// Registers the rules of a service's properties, by static initialisers beside its factory; or
/// those of a table of the host's own.
class ServiceProperties {
 public:
  /// Looks at the machine, for a configuration that keeps the rules.
  using Look = std::vector<PlacedWarning> (*)(const Config& config, const char* instance);

  /// `name` and the rules must live as long as the program.
  ServiceProperties(const char* name, std::span<const PropertyRule> rules,
                    std::span<const VariableRule> variables = {}, Look look = nullptr);

  /// The rules of the service of that name; empty when it registered none.
  static std::span<const PropertyRule> of(const std::string& name);
  static std::span<const VariableRule> variablesOf(const std::string& name);
  static Look lookOf(const std::string& name);
  /// The names that have rules.
  static std::vector<std::string> names();
};

}  // namespace framework
