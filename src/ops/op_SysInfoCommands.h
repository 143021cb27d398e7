// The operator's commands over the system information.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "sysinfo show", "sysinfo get KEY" and "sysinfo set KEY VALUE..." to the console. No
/// secret is ever in a reply.
class SysInfoCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
