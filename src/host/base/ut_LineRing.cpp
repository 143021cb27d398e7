// A file of fixed size that keeps the last lines written to it.
#include "host/base/ut_LineRing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <utility>

#include "host/base/ut_Path.h"
#include "util/st_Tokens.h"
#include "util/ut_OpenFile.h"

namespace utility {

namespace {

constexpr std::size_t headSize = 25;  // two numbers in hexadecimal, each with a blank

std::string headOf(std::uint64_t number, std::string_view text) {
  std::array<char, headSize + 1> head;
  std::snprintf(head.data(), head.size(), "%015llx %08x ", static_cast<unsigned long long>(number),
                strings::digestOf(std::string(text) + std::to_string(number)));
  return head.data();
}

std::string_view trimmed(std::string_view text) {
  return text.substr(0, text.find_last_not_of(' ') + 1);
}

// The lines by their numbers.
std::map<std::uint64_t, std::string> linesOf(std::string_view content) {
  std::map<std::uint64_t, std::string> lines;
  for (std::size_t end; (end = content.find('\n')) != std::string_view::npos;) {
    std::string_view line = content.substr(0, end);
    content.remove_prefix(end + 1);
    line.remove_prefix(std::min(line.find_first_not_of('\0'), line.size()));  // room not used yet
    std::uint64_t number = 0;
    if (line.size() < headSize) continue;
    std::from_chars(line.data(), line.data() + 15, number, 16);
    const std::string_view text = trimmed(line.substr(headSize));
    if (line.substr(0, headSize) == headOf(number, text)) lines[number] = text;
  }
  return lines;
}

std::string contentOf(const char* path) {
  std::stringstream content;
  content << std::ifstream(Path::located(path)).rdbuf();
  return content.str();
}

}  // namespace

LineRing::LineRing(const char* path, std::int64_t bytes)
    : m_descriptor(openFile(path, O_WRONLY | O_CREAT | O_NOFOLLOW, 0600)) {
  if (m_descriptor < 0) return;
  m_lines = static_cast<std::uint64_t>(bytes) / lineSize;
  const auto size = static_cast<off_t>(m_lines * lineSize);
  const auto before = linesOf(contentOf(path));
  struct stat status {};
  // At another size the lines' places are others, too.
  const bool anew = ::fstat(m_descriptor, &status) != 0 || status.st_size != size;
  if (anew && ::ftruncate(m_descriptor, 0) != 0) errno = EIO;
  if (const int error = ::posix_fallocate(m_descriptor, 0, size); error != 0) {
    ::close(std::exchange(m_descriptor, -1));
    errno = error;
    return;
  }
  if (!before.empty()) m_next = before.rbegin()->first + 1;
  if (!anew) return;
  for (const auto& [number, text] : before) {
    m_next = number;
    append(text);
  }
}

LineRing::~LineRing() {
  if (m_descriptor >= 0) ::close(m_descriptor);
}

void LineRing::append(std::string_view text) {
  if (m_descriptor < 0) return;
  text = trimmed(text.substr(0, maxText));
  const std::lock_guard lock(m_mutex);
  std::string line = headOf(m_next, text) + std::string(text);
  line.resize(lineSize - 1, ' ');
  line += '\n';
  const auto place = static_cast<off_t>(m_next++ % m_lines * lineSize);
  // What cannot be written is missing in the story, and its number shows that.
  [[maybe_unused]] const ssize_t written = ::pwrite(m_descriptor, line.data(), line.size(), place);
}

std::vector<std::string> LineRing::texts(std::string_view content) {
  std::vector<std::string> texts;
  for (auto& [number, text] : linesOf(content)) texts.push_back(text);
  return texts;
}

}  // namespace utility
