// Building a two-way stream over an array or from a file.
#include "util/ut_BufferStream.h"

#include <cstddef>
#include <limits>

#include "util/ut_FileInputStream.h"

namespace utility {
namespace {

constexpr std::size_t chunkSize = 4096;
// The positions of a buffer are 32 bits wide.
constexpr std::size_t largestContent = std::numeric_limits<int>::max() - chunkSize;

// Read to the end rather than to the size that the system tells: files under /proc tell 0.
std::vector<char> readFile(const char* path) {
  FileInputStream file(path);
  std::vector<char> content;
  std::size_t length = 0;
  int received = 0;
  do {
    length += static_cast<std::size_t>(received);
    content.resize(length + chunkSize);
    received = file.ReceiveInputStream(content.data() + length, chunkSize);
  } while (received > 0 && length < largestContent);
  content.resize(length + 1);
  content[length] = '\0';
  return content;
}

}  // namespace

BufferStream::BufferStream(char* array, int size, bool silentTruncation)
    : Buffer(array, size, silentTruncation) {}

BufferStream::BufferStream(const char* path) : m_content(readFile(path)) {
  attach(m_content.data(), static_cast<int>(m_content.size()));
  WriteAdvance(WriteRemaining());
}

}  // namespace utility
