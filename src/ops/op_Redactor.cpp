// Taking secrets out of text that leaves the controller.
//
// What is taken out becomes the byte `out`, so that no rule finds the mark of another; the mark is
// put in at the end.
#include "ops/op_Redactor.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace services::ops {

namespace {

constexpr char out = '\1';
constexpr std::size_t startSize = 4;

bool isBlank(char c) { return c == ' ' || c == '\t' || c == out; }
bool isAlphanumeric(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }
bool isOfName(char c) { return isAlphanumeric(c) || c == '_' || c == '-' || c == '.'; }

std::size_t indexOf(std::string_view text, std::size_t place) {
  return static_cast<std::size_t>(static_cast<unsigned char>(text[place])) << 8U |
         static_cast<unsigned char>(text[place + 1]);
}

std::string lowered(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

std::string escaped(std::string_view value) {
  std::string text;
  for (const char c : value)
    text += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
  return text;
}

std::string inUrl(std::string_view value) {
  constexpr const char* digits = "0123456789ABCDEF";
  std::string text;
  for (const char c : value) {
    const auto byte = static_cast<unsigned char>(c);
    if (isOfName(c) || c == '~') {
      text += c;
    } else {
      text += {'%', digits[byte >> 4U], digits[byte & 15U]};
    }
  }
  return text;
}

// Whether a text may have been cut at this place: at the end of a field of a line.
bool isFieldEnd(std::string_view text, std::size_t place) {
  const std::string_view rest = text.substr(place);
  return rest.empty() || rest[0] == '\t' || rest[0] == '"' || rest.starts_with("  ");
}

std::size_t commonStart(std::string_view left, std::string_view right) {
  return static_cast<std::size_t>(std::ranges::mismatch(left, right).in1 - left.begin());
}

// Where NAME:PASSWORD of a word ends, as far as it has them: before the "@", or at the end of what
// was cut before it, unless that looks like HOST:PORT/PATH.
std::size_t credentialsEnd(std::string_view word, std::size_t scheme) {
  const std::size_t sign = word.rfind('@');
  if (sign != std::string_view::npos) return word.find(':') < sign ? sign : 0;
  if (scheme == std::string_view::npos) return 0;
  const std::string_view rest = word.substr(scheme + 3, word.find_last_not_of(" \t") - scheme - 2);
  const std::size_t colon = rest.find(':');
  const std::size_t digits = std::min(colon, rest.size() - 1) + 1;
  const std::size_t end = rest.find_first_not_of("0123456789", digits);
  const bool port = end == std::string_view::npos ||
                    std::string_view("/,;)\"'").find(rest[end]) != std::string_view::npos;
  return colon == std::string_view::npos || port || rest.starts_with('[')
             ? 0
             : scheme + 3 + rest.size();
}

// Takes out NAME:PASSWORD of each word NAME:PASSWORD@HOST, behind its scheme.
std::string withoutCredentials(std::string_view line) {
  std::string text;
  for (std::size_t end = 0; !line.empty(); line.remove_prefix(end)) {
    end = std::min(line.find_first_of(" \t"), line.size() - 1) + 1;
    std::string word(line.substr(0, end));
    const std::size_t scheme = word.find("://");
    const std::size_t credentials = credentialsEnd(word, scheme);
    const std::size_t from = scheme < credentials ? scheme + 3 : 0;
    if (credentials > 0) word.replace(from, credentials - from, 1, out);
    text += word;
  }
  return text;
}

bool isAccountOption(std::string_view name) {
  return name == "-u" || name == "--user" || name == "--proxy-user";
}

// Where the secret behind the name at [from, to) begins; npos where none does.
std::size_t secretBehind(std::string_view line, std::size_t from, std::size_t to) {
  const std::string_view name = line.substr(from, to - from);
  const bool blank = to < line.size() && isBlank(line[to]);
  const std::string_view rest = line.substr(to);
  if (blank && isAccountOption(name)) {
    const std::size_t word = rest.find_first_not_of(" \t");
    const std::size_t end =
        std::min(rest.find_first_of(" \t", std::min(word, rest.size())), rest.size());
    return rest.substr(0, end).find(':') == std::string_view::npos ? std::string_view::npos
                                                                   : to + 1;
  }
  const std::string lower = lowered(name);
  if (blank && (lower.ends_with("community") || lower == "createuser")) return to + 1;
  if (!Redactor::isSecretName(name)) return std::string_view::npos;
  if (blank && name.starts_with('-')) return to + 1;
  const std::size_t sign = line.find_first_not_of(" \t\"'`)]", to);
  if (sign == std::string_view::npos || (line[sign] != '=' && line[sign] != ':'))
    return std::string_view::npos;
  return sign + 1;
}

// Takes out the rest of the line behind the first name that says secret.
void cutSecret(std::string& line) {
  for (std::size_t from = 0, to = 0; from < line.size(); from = to) {
    to = from + 1;
    if (!isOfName(line[from])) continue;
    while (to < line.size() && isOfName(line[to])) ++to;
    const std::size_t behind = secretBehind(line, from, to);
    if (behind == std::string::npos) continue;
    const std::size_t secret = line.find_first_not_of(" \t", behind);
    if (secret != std::string::npos) line.replace(secret, line.size(), 1, out);
    return;
  }
}

std::string marked(std::string_view line) {
  std::string text;
  for (const char c : line) {
    if (c != out) {
      text += c;
    } else if (!text.ends_with(Redactor::mark)) {
      text += Redactor::mark;
    }
  }
  return text;
}

}  // namespace

void Redactor::addSecret(std::string_view value) {
  for (std::size_t end = 0; !value.empty(); value.remove_prefix(std::min(end + 1, value.size()))) {
    end = std::min(value.find_first_of("\r\n"), value.size());
    const std::string_view line = value.substr(0, end);
    if (line.empty()) continue;
    add(std::string(line));
    add(escaped(line));
    add(inUrl(line));
  }
}

void Redactor::add(const std::string& value) {
  if (value.size() < startSize) {
    m_short.insert(value);
    return;
  }
  m_firstTwo.set(indexOf(value, 0));
  m_known.insert(value);
}

bool Redactor::isSecretName(std::string_view name) {
  constexpr std::array parts = {"pass",          "secret", "token", "communit", "credential",
                                "authorization", "hash",   "pwd",   "cookie"};
  constexpr std::array ends = {"key", "auth", "pw"};
  const std::string lower = lowered(name);
  return std::ranges::any_of(
             parts, [&](const char* part) { return lower.find(part) != std::string::npos; }) ||
         std::ranges::any_of(ends, [&](const char* end) { return lower.ends_with(end); });
}

// The length of the longest known secret there, or of the beginning of one that was cut; 0 for
// none.
std::size_t Redactor::secretAt(std::string_view line, std::size_t place) const {
  std::size_t longest = 0;
  const std::string_view rest = line.substr(place);
  const auto longer = [&](const std::string& value) {
    const std::size_t length = commonStart(rest, value);
    if (length == value.size() || isFieldEnd(rest, length)) longest = std::max(longest, length);
  };
  if (rest.size() >= startSize && m_firstTwo.test(indexOf(rest, 0))) {
    const std::string_view start = rest.substr(0, startSize);
    for (auto value = m_known.lower_bound(start);
         value != m_known.end() && value->starts_with(start); ++value) {
      longer(*value);
    }
  }
  if (longest > 0 || (place > 0 && isAlphanumeric(line[place - 1]))) return longest;
  for (const std::string& value : m_short) {
    const bool ends = value.size() >= rest.size() || !isAlphanumeric(rest[value.size()]);
    if (ends && rest.starts_with(value)) longest = std::max(longest, value.size());
  }
  return longest;
}

std::string Redactor::withoutKnown(std::string_view line) const {
  std::string text;
  for (std::size_t place = 0; place < line.size();) {
    const std::size_t length = secretAt(line, place);
    text += length > 0 ? out : line[place];
    place += std::max<std::size_t>(length, 1);
  }
  return text;
}

std::string Redactor::line(std::string_view line) {
  const bool begins = line.find("-----BEGIN") != std::string_view::npos &&
                      line.find("PRIVATE KEY") != std::string_view::npos;
  if (m_inKey || begins) {
    m_inKey = line.find("-----END") == std::string_view::npos;
    return mark;
  }
  std::string text = withoutCredentials(withoutKnown(line));
  cutSecret(text);
  return marked(text);
}

std::string Redactor::text(std::string_view text) {
  beginText();
  std::string result;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    result += line(text.substr(0, end));
    if (end < text.size()) result += '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return result;
}

}  // namespace services::ops
