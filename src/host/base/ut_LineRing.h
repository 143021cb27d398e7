// A file of fixed size that keeps the last lines written to it.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace utility {

/// Each line has a number and a checksum and takes the place of the oldest, so that whatever ends
/// the process leaves whole lines. The file's room is taken when it is opened.
///
/// The lines stay readable by eye: "NUMBER CHECKSUM TEXT", padded by blanks to 192 bytes.
class LineRing {
 public:
  static constexpr std::size_t lineSize = 192;
  static constexpr std::size_t maxText = lineSize - 26;  ///< longer texts are cut

  /// Opens the file, or makes it, at the size; what it holds of earlier processes goes on. Not
  /// open, with errno, where that fails.
  LineRing(const char* path, std::int64_t bytes);
  ~LineRing();
  LineRing(const LineRing&) = delete;
  LineRing& operator=(const LineRing&) = delete;

  bool isOpen() const { return m_descriptor >= 0; }

  /// Writes a text of one line. Any thread may call.
  void append(std::string_view text);

  /// The texts of a ring's content, the oldest first; what is no line of one is left out.
  static std::vector<std::string> texts(std::string_view content);

 private:
  int m_descriptor = -1;
  std::uint64_t m_lines = 0;  // that the file holds
  std::uint64_t m_next = 1;   // number
  std::mutex m_mutex;         // guards the number
};

}  // namespace utility
