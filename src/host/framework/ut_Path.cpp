// Questions about paths.
#include "host/framework/ut_Path.h"

#include <unistd.h>

#include <array>
#include <cstring>

#include "util/ut_System.h"

namespace utility {

bool Path::exists(const char* path) {
  std::array<char, locateSize> buffer;
  return ::access(System::current().locate(path, buffer.data(), buffer.size()), F_OK) == 0;
}

const char* Path::baseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

}  // namespace utility
