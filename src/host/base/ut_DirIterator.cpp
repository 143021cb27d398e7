// The entries of a directory, one after the other.
#include "host/base/ut_DirIterator.h"

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "util/ut_System.h"

namespace utility {

DirIterator::DirIterator(const char* directory, const char* pattern)
    : m_directory(directory), m_pattern(pattern) {
  std::array<char, locateSize> buffer;
  const char* located = System::current().locate(directory, buffer.data(), buffer.size());
  m_descriptor = ::open(located, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

DirIterator::~DirIterator() {
  if (m_descriptor >= 0) ::close(m_descriptor);
}

bool DirIterator::fill() {
  if (m_descriptor < 0) return false;
  const ssize_t size = ::getdents64(m_descriptor, m_entries.data(), m_entries.size());
  m_at = 0;
  m_filled = size > 0 ? static_cast<std::size_t>(size) : 0;
  return size > 0;
}

const char* DirIterator::nextName() {
  if (m_at == m_filled && !fill()) return nullptr;
  const auto* entry = reinterpret_cast<const dirent64*>(m_entries.data() + m_at);
  m_at += entry->d_reclen;
  return entry->d_name;
}

const char* DirIterator::next() {
  while (const char* name = nextName()) {
    if (::fnmatch(m_pattern, name, FNM_PERIOD) != 0) continue;
    const int length = std::snprintf(m_path.data(), m_path.size(), "%s%s", m_directory, name);
    if (length > 0 && static_cast<std::size_t>(length) < m_path.size()) return m_path.data();
  }
  return nullptr;
}

}  // namespace utility
