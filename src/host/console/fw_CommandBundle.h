// A service that brings commands to the console.
#pragma once

#include "host/service/fw_Service.h"

namespace framework {

class Shell;

/// A service whose only work is to hand commands to the shell.
class CommandBundle : public Service {
 public:
  using Service::Service;

  /// Makes the bundle's commands and registers them. The host calls it once, after the service
  /// was built.
  virtual void initializeCommands(Shell& shell) = 0;

  /// Has every bundle among the host's services register its commands. Call once, after the
  /// services are built and before the console is served; what a bundle throws is logged.
  static void registerAll(Shell& shell);
};

}  // namespace framework
