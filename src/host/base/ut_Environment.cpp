// The environment of the process.
#include "host/base/ut_Environment.h"

#include <cstdlib>

namespace utility {

const char* Environment::GetEnv(const char* name) { return std::getenv(name); }

const char* Environment::configDirectory() {
  const char* directory = GetEnv("MC_CONFIG");
  return directory == nullptr ? "/cfg" : directory;
}

}  // namespace utility
