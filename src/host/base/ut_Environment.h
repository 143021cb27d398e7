// The environment of the process.
#pragma once

namespace utility {

class Environment {
 public:
  /// The value of an environment variable, or null. The host does not change its environment while
  /// services run, so the text stays.
  static const char* GetEnv(const char* name);

  /// The configuration directory: that of MC_CONFIG, or "/cfg".
  static const char* configDirectory();
};

}  // namespace utility
