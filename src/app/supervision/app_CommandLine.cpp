// The command line of a running process.
#include "app/supervision/app_CommandLine.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "host/base/ut_Debug.h"
#include "host/base/ut_ProcessDirectory.h"
#include "host/log/fw_Logger.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileInputStream.h"

namespace services::app {

namespace {

void logFailure(const char* text) {
  if (!utility::Debug::isDebugOn(strings::token<"AppManager">)) return;
  framework::Logger::StaticLogMethod(framework::LogType::Debug, __PRETTY_FUNCTION__, __LINE__, "%s",
                                     text);
}

}  // namespace

void logOpenFailure() { logFailure(" Open Sys-Call returned -1"); }
void logReadFailure() { logFailure(" read Sys-Call returned -1"); }

bool CommandLine::read(const char* directory) {
  std::array<char, 128> path;
  utility::BufferStream stream(path.data(), path.size(), true);
  stream.PutF("%s/cmdline", directory);
  utility::FileInputStream file(path.data());
  if (!file.isInputStreamOpen()) {
    logOpenFailure();
    return false;
  }
  if (take(file.ReceiveInputStream(m_bytes.data(), maxSize + 1))) return true;
  logReadFailure();
  return false;
}

bool CommandLine::read(const utility::ProcessFile& file) {
  return take(file.read(m_bytes.data(), maxSize + 1));
}

// Ends the text after the bytes that were read; false for a failed read.
bool CommandLine::take(int size) {
  if (size < 0) return false;
  m_size = std::min(static_cast<unsigned int>(size), maxSize);
  m_bytes[m_size] = '\0';
  return true;
}

const char* CommandLine::text() {
  std::replace(m_bytes.begin(), m_bytes.begin() + m_size, '\0', ' ');
  return m_bytes.data();
}

void CommandLine::copyBaseName(char* name, unsigned int size) const {
  const char* const begin = m_bytes.data();
  const char* const end = std::find_if(begin, begin + m_size,
                                       [](char c) { return c == '\0' || c == ' ' || c == '\t'; });
  const char* base = end;
  while (base > begin && base[-1] != '/') --base;
  const auto length = std::min<std::size_t>(static_cast<std::size_t>(end - base), size - 1);
  std::memcpy(name, base, length);
  name[length] = '\0';
}

int pidOf(const char* directory) {
  const char* slash = std::strchr(directory, '/');
  if (slash != nullptr) slash = std::strchr(slash + 1, '/');
  return slash == nullptr ? 0 : std::atoi(slash + 1);
}

}  // namespace services::app
