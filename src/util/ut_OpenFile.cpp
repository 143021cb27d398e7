// Locating and opening a file for the file streams.
#include "util/ut_OpenFile.h"

#include <fcntl.h>
#include <sys/types.h>

#include <cerrno>

#include "util/ut_System.h"

namespace utility {

static_assert(sizeof(off_t) == 8, "logs and disks outgrow 32 bits; see cmake/Width.cmake");

int openFile(const char* path, int flags, mode_t mode) {
  char buffer[locateSize];
  const char* const place = System::current().locate(path, buffer, sizeof buffer);
  int descriptor = -1;
  do {
    descriptor = ::open(place, flags | O_CLOEXEC | O_NONBLOCK, mode);
  } while (descriptor < 0 && errno == EINTR);
  return descriptor;
}

}  // namespace utility
