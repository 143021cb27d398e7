// A typed command line: splitting it into words, and quoting words so that they survive.
#include "host/console/fw_TypedLine.h"

#include "util/fw_ShownText.h"

namespace framework {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Reads a line from left to right.
class Splitter {
 public:
  explicit Splitter(std::string_view line) : m_line(line) {}

  bool atEnd() {
    while (m_at < m_line.size() && isBlank(m_line[m_at])) ++m_at;
    return m_at == m_line.size();
  }

  // False with m_error set when the word cannot be read.
  bool readWord(std::string& word) {
    while (m_at < m_line.size() && !isBlank(m_line[m_at])) {
      const bool read = m_line[m_at] == '"' ? readQuoted(word) : take(word);
      if (!read) return false;
    }
    return true;
  }

  const std::string& error() const { return m_error; }

 private:
  bool readQuoted(std::string& word) {
    const std::size_t opening = m_at++;
    while (m_at < m_line.size() && m_line[m_at] != '"') {
      if (m_line[m_at] == '\\' && m_at + 1 < m_line.size()) ++m_at;
      if (!take(word)) return false;
    }
    if (m_at == m_line.size()) return fail("unterminated quote", opening);
    ++m_at;
    return true;
  }

  bool take(std::string& word) {
    const auto [kind, length] = firstCharacter(m_line.substr(m_at));
    if (kind == CharacterKind::Control) return fail("control character", m_at);
    if (kind == CharacterKind::Malformed) return fail("no UTF-8", m_at);
    word += m_line.substr(m_at, length);
    m_at += length;
    return true;
  }

  bool fail(const char* what, std::size_t place) {
    m_error = std::string(what) + " at column " + std::to_string(place + 1) + "\n";
    return false;
  }

  std::string_view m_line;
  std::size_t m_at = 0;
  std::string m_error;
};

std::string quoted(const std::string& word) {
  if (!word.empty() && word.find_first_of(" \t\"") == std::string::npos) return word;
  std::string text = "\"";
  for (const char c : word) {
    if (c == '"' || c == '\\') text += '\\';
    text += c;
  }
  return text + '"';
}

}  // namespace

std::optional<std::vector<std::string>> splitLine(std::string_view line, std::string& error) {
  Splitter splitter(line);
  std::vector<std::string> words;
  while (!splitter.atEnd()) {
    if (!splitter.readWord(words.emplace_back())) {
      error = splitter.error();
      return std::nullopt;
    }
  }
  return words;
}

std::string joinWords(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    if (!line.empty()) line += ' ';
    line += quoted(word);
  }
  return line;
}

}  // namespace framework
