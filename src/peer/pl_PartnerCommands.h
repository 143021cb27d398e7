// The operator's command on the partner link.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::peer {

/// Brings "partner show" to the console.
class PartnerCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::peer
