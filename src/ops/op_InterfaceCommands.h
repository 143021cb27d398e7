// The operator's commands over the management interfaces.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "interface list" and "interface up|down NAME" to the console. They work through what the
/// interface service exports, and answer when there is no such service.
class InterfaceCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
