// The entries of a directory, one after the other.
#pragma once

#include <array>
#include <cstddef>

namespace utility {

/// Lists the entries of a directory whose names match a shell pattern (fnmatch(3)), in the order
/// in which the kernel gives them. As in a shell no wildcard matches a leading ".", so "*" leaves
/// out the directory itself, its parent and hidden files. It reads many entries at once into room
/// of its own and allocates nothing; it is best kept on the stack of one operation.
class DirIterator {
 public:
  /// `directory` ends in a slash. A directory that cannot be opened has no entries. Both texts stay
  /// the caller's and must live as long as the iterator.
  DirIterator(const char* directory, const char* pattern);
  ~DirIterator();
  DirIterator(const DirIterator&) = delete;
  DirIterator& operator=(const DirIterator&) = delete;

  /// The path of the next entry, valid until the next call; null at the end. Entries whose path
  /// does not fit into 512 bytes are left out.
  const char* next();

 private:
  const char* nextName();
  bool fill();

  const char* m_directory;
  const char* m_pattern;
  int m_descriptor;
  std::size_t m_at = 0;
  std::size_t m_filled = 0;
  std::array<char, 512> m_path{};
  alignas(8) std::array<char, 32768> m_entries;
};

}  // namespace utility
