// The memory of one process.
#include "host/base/fw_ProcessMem.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "util/fw_Exception.h"
#include "util/ut_FileInputStream.h"

namespace framework {

namespace {

// The figure behind a key of the status text; 0 when the key is not there.
unsigned int figure(const char* status, const char* key) {
  const char* found = std::strstr(status, key);
  return found == nullptr
             ? 0
             : static_cast<unsigned int>(std::strtoul(found + std::strlen(key), nullptr, 10));
}

}  // namespace

ProcessMem::ProcessMem(int pid) {
  std::array<char, 32> path;
  std::array<char, 4096> status;
  std::snprintf(path.data(), path.size(), "/proc/%d/status", pid);
  utility::FileInputStream file(path.data());
  const int size = file.isInputStreamGood() ? file.ReceiveInputStream(status.data(), 4095) : -1;
  if (size <= 0) {
    throw new Exception(strings::tGSprocessGone, "fw_ProcessMem", __PRETTY_FUNCTION__, "", true);
  }
  status[static_cast<std::size_t>(size)] = '\0';
  m_summary.m_data = figure(status.data(), "\nRssAnon:") + figure(status.data(), "\nVmSwap:");
  m_summary.m_code = figure(status.data(), "\nVmExe:") + figure(status.data(), "\nVmLib:");
  m_summary.m_shared = figure(status.data(), "\nRssFile:") + figure(status.data(), "\nRssShmem:");
}

}  // namespace framework
