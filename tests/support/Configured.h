// Configurations of tests.
#pragma once

#include "host/service/fw_Config.h"
#include "support/Standard.h"

namespace test {

/// Entries as a property of that type.
inline utility::StringArray listOf(const std::vector<std::string>& entries) {
  utility::StringArray list;
  for (const std::string& entry : entries) list.Append(entry);
  return list;
}

/// A configuration of these properties, by their full names.
inline framework::Config configOf(
    const std::map<std::string, decltype(framework::Property::value)>& values) {
  framework::Config config;
  for (const auto& [name, value] : values) config.set(name, {.value = value});
  return config;
}

}  // namespace test
