// A plug-in's look at the running processes, before any service is built.
#include "host/service/fw_RunningCheck.h"

#include <map>

namespace framework {

namespace {

// Static initialisers of several libraries fill it, so it comes with its first use.
std::map<std::string, RunningCheck::Check>& registry() {
  static auto& only = *new std::map<std::string, RunningCheck::Check>;
  return only;
}

}  // namespace

RunningCheck::RunningCheck(const char* name, Check check) { registry().emplace(name, check); }

RunningCheck::Check RunningCheck::of(const std::string& name) {
  const auto found = registry().find(name);
  return found == registry().end() ? nullptr : found->second;
}

}  // namespace framework
