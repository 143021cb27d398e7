// The machine under a measurement.
#include "Machine.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

namespace bench {

Machine::Machine() {
  std::string name = (std::filesystem::temp_directory_path() / "mcbenchXXXXXX").string();
  m_root = ::mkdtemp(name.data());
  for (const char* directory : {"/usr/bin", "/cfg/etc/config"}) {
    std::filesystem::create_directories(m_root + directory);
  }
  Platform::install(this);
}

Machine::~Machine() {
  Platform::install(nullptr);
  std::filesystem::remove_all(m_root);
}

const char* Machine::locate(const char* path, char* buffer, std::size_t size) {
  if (std::strncmp(path, "/proc/", 6) == 0) return path;
  std::snprintf(buffer, size, "%s%s", m_root.c_str(), path);
  return buffer;
}

void Machine::wait(platform::WaitPoint& point, std::int64_t microseconds) {
  m_skipped += microseconds;
  point.mutex.unlock();
  if (m_onWait) m_onWait();
  point.mutex.lock();
  point.signalled = false;
}

}  // namespace bench
