// Writing a compressed archive that appears whole or not at all.
#include "host/base/ut_Archive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <ctime>
#include <string>
#include <utility>

#include "host/base/ut_DurableFile.h"
#include "host/base/ut_Path.h"
#include "util/ut_OpenFile.h"

namespace utility {

namespace {

constexpr std::size_t blockSize = 512;
constexpr mode_t fileMode = 0600;

// The header of a file, by the places that POSIX gives its fields.
class Header {
 public:
  Header(const std::string& name, std::int64_t size) {
    text(0, name.substr(0, 100));
    number(100, 8, fileMode);
    number(108, 8, 0);  // user and group
    number(116, 8, 0);
    number(124, 12, static_cast<std::uint64_t>(size));
    number(136, 12, static_cast<std::uint64_t>(std::time(nullptr)));
    text(148, "        ");  // what the checksum counts in its own place
    text(156, "0");
    text(257, "ustar");
    text(263, "00");
    unsigned int sum = 0;
    for (const char byte : m_block) sum += static_cast<unsigned char>(byte);
    number(148, 8, sum);
  }

  std::string_view bytes() const { return {m_block.data(), m_block.size()}; }

 private:
  void text(std::size_t place, const std::string& value) {
    std::ranges::copy(value, m_block.begin() + static_cast<std::ptrdiff_t>(place));
  }
  // In octal, with a zero byte behind it.
  void number(std::size_t place, std::size_t width, std::uint64_t value) {
    for (std::size_t digit = width - 1; digit > 0; value >>= 3U) {
      m_block[place + --digit] = static_cast<char>('0' + (value & 7U));
    }
  }

  std::array<char, blockSize> m_block{};
};

// Takes away what a process that was killed has left.
void removeLeft(const std::string& path) {
  struct stat status {};
  if (::lstat(Path::located(path).c_str(), &status) != 0) return;
  if (S_ISREG(status.st_mode) && status.st_uid == ::geteuid()) Path::remove(path.c_str());
}

}  // namespace

Archive::Archive(std::string path) : m_path(std::move(path)), m_temporary(temporaryName(m_path)) {
  open();
}

void Archive::open() {
  struct stat status {};
  if (::lstat(Path::located(m_path).c_str(), &status) == 0) {
    m_error = EEXIST;
    return;
  }
  removeLeft(m_temporary);
  const int file =
      openFile(m_temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, fileMode);
  if (file < 0) return fail();
  m_file = ::gzdopen(file, "wb1");  // the fastest compression: who waits is an operator
  if (m_file != nullptr) return;
  ::close(file);
  errno = ENOMEM;
  fail();
}

Archive::~Archive() {
  if (m_file == nullptr) return;
  ::gzclose(m_file);
  Path::remove(m_temporary.c_str());
}

void Archive::fail() {
  if (m_error == 0) m_error = errno == 0 ? EIO : errno;
}

void Archive::put(std::string_view bytes) {
  if (m_error != 0 || bytes.empty()) return;
  errno = 0;
  if (::gzwrite(m_file, bytes.data(), static_cast<unsigned int>(bytes.size())) == 0) fail();
}

void Archive::add(const std::string& name, std::string_view content) {
  begin(name, static_cast<std::int64_t>(content.size()));
  write(content);
  end();
}

void Archive::begin(const std::string& name, std::int64_t size) {
  m_size = m_left = size;
  m_added += size;
  put(Header(name, size).bytes());
}

void Archive::write(std::string_view content) {
  content = content.substr(0, static_cast<std::size_t>(m_left));
  m_left -= static_cast<std::int64_t>(content.size());
  put(content);
}

void Archive::end() {
  constexpr std::array<char, blockSize> zeros{};
  const std::string missing(blockSize, '\n');
  while (m_left > 0) write(missing);
  const auto beyond = static_cast<std::size_t>(m_size) % blockSize;
  if (beyond > 0) put({zeros.data(), blockSize - beyond});
}

int Archive::finish() {
  if (m_file == nullptr) return m_error;
  constexpr std::array<char, 2 * blockSize> zeros{};
  put({zeros.data(), zeros.size()});
  errno = 0;
  if (::gzclose(std::exchange(m_file, nullptr)) != Z_OK) fail();
  if (m_error != 0) {
    Path::remove(m_temporary.c_str());
  } else if (moveToNewPlace(m_temporary.c_str(), m_path.c_str()) != 0) {
    fail();
  }
  return m_error;
}

}  // namespace utility
