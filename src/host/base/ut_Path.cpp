// Questions about paths, and moving files.
#include "host/base/ut_Path.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "util/ut_System.h"

namespace utility {

namespace {

// A path as the machine in force has it.
class Located {
 public:
  explicit Located(const char* path)
      : m_path(System::current().locate(path, m_buffer.data(), m_buffer.size())) {}
  const char* get() const { return m_path; }

 private:
  std::array<char, locateSize> m_buffer;
  const char* m_path;
};

}  // namespace

std::string Path::located(const std::string& path) { return Located(path.c_str()).get(); }

bool Path::exists(const char* path) { return ::access(Located(path).get(), F_OK) == 0; }

bool Path::isFile(const char* path) {
  struct stat status {};
  return ::stat(Located(path).get(), &status) == 0 && S_ISREG(status.st_mode);
}

bool Path::isExecutable(const char* path) {
  return isFile(path) && ::access(located(path).c_str(), X_OK) == 0;
}

bool Path::isOpenToOthers(const char* directory) {
  struct stat status {};
  if (::stat(Located(directory).get(), &status) != 0) return false;
  if (status.st_uid != 0 && status.st_uid != ::geteuid()) return true;
  const bool group = (status.st_mode & S_IWGRP) != 0 && status.st_gid != ::getegid();
  const bool others = (status.st_mode & S_IWOTH) != 0;
  return (group || others) && (status.st_mode & S_ISVTX) == 0;
}

std::int64_t Path::fileSize(const char* path) {
  struct stat status {};
  return ::stat(Located(path).get(), &status) == 0 ? status.st_size : -1;
}

int Path::move(const char* from, const char* to) {
  return ::rename(Located(from).get(), Located(to).get());
}

int Path::moveNew(const char* from, const char* to) {
  return ::renameat2(AT_FDCWD, Located(from).get(), AT_FDCWD, Located(to).get(), RENAME_NOREPLACE);
}

int Path::truncate(const char* path, std::int64_t size) {
  return ::truncate(Located(path).get(), size);
}

int Path::remove(const char* path) { return ::unlink(Located(path).get()); }

const char* Path::baseName(const char* path) {
  const char* slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}

}  // namespace utility
