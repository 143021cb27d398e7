// A service that brings commands to the console.
#include "host/console/fw_CommandBundle.h"

#include "host/base/fw_Guarded.h"
#include "host/service/fw_ServiceHost.h"

namespace framework {

void CommandBundle::registerAll(Shell& shell) {
  for (const RunningService& running : ServiceHost::instance().services()) {
    if (!guarded(running.service->getNameString(), "registration of commands",
                 [&] { running.service->initializeCommands(shell); })) {
      *running.failed = true;
    }
  }
}

}  // namespace framework
