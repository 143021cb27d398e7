// A service that brings commands to the console.
#pragma once

#include "host/service/fw_Service.h"

namespace framework {

/// A service whose only work is to hand commands to the shell.
class CommandBundle : public Service {
 public:
  using Service::Service;

  void initializeCommands(Shell& shell) override = 0;

  /// Has every service of the host register its commands. Call once, after the services are built
  /// and before they are started; one that throws is logged and has failed.
  static void registerAll(Shell& shell);
};

}  // namespace framework
