// A directory that one process alone may use.
#pragma once

#include <functional>
#include <string>

#include "host/machine/Descriptor.h"

namespace services::sysinfo {

/// The lock over a directory, held until the object or the process ends, however that ends. Nothing
/// of it stands in the directory, which may be read-only.
class DirectoryLock {
 public:
  /// Takes it, unless it is held already. While another process has it, `pause` is called before
  /// each further try, and ends the trying by answering false, as does an empty one; the answer is
  /// false then. Where there is no such directory, or its file system knows no locks, it is true
  /// and nothing is held; the next call tries again.
  bool take(const std::string& directory, const std::function<bool()>& pause);

 private:
  platform::Descriptor m_directory;
};

}  // namespace services::sysinfo
