// The names of the debug flags.
#include "host/service/fw_DebugFlags.h"

#include "host/base/st_StringRepository.h"
#include "host/service/fw_ServiceFactory.h"

namespace framework {

namespace {

// Static initialisers of several libraries fill it, so it comes with its first use.
std::vector<std::string>& flags() {
  static auto& only =
      *new std::vector<std::string>{strings::StringRepository::toString(strings::tGSlifecycle),
                                    strings::StringRepository::toString(strings::tGSdestructors)};
  return only;
}

}  // namespace

DebugFlag::DebugFlag(const char* name) { flags().emplace_back(name); }

std::vector<std::string> debugFlagNames() {
  std::vector<std::string> names;
  for (const auto* factory : ServiceFactory::all()) names.emplace_back(factory->getName());
  names.insert(names.end(), flags().begin(), flags().end());
  return names;
}

}  // namespace framework
