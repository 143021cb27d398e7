// mclab-store: what a push transfers, out of a controller's store and into it.
//   get firmware|settings    writes them, a heading and lines of scope, key and value
//   put                      makes the store say what it reads of these; no host may run on it
// The scope "firmware" stands for this controller's own record.
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sysinfo/record/si_Grammar.h"
#include "sysinfo/record/si_Scopes.h"
#include "sysinfo/store/si_Keeper.h"
#include "sysinfo/store/si_Store.h"
#include "sysinfo/store/si_Transfer.h"

namespace {

using namespace services::sysinfo;

constexpr std::string_view firmware = "firmware";
constexpr std::string_view settings = "settings";
constexpr std::string_view firmwareKeys[] = {"McVersion", "BundleVersion", "CpldVersion",
                                             "LastLoadedTime"};
constexpr const char* flags[] = {"SnmpChanged", "SmisChanged"};

std::string ownLetter(const Rows& rows) {
  const auto slot = rows.find(slotKey);
  if (slot == rows.end()) throw std::runtime_error("the store does not say whose it is");
  return slot->second;
}

// The rows of a group, at their places in the store.
Rows groupOf(std::string_view group, const Rows& rows) {
  if (group == settings) return transferable(rows);
  if (group != firmware) throw std::runtime_error("there is no group " + std::string(group));
  Rows own;
  for (const auto key : firmwareKeys) {
    const auto row = rows.find({ownLetter(rows), std::string(key)});
    if (row != rows.end()) own.insert(*row);
  }
  return own;
}

void get(std::string_view group) {
  // The copy is replaced whole after each change, so it can be read while the host runs.
  const Keeper copy(storePath() + ".good");
  if (copy.state() != Keeper::State::Good) throw std::runtime_error("no store to read");
  std::cout << group << '\n';
  for (const auto& [place, value] : groupOf(group, copy.rows())) {
    std::cout << (group == firmware ? firmware : place.scope) << '\t' << place.key << '\t' << value
              << '\n';
  }
}

void takeLine(const std::string& line, Rows& rows) {
  const std::size_t first = line.find('\t');
  if (first == std::string::npos) {
    for (const auto& [place, value] : groupOf(line, rows)) rows.erase(place);
    return;
  }
  const std::size_t second = line.find('\t', first + 1);
  if (second == std::string::npos) throw std::runtime_error("no value: " + line);
  RowKey place{line.substr(0, first), line.substr(first + 1, second - first - 1)};
  if (place.scope == firmware) place.scope = ownLetter(rows);
  const std::string value = line.substr(second + 1);
  const Grammar* grammar = grammarAt(place);
  const bool isUser = place.scope.starts_with(userScope);
  if (isUser && !storedUserNameGrammar.holds(place.scope.c_str() + userScope.size()))
    grammar = nullptr;
  if (grammar == nullptr || !grammar->holds(value.c_str())) {
    throw std::runtime_error("refused: " + line);
  }
  rows[place] = value;
}

Rows usersOf(Rows rows) {
  std::erase_if(rows, [](const auto& row) { return !row.first.scope.starts_with(userScope); });
  return rows;
}

void put() {
  Store store(storePath(), {}, [](const Rows&) {});
  const Rows before = store.rows();
  Rows rows = before;
  for (std::string line; std::getline(std::cin, line);) takeLine(line, rows);
  for (const char* flag : flags) {
    if (rowsUnder(flag, before) != rowsUnder(flag, rows)) rows[{systemScope, flag}] = "true";
  }
  if (usersOf(before) != usersOf(rows)) rows[untoldKey] = "true";
  std::vector<std::string> scopes;
  for (const auto& [place, value] : before) scopes.push_back(place.scope);
  if (!store.replace(scopes, rows)) throw std::runtime_error("the store cannot be written");
}

}  // namespace

int main(int argc, char** argv) try {
  const std::string_view command = argc > 1 ? argv[1] : "";
  if (command == "get" && argc == 3) {
    get(argv[2]);
  } else if (command == "put" && argc == 2) {
    put();
  } else {
    std::fputs("usage: mclab-store get firmware|settings | put\n", stderr);
    return 2;
  }
  return 0;
} catch (const std::exception& problem) {
  std::fprintf(stderr, "mclab-store: %s\n", problem.what());
  return 1;
}
