// Opening a file for reading, and reading runs of it.
#include "util/ut_FileInputStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "util/ut_OpenFile.h"

namespace utility {

FileInputStream::FileInputStream(const char* path)
    : m_descriptor(openFile(path, O_RDONLY, 0)), m_error(m_descriptor < 0) {}

FileInputStream::~FileInputStream() {
  if (m_descriptor >= 0) ::close(m_descriptor);
}

bool FileInputStream::StartInputStream() {
  if (m_descriptor < 0) return false;
  ::lseek(m_descriptor, 0, SEEK_SET);
  m_error = false;
  m_atEnd = false;
  return true;
}

void FileInputStream::EndInputStream() {}

int FileInputStream::ReceiveInputStream(char* data, unsigned int size) {
  const unsigned int largest = std::numeric_limits<int>::max();
  ssize_t received = -1;
  do {
    received = ::read(m_descriptor, data, std::min(size, largest));
  } while (received < 0 && errno == EINTR);
  m_error = m_error || received < 0;
  m_atEnd = received == 0 && size > 0;
  return static_cast<int>(received);
}

bool FileInputStream::isInputStreamOpen() { return m_descriptor >= 0; }

bool FileInputStream::isInputStreamInError() { return m_error; }

bool FileInputStream::isInputStreamAtEnd() { return m_atEnd; }

std::int64_t FileInputStream::GetInputStreamSize() {
  struct stat status {};
  return ::fstat(m_descriptor, &status) == 0 ? status.st_size : -1;
}

}  // namespace utility
