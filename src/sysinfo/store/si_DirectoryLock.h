// A directory that one process alone may use.
#pragma once

#include <chrono>
#include <string>

#include "host/machine/Descriptor.h"

namespace services::sysinfo {

/// The lock over a directory, held until the object or the process ends, however that ends. Nothing
/// of it stands in the directory, which may be read-only.
class DirectoryLock {
 public:
  /// Takes it, unless it is held already, and waits for another process that holds it for at most
  /// `patience`. False when that one still does. Where there is no such directory, or its file
  /// system knows no locks, the answer is true and nothing is held; the next call tries again.
  bool take(const std::string& directory, std::chrono::milliseconds patience);

 private:
  platform::Descriptor m_directory;
};

}  // namespace services::sysinfo
