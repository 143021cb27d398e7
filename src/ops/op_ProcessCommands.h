// The operator's commands over the process supervision.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "process list" and "process start|stop|restart|suspend|resume|explain NAME" to the
/// console. They work through what the supervision service exports, and answer when there is no
/// such service.
class ProcessCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
