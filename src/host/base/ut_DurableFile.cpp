// Replacing files so that a crash at any point leaves the old content or the new.
#include "host/base/ut_DurableFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "host/base/ut_Path.h"

namespace utility {

namespace {

// A descriptor with its end; 0 or -1 like close(2).
class File {
 public:
  File(const std::string& path, int flags, mode_t mode = 0)
      : m_descriptor(::open(path.c_str(), flags | O_CLOEXEC, mode)) {}
  ~File() { close(); }
  File(const File&) = delete;
  File& operator=(const File&) = delete;

  bool isOpen() const { return m_descriptor >= 0; }
  int get() const { return m_descriptor; }
  int close() {
    const int status = m_descriptor < 0 ? 0 : ::close(m_descriptor);
    m_descriptor = -1;
    return status;
  }

 private:
  int m_descriptor;
};

bool synchronise(const std::string& path, int flags) {
  const File file(path, flags);
  return file.isOpen() && ::fsync(file.get()) == 0;
}

std::string directoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// A rename would replace what open(2) refuses to write.
bool isReplaceable(const std::string& path) {
  struct stat status {};
  if (::lstat(path.c_str(), &status) != 0) return errno == ENOENT;
  const File target(path, O_WRONLY | O_NONBLOCK);
  return target.isOpen();
}

bool moveLocated(const std::string& temporary, const std::string& path) {
  return isReplaceable(path) && synchronise(temporary, O_RDONLY) &&
         ::rename(temporary.c_str(), path.c_str()) == 0 &&
         synchronise(directoryOf(path), O_RDONLY | O_DIRECTORY);
}

// Some file systems, of other machines above all, cannot rename without replacing.
bool moveToFree(const char* temporary, const char* path) {
  if (Path::moveNew(temporary, path) == 0) return true;
  if (errno != EINVAL) return false;
  const std::string from = Path::located(temporary);
  return ::link(from.c_str(), Path::located(path).c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

bool writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t written = ::write(descriptor, content.data(), content.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) content.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool keepModeAndOwner(int descriptor, const std::string& path) {
  struct stat status {};
  if (::stat(path.c_str(), &status) != 0) return errno == ENOENT;
  return ::fchmod(descriptor, status.st_mode & 07777U) == 0 &&
         ::fchown(descriptor, status.st_uid, status.st_gid) == 0;
}

bool writeNew(const std::string& temporary, const std::string& path, std::string_view content,
              int mode) {
  File file(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, static_cast<mode_t>(mode));
  return file.isOpen() && writeAll(file.get(), content) && keepModeAndOwner(file.get(), path) &&
         file.close() == 0;
}

// The answer of a replacement; a failure leaves no temporary file.
int answer(bool done, const std::string& temporary) {
  if (done) return 0;
  const int error = errno;
  ::unlink(temporary.c_str());
  errno = error;
  return -1;
}

}  // namespace

std::string temporaryOf(const std::string& path) { return path + ".new"; }

int moveIntoPlace(const char* temporary, const char* path) {
  const std::string from = Path::located(temporary);
  return answer(moveLocated(from, Path::located(path)), from);
}

int moveToNewPlace(const char* temporary, const char* path) {
  const std::string from = Path::located(temporary);
  return answer(synchronise(from, O_RDONLY) && moveToFree(temporary, path) &&
                    synchronise(directoryOf(Path::located(path)), O_RDONLY | O_DIRECTORY),
                from);
}

int synchroniseFile(const char* path) {
  return synchronise(Path::located(path), O_RDONLY) ? 0 : -1;
}

int replaceFile(const char* path, std::string_view content, int mode) {
  const std::string target = Path::located(path);
  const std::string temporary = temporaryOf(target);
  return answer(writeNew(temporary, target, content, mode) && moveLocated(temporary, target),
                temporary);
}

}  // namespace utility
