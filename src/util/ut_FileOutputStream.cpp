// Opening a file for writing, and writing all of it.
#include "util/ut_FileOutputStream.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "util/ut_OpenFile.h"

namespace utility {
namespace {

bool writeAll(int descriptor, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::write(descriptor, data, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    data += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

int openRegular(const char* path, int flags, int mode) {
  const int descriptor = openFile(path, O_WRONLY | O_CREAT | flags, static_cast<mode_t>(mode));
  struct stat status {};
  if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))) {
    return descriptor;
  }
  ::close(descriptor);
  errno = EINVAL;
  return -1;
}

}  // namespace

FileOutputStream::FileOutputStream(const char* path, bool append, int mode, Existing existing)
    : m_descriptor(openRegular(
          path, (append ? O_APPEND : O_TRUNC) | (existing == Existing::Refused ? O_EXCL : 0),
          mode)),
      m_open(m_descriptor >= 0),
      m_error(!m_open),
      m_errno(m_open ? 0 : errno) {}

FileOutputStream::~FileOutputStream() {
  if (m_open) ::close(m_descriptor);
}

bool FileOutputStream::StartOutputStream() { return m_open; }

void FileOutputStream::EndOutputStream() {}

bool FileOutputStream::SendOutputStream(const char* data, unsigned int size) {
  struct stat before {};
  const bool isKnown = m_open && ::fstat(m_descriptor, &before) == 0;
  if (m_open && writeAll(m_descriptor, data, size)) return true;
  m_error = true;
  // What was written of it would be the beginning of the next line.
  if (isKnown && ::ftruncate(m_descriptor, before.st_size) == 0) {
    ::lseek(m_descriptor, 0, SEEK_END);
  }
  return false;
}

bool FileOutputStream::isOutputStreamOpen() { return m_open; }

bool FileOutputStream::isOutputStreamInError() { return m_error; }

bool FileOutputStream::isOutputStreamAtEnd() { return false; }

}  // namespace utility
