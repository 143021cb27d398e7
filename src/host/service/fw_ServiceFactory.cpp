// Registration: what a plug-in offers to the host when it is loaded.
#include "host/service/fw_ServiceFactory.h"

#include <algorithm>
#include <map>

namespace framework {

namespace {

// Static initialisers of several libraries fill these, so they come with their first use.
struct Registry {
  std::vector<const ServiceFactory*> factories;
  std::vector<std::string> duplicates;
  std::map<std::string, std::span<const PropertyRule>> rules;
  std::map<std::string, std::span<const VariableRule>> variables;
  std::map<std::string, ServiceProperties::Look> looks;
};

Registry& registry() {
  static Registry& only = *new Registry;
  return only;
}

}  // namespace

ServiceFactory::ServiceFactory(Build build, const char* name) : m_build(build), m_name(name) {
  if (find(name) != nullptr) {
    registry().duplicates.emplace_back(name);
  } else {
    registry().factories.push_back(this);
  }
}

const ServiceFactory* ServiceFactory::find(const std::string& name) {
  const auto& factories = registry().factories;
  const auto found = std::find_if(factories.begin(), factories.end(),
                                  [&](const auto* factory) { return factory->getName() == name; });
  return found == factories.end() ? nullptr : *found;
}

const std::vector<const ServiceFactory*>& ServiceFactory::all() { return registry().factories; }

const std::vector<std::string>& ServiceFactory::duplicates() { return registry().duplicates; }

ServiceProperties::ServiceProperties(const char* name, std::span<const PropertyRule> rules,
                                     std::span<const VariableRule> variables, Look look) {
  registry().rules.emplace(name, rules);
  registry().variables.emplace(name, variables);
  registry().looks.emplace(name, look);
}

std::span<const PropertyRule> ServiceProperties::of(const std::string& name) {
  const auto found = registry().rules.find(name);
  return found == registry().rules.end() ? std::span<const PropertyRule>() : found->second;
}

std::span<const VariableRule> ServiceProperties::variablesOf(const std::string& name) {
  const auto found = registry().variables.find(name);
  return found == registry().variables.end() ? std::span<const VariableRule>() : found->second;
}

ServiceProperties::Look ServiceProperties::lookOf(const std::string& name) {
  const auto found = registry().looks.find(name);
  return found == registry().looks.end() ? nullptr : found->second;
}

std::vector<std::string> ServiceProperties::names() {
  std::vector<std::string> all;
  for (const auto& [name, rules] : registry().rules) all.push_back(name);
  return all;
}

}  // namespace framework
