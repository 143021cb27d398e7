// The configuration: the properties of every instance, as they were read from the file.
#include "host/service/fw_Config.h"

#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"

namespace framework {

namespace {

Config& theConfig() {
  static Config only;
  return only;
}

std::string fullName(const char* instance, const char* key) {
  return std::string(instance) + "." + key;
}

std::string joined(const utility::StringArray& list) {
  std::string text;
  for (unsigned int i = 0; i < list.Length(); ++i) {
    if (i > 0) text += ",";
    text += list.ElementAt(i);
  }
  return text;
}

}  // namespace

Config* Config::getConfig(int /*unused*/, const char* /*unused*/) { return &theConfig(); }

void Config::setConfig(Config config) { theConfig() = std::move(config); }

void Config::set(const std::string& name, Property property) {
  if (const auto* list = std::get_if<utility::StringArray>(&property.value)) {
    m_joined[name] = joined(*list);
  }
  m_properties[name] = std::move(property);
}

const Property* Config::find(const std::string& name) const {
  const auto found = m_properties.find(name);
  return found == m_properties.end() ? nullptr : &found->second;
}

const Property* Config::lookUp(const char* instance, const char* key, bool required) const {
  const Property* property = find(fullName(instance, key));
  if (property == nullptr && required) {
    Logger::StaticLog(LogType::Error, "%s.%s: property not supplied", instance, key);
  }
  return property;
}

bool Config::getIntValueOf(const char* instance, const char* key, bool required, int* out) const {
  const Property* property = lookUp(instance, key, required);
  const auto* value = property == nullptr ? nullptr : std::get_if<std::int64_t>(&property->value);
  if (value != nullptr) *out = static_cast<int>(*value);
  return value != nullptr;
}

bool Config::getBoolValueOf(const char* instance, const char* key, bool required, bool* out) const {
  const Property* property = lookUp(instance, key, required);
  const auto* value = property == nullptr ? nullptr : std::get_if<bool>(&property->value);
  if (value != nullptr) *out = *value;
  return value != nullptr;
}

bool Config::getStringValueOf(const char* instance, const char* key, bool required,
                              const char** out) const {
  const Property* property = lookUp(instance, key, required);
  if (property == nullptr) return false;
  if (const auto* text = std::get_if<std::string>(&property->value)) {
    *out = text->c_str();
    return true;
  }
  const auto list = m_joined.find(fullName(instance, key));
  if (list == m_joined.end()) return false;
  *out = list->second.c_str();
  return true;
}

strings::stringtoken Config::concatName(const char* instance, const char* key, bool /*unused*/) {
  return strings::GS.toToken(fullName(instance, key).c_str());
}

const utility::StringArray* Config::propertyAsStringArray(strings::stringtoken name) const {
  const Property* property = find(strings::StringRepository::toString(name));
  return property == nullptr ? nullptr : std::get_if<utility::StringArray>(&property->value);
}

}  // namespace framework
