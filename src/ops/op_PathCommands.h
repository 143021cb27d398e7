// The operator's commands over the network paths to the partner.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "path show" to the console: the paths' states and the addresses of their host names.
class PathCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
