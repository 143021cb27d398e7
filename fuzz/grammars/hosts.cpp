// A hosts file, in which a name is looked up and pointed elsewhere, beside its lines of words.
#include <strings.h>

#include "fuzz/play.h"
#include "host/network/nw_HostsTable.h"

using namespace services::network;
using Words = std::vector<std::string>;

namespace {

Words linesOf(const std::string& table) {
  std::istringstream stream(table);
  Words lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// The address of a line and its names; empty for what is no entry.
Words entryOf(const std::string& line) {
  std::istringstream stream(line.substr(0, line.find('#')));
  Words words;
  for (std::string word; stream >> word;) words.push_back(word);
  in6_addr address;
  const auto is = [&](int family) { return inet_pton(family, words[0].c_str(), &address) == 1; };
  if (words.size() < 2 || !(is(AF_INET) || is(AF_INET6))) words.clear();
  return words;
}

bool holds(const std::string& line, const char* name) {
  const Words words = entryOf(line);
  return std::any_of(words.begin() + !words.empty(), words.end(),
                     [&](auto& word) { return strcasecmp(word.c_str(), name) == 0; });
}

std::string lookedUp(const std::string& table, const char* name) {
  for (const auto& line : linesOf(table)) {
    if (holds(line, name)) return entryOf(line)[0];
  }
  return "-";
}

}  // namespace

void play(const std::string& table) {
  const std::string after = pointHost(table, "10.0.0.9", "mc");
  if (table.find_first_of(std::string("\0\v\f", 3)) != std::string::npos) return;  // blanks of >>
  REQUIRE(lookedUp(after, "mc") == "10.0.0.9");
  REQUIRE(pointHost(after, "10.0.0.9", "mc") == after);
  const Words kept = linesOf(after);
  REQUIRE(std::ranges::count_if(kept, [](auto& line) { return holds(line, "mc"); }) == 1);
  auto next = kept.begin();
  for (const auto& line : linesOf(table)) {
    if (holds(line, "mc")) continue;
    next = std::find(next, kept.end(), line);
    REQUIRE(next++ != kept.end());
  }
  for (const char* name : {"a", "mca", "X", "127.0.0.1", "localhost", "mc"}) {
    REQUIRE(findHost(table, name).value_or("-") == lookedUp(table, name));
    if (name != std::string("mc")) REQUIRE(lookedUp(after, name) == lookedUp(table, name));
  }
}
