// A directory that one process alone may use.
#include "sysinfo/store/si_DirectoryLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>

namespace services::sysinfo {

namespace {

bool isHeldElsewhere(int directory) {
  return ::flock(directory, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// Whether the directory is still the one of that name; another may have taken its place.
bool isAt(const platform::Descriptor& held, const std::string& directory) {
  struct stat mine {};
  struct stat named {};
  return held.isOpen() && ::fstat(held.get(), &mine) == 0 &&
         ::stat(directory.c_str(), &named) == 0 && mine.st_ino == named.st_ino &&
         mine.st_dev == named.st_dev;
}

}  // namespace

bool DirectoryLock::take(const std::string& directory, const std::function<bool()>& pause) {
  if (isAt(m_directory, directory)) return true;
  platform::Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!opened.isOpen()) return true;
  while (isHeldElsewhere(opened.get())) {
    if (!pause || !pause()) return false;
  }
  m_directory = std::move(opened);
  return true;
}

}  // namespace services::sysinfo
