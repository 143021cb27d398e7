// Loading plug-ins.
#include "mchost/Plugins.h"

#include <dlfcn.h>

#include <filesystem>

namespace mchost {

namespace {

std::string pathOf(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  std::error_code unknown;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
  return (program.parent_path().parent_path() / "lib" / name).string();
}

}  // namespace

std::vector<std::string> loadPlugins(const std::vector<std::string>& names) {
  std::vector<std::string> failures;
  for (const std::string& name : names) {
    if (::dlopen(pathOf(name).c_str(), RTLD_NOW | RTLD_GLOBAL) == nullptr) {
      failures.push_back("plug-in " + name + ": " + ::dlerror());
    }
  }
  return failures;
}

}  // namespace mchost
