// Loading plug-ins.
#include "mchost/Plugins.h"

#include <dlfcn.h>

#include <filesystem>

#include "mchost/Piece.h"

namespace mchost {

namespace {

std::string pathOf(const std::string& name) {
  if (name.find('/') != std::string::npos) return name;
  std::error_code unknown;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", unknown);
  return (program.parent_path().parent_path() / "lib" / name).string();
}

}  // namespace

std::optional<std::string> loadPlugin(const std::string& name) {
  beginPiece("plug-in " + name);
  if (::dlopen(pathOf(name).c_str(), RTLD_NOW | RTLD_LOCAL) != nullptr) return std::nullopt;
  return name + ": " + ::dlerror();
}

}  // namespace mchost
