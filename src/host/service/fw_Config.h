// The configuration: the properties of every instance, as they were read from the file.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <variant>
#include <vector>

#include "host/base/ut_Array.h"
#include "util/st_Tokens.h"

namespace framework {

/// A value of no type that a property may have. It is refused before anybody reads it.
struct OtherValue {
  unsigned int line;  ///< where it stands, also within a list
  const char* but;    ///< what to add to the type that the property's rule asks for
};

/// One property: its value and the line of the file that gave it.
struct Property {
  std::variant<std::int64_t, bool, std::string, utility::StringArray, OtherValue> value = {};
  unsigned int line = 0;
  std::vector<unsigned int> entryLines = {};  ///< of a list: the line of each entry
};

/// The properties by instance name and key. It is filled before the first service is built and
/// does not change afterwards, so any thread may read it.
class Config {
 public:
  /// The configuration in force; both arguments are there for callers' convenience and not used.
  static Config* getConfig(int = 0, const char* = nullptr);
  /// Replaces the configuration in force. Call before services are built.
  static void setConfig(Config config);

  /// Each writes `out` and answers true only when the property exists and has that type. With
  /// `required`, its absence is logged as an error.
  bool getIntValueOf(const char* instance, const char* key, bool required, int* out) const;
  bool getBoolValueOf(const char* instance, const char* key, bool required, bool* out) const;
  /// The text is valid for the life of the configuration. A list answers as one text, its entries
  /// joined by commas.
  bool getStringValueOf(const char* instance, const char* key, bool required,
                        const char** out) const;

  /// The token of a property's full name, "INSTANCE.key"; the bool is not used.
  static strings::stringtoken concatName(const char* instance, const char* key, bool);
  /// The list property of that full name, valid for the life of the configuration; null when there
  /// is none or it is no list.
  const utility::StringArray* propertyAsStringArray(strings::stringtoken name) const;

  /// Keeps a property under its full name.
  void set(const std::string& name, Property property);
  /// The property of that full name, or null.
  const Property* find(const std::string& name) const;
  const std::map<std::string, Property>& all() const { return m_properties; }

 private:
  const Property* lookUp(const char* instance, const char* key, bool required) const;

  std::map<std::string, Property> m_properties;
  std::map<std::string, std::string> m_joined;  // the lists as texts
};

}  // namespace framework
