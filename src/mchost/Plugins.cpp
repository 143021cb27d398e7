// Loading plug-ins.
#include "mchost/Plugins.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

#include "host/service/fw_ServiceFactory.h"
#include "mchost/LifeStep.h"
#include "mchost/PluginStamp.h"

namespace mchost {

namespace {

// The host's library tells where plug-ins lie; it is asked for by one of its functions.
std::string pathOf(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  Dl_info library{};
  ::dladdr(reinterpret_cast<void*>(&framework::ServiceFactory::all), &library);
  return std::filesystem::path(library.dli_fname).parent_path() / name;
}

}  // namespace

std::optional<std::string> loadPlugin(const std::string& name) {
  beginStep("plug-in " + name);
  const std::string path = pathOf(name);
  std::error_code unknown;
  if (name == "libmcweb.so" && !std::filesystem::exists(path, unknown)) {
    return path + " is not installed; the package mchost-web has it";
  }
  if (const auto misfit = misfitOf(path)) return name + " " + *misfit;
  if (::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr) return std::nullopt;
  return name + ": " + ::dlerror();
}

}  // namespace mchost
