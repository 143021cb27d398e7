// The text of a hosts file, read and changed.
#include "host/network/nw_HostsTable.h"

#include <arpa/inet.h>
#include <strings.h>

#include <algorithm>
#include <vector>

namespace services::network {

namespace {

constexpr std::string_view blanks = " \t\r\f\v";

// Cuts the first line with its end off the table.
std::string_view takeLine(std::string_view& table) {
  const std::size_t end = std::min(table.find('\n'), table.size() - 1);
  const std::string_view line = table.substr(0, end + 1);
  table.remove_prefix(line.size());
  return line;
}

bool isAddress(const std::string& text) {
  in6_addr address;
  return ::inet_pton(AF_INET, text.c_str(), &address) == 1 ||
         ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool isSame(std::string_view one, std::string_view other) {
  return one.size() == other.size() && ::strncasecmp(one.data(), other.data(), one.size()) == 0;
}

// A line's words in front of its comment: views of the line. Empty when it is no entry.
struct Entry {
  explicit Entry(std::string_view line) {
    std::string_view rest = line.substr(0, line.find_first_of("#\n"));
    while (true) {
      rest.remove_prefix(std::min(rest.find_first_not_of(blanks), rest.size()));
      if (rest.empty()) break;
      words.push_back(rest.substr(0, rest.find_first_of(blanks)));
      rest.remove_prefix(words.back().size());
    }
    if (words.size() < 2 || !isAddress(std::string(words[0]))) words.clear();
  }

  bool holds(std::string_view name) const {
    return std::any_of(words.begin() + (words.empty() ? 0 : 1), words.end(),
                       [name](std::string_view word) { return isSame(word, name); });
  }

  bool holdsOnly(std::string_view name) const {
    return std::all_of(words.begin() + (words.empty() ? 0 : 1), words.end(),
                       [name](std::string_view word) { return isSame(word, name); });
  }

  std::vector<std::string_view> words;
};

// The line without the name and the blanks before it; of one that holds no other, its comment.
std::string without(std::string_view line, const Entry& entry, std::string_view name) {
  if (entry.holdsOnly(name)) {
    const std::size_t comment = line.find('#');
    return comment == std::string_view::npos ? "" : std::string(line.substr(comment));
  }
  std::string kept;
  const char* from = line.data();
  for (std::size_t i = 1; i < entry.words.size(); ++i) {
    if (!isSame(entry.words[i], name)) continue;
    const std::string_view before = entry.words[i - 1];
    kept.append(from, before.data() + before.size());
    from = entry.words[i].data() + entry.words[i].size();
  }
  return kept.append(from, line.data() + line.size());
}

std::string newLine(std::string_view address, std::string_view name) {
  return std::string(address) + "\t" + std::string(name) + "\n";
}

// The first line that holds the name, at its new address.
std::string pointed(std::string_view line, const Entry& entry, std::string_view address,
                    std::string_view name) {
  if (entry.words[0] == address) return std::string(line);
  if (!entry.holdsOnly(name)) return newLine(address, name) + without(line, entry, name);
  const auto start = static_cast<std::size_t>(entry.words[0].data() - line.data());
  return std::string(line).replace(start, entry.words[0].size(), address);
}

}  // namespace

std::optional<std::string> findHost(std::string_view table, std::string_view name) {
  while (!table.empty()) {
    const Entry entry(takeLine(table));
    if (entry.holds(name)) return std::string(entry.words[0]);
  }
  return std::nullopt;
}

std::string pointHost(std::string_view table, std::string_view address, std::string_view name) {
  std::string result;
  bool isPointed = false;
  while (!table.empty()) {
    const std::string_view line = takeLine(table);
    const Entry entry(line);
    if (!entry.holds(name)) {
      result += line;
    } else if (isPointed) {
      result += without(line, entry, name);
    } else {
      result += pointed(line, entry, address, name);
      isPointed = true;
    }
  }
  if (isPointed) return result;
  if (!result.empty() && !result.ends_with('\n')) result += '\n';
  return result + newLine(address, name);
}

}  // namespace services::network
