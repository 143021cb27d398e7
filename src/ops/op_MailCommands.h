// The operator's commands that send mail.
#pragma once

#include "host/framework/fw_CommandBundle.h"

namespace services::ops {

/// Brings "mail simple TO FROM SUBJECT TEXT" and "mail managed-logs FILE" to the console. They
/// check what is typed, since it reaches command lines and header lines, and wait for sendmail,
/// whose command is in the log.
class MailCommands : public framework::CommandBundle {
 public:
  using CommandBundle::CommandBundle;

  const framework::ServiceInfo* serviceInfo() const override;
  void initializeCommands(framework::Shell& shell) override;
};

}  // namespace services::ops
