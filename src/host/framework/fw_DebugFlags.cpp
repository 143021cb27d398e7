// The names of the debug flags.
#include "host/framework/fw_DebugFlags.h"

#include "host/framework/fw_ServiceFactory.h"
#include "host/framework/st_StringRepository.h"

namespace framework {

std::vector<std::string> debugFlagNames() {
  std::vector<std::string> names;
  for (const auto* factory : ServiceFactory::all()) names.emplace_back(factory->getName());
  for (const auto flag :
       {strings::tGSProcess, strings::tGSlifecycle, strings::tGSdestructors, strings::tGSpairing}) {
    names.emplace_back(strings::StringRepository::toString(flag));
  }
  return names;
}

}  // namespace framework
