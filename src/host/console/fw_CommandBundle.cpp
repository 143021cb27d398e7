// A service that brings commands to the console.
#include "host/console/fw_CommandBundle.h"

#include "host/base/fw_Guarded.h"
#include "host/service/fw_ServiceHost.h"

namespace framework {

void CommandBundle::registerAll(Shell& shell) {
  for (const RunningService& running : ServiceHost::instance().services()) {
    auto* bundle = dynamic_cast<CommandBundle*>(running.service.get());
    if (bundle == nullptr) continue;
    guarded(bundle->getNameString(), "registration of commands",
            [&] { bundle->initializeCommands(shell); });
  }
}

}  // namespace framework
