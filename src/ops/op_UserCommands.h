// The operator's commands over the users.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "user list", "user add|set NAME KEY=VALUE..." and "user delete NAME" to the console. No
/// secret is ever in a reply.
class UserCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
