// The operator's commands, from the plug-in as the host loads it.
#pragma once

#include <dlfcn.h>

#include <memory>

#include "host/framework/fw_CommandBundle.h"
#include "host/framework/fw_ServiceFactory.h"
#include "support/ConsoleSetting.h"

namespace test {

/// A shell with the commands of one bundle of the operator's plug-in.
class PluginCommands {
 public:
  explicit PluginCommands(const char* bundle) {
    ::dlopen(built("lib/libmcops.so").c_str(), RTLD_NOW);  // stays loaded
    m_bundle.reset(framework::ServiceFactory::find(bundle)->getBuild()(bundle));
    dynamic_cast<framework::CommandBundle&>(*m_bundle).initializeCommands(m_shell);
  }

  template <typename Command>
  std::string ask(const Command& command) const {
    return test::ask(m_shell, command);
  }

 private:
  std::unique_ptr<framework::Service> m_bundle;
  framework::Shell m_shell;
};

}  // namespace test
