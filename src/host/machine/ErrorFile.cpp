// What commands write to standard error: a file in memory.
#include "host/machine/ErrorFile.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#include "util/fw_ShownText.h"
#include "util/ut_OpenFile.h"
#include "util/ut_System.h"

namespace platform {

namespace {

constexpr const char* name = "mc-stderr";
constexpr std::string_view link = "/memfd:mc-stderr";  // what /proc shows for it begins so
constexpr off_t mostBytes = 65536;
constexpr off_t keptBytes = 4096;  // a page
constexpr std::size_t longestLine = 200;

// Whether a path of /proc/PID/fd leads to such a file; asked before it is opened, as the opening of
// other files may wait or do something.
bool isErrorFile(const char* path) {
  std::array<char, 256> located;
  std::array<char, 64> target;
  const char* place = utility::System::current().locate(path, located.data(), located.size());
  const ssize_t size = ::readlink(place, target.data(), target.size());
  const std::string_view text(target.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  return text.starts_with(link);
}

}  // namespace

ErrorFile ErrorFile::create() {
  Descriptor file(::memfd_create(name, MFD_CLOEXEC));
  // A writer may be cut short or open the file anew, and another one must not write over it.
  if (file.isOpen()) ::fcntl(file.get(), F_SETFL, O_APPEND);
  return ErrorFile(std::move(file));
}

std::string ErrorFile::lastLine() const {
  struct stat status {};
  std::array<char, keptBytes> end;
  if (::fstat(m_file.get(), &status) != 0) return "";
  const off_t from = std::max<off_t>(0, status.st_size - keptBytes);
  const ssize_t size = ::pread(m_file.get(), end.data(), end.size(), from);
  std::string_view text(end.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
  const std::size_t last = text.find_last_not_of(" \t\r\n");
  text = text.substr(0, last + 1);  // npos + 1 is 0
  const std::size_t lineEnd = text.find_last_of("\r\n");
  if (lineEnd != std::string_view::npos) text.remove_prefix(lineEnd + 1);
  if (text.size() >
      longestLine) {  // from a whole word on: nobody knows the end of a secret for one
    text.remove_prefix(text.size() - longestLine);
    text.remove_prefix(std::min(text.find(' '), text.size() - 1) + 1);
  }
  return framework::shownText(text);
}

void ErrorFile::bound(int pid) {
  std::array<char, 32> path;
  std::snprintf(path.data(), path.size(), "/proc/%d/fd/2", pid);
  if (!isErrorFile(path.data())) return;
  const Descriptor file(utility::openFile(path.data(), O_RDWR, 0));
  struct stat status {};
  if (!file.isOpen() || ::fstat(file.get(), &status) != 0) return;
  if (status.st_blocks * 512 <= mostBytes) return;
  const off_t end = (status.st_size - keptBytes) / keptBytes * keptBytes;
  ::fallocate(file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, 0, end);
}

}  // namespace platform
