// The operator's commands over the pairing of the controllers.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "pairing show" to the console, which shows what was decided and decides nothing, and
/// "pairing explain role|action", which apply the rules to the values typed and touch nothing.
class PairingCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
