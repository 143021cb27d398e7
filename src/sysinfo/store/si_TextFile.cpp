// Rows in a text file: what a small controller has in place of a database.
#include "sysinfo/store/si_TextFile.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <utility>

#include "host/base/ut_DurableFile.h"
#include "sysinfo/store/si_Transfer.h"

namespace services::sysinfo {

namespace {

constexpr std::string_view heading = "settings ";
constexpr std::string_view version = "1";
constexpr std::string_view digestWord = "sha256 ";

// What a backslash stands before, and the character meant.
constexpr std::pair<char, char> escapes[] = {{'\\', '\\'}, {'t', '\t'}, {'n', '\n'}};

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    char letter = '\0';
    for (const auto& [word, meant] : escapes) letter = c == meant ? word : letter;
    if (letter != '\0') out += '\\';
    out += letter != '\0' ? letter : c;
  }
  return out;
}

std::string plain(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char c = text[i];
    if (c == '\\' && i + 1 < text.size()) {
      ++i;
      for (const auto& [word, meant] : escapes) c = text[i] == word ? meant : c;
    }
    out += c;
  }
  return out;
}

std::string textOf(const Rows& rows) {
  std::string text = std::string(heading) + std::string(version) + "\n";
  for (const auto& [place, value] : rows) {
    text += escaped(place.scope) + "\t" + escaped(place.key) + "\t" + escaped(value) + "\n";
  }
  return text + std::string(digestWord) + digestOf(rows) + "\n";
}

// Takes the first piece of a text off it, and the character that ends the piece.
std::string_view takePiece(std::string_view& text, char end) {
  const std::size_t size = text.find(end);
  const std::string_view piece = text.substr(0, size);
  text.remove_prefix(size == std::string_view::npos ? text.size() : size + 1);
  return piece;
}

}  // namespace

TextFile::TextFile(const std::string& path) : m_path(path), m_state(read()) {
  if (m_state != State::Good) m_rows.clear();
}

TextFile::State TextFile::read() {
  errno = 0;
  const std::ifstream file(m_path);
  if (!file.is_open() && errno == ENOENT) return State::Empty;
  std::ostringstream content;
  content << file.rdbuf();
  if (!file.is_open() || file.bad() || (errno != 0 && content.view().empty())) {
    m_error = std::strerror(errno);
    return State::Failed;
  }
  return content.view().empty() ? State::Empty : take(content.view());
}

TextFile::State TextFile::take(std::string_view content) {
  const std::string_view all = content;
  const std::string_view first = takePiece(content, '\n');
  if (first.starts_with(heading) && first.substr(heading.size()) > version) {
    m_error = "it says \"" + std::string(first) + "\", known is " + std::string(version);
    return State::Newer;
  }
  std::string_view line = takePiece(content, '\n');
  while (!line.starts_with(digestWord) && takeRow(line)) line = takePiece(content, '\n');
  // That it is the very text of these rows finds what the digest does not cover, too.
  if (all == textOf(m_rows)) return State::Good;
  m_error = "its digest does not match its rows";
  return State::Damaged;
}

bool TextFile::takeRow(std::string_view line) {
  if (line.empty()) return false;
  const std::string scope = plain(takePiece(line, '\t'));
  const std::string key = plain(takePiece(line, '\t'));
  m_rows[{scope, key}] = plain(line);
  return true;
}

bool TextFile::commit(const Rows& rows) {
  m_error.clear();
  if (!write(m_path, rows)) return false;
  m_rows = rows;
  return true;
}

bool TextFile::copyTo(const std::string& path) { return write(path, m_rows); }

bool TextFile::write(const std::string& path, const Rows& rows) {
  if (utility::replaceFile(path.c_str(), textOf(rows), 0600) == 0) return true;
  m_error = std::strerror(errno);
  return false;
}

}  // namespace services::sysinfo
