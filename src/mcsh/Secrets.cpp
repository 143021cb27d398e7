// Command lines that name a secret's source instead of holding the secret.
#include "mcsh/Secrets.h"

#include "host/console/fw_TypedLine.h"
#include "mcsh/SecretSource.h"

namespace mcsh {

namespace {

using Words = std::vector<std::string>;

bool beginsWith(const Words& words, const char* first, const char* second) {
  return words.size() > 1 && words[0] == first && words[1] == second;
}

void fillPairs(Words& words) {
  for (std::size_t key = 2; key + 1 < words.size(); key += 2) {
    if (!words[key].ends_with('@')) continue;
    words[key].pop_back();
    words[key + 1] = readSecret(words[key], words[key + 1]);
  }
}

void fillAttribute(std::string& word) {
  const std::size_t mark = word.find("@=");
  if (mark == std::string::npos || mark > word.find('=')) return;
  const std::string key = word.substr(0, mark);
  word = key + '=' + readSecret(key, word.substr(mark + 2));
}

}  // namespace

Words withSecrets(Words words) {
  if (beginsWith(words, "sysinfo", "set")) fillPairs(words);
  if (beginsWith(words, "user", "add") || beginsWith(words, "user", "set")) {
    for (std::size_t i = 3; i < words.size(); ++i) fillAttribute(words[i]);
  }
  return words;
}

std::string withSecrets(const std::string& line) {
  std::string error;
  const auto words = framework::splitLine(line, error);
  if (!words) return line;
  const Words filled = withSecrets(*words);
  return filled == *words ? line : framework::joinWords(filled);
}

// By its first word alone and how long it is, so that a slip in the others does not keep it.
bool mayHoldSecret(const std::string& line) {
  std::string error;
  const auto words = framework::splitLine(line, error);
  if (!words) return true;
  constexpr std::size_t longestHarmless = 3;
  return words->size() > longestHarmless &&
         (words->front() == "sysinfo" || words->front() == "user");
}

}  // namespace mcsh
