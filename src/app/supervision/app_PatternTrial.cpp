// Whether a pattern costs more than a supervision can afford.
#include "app/supervision/app_PatternTrial.h"

#include <fcntl.h>
#include <regex.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cerrno>
#include <cstdio>

#include "app/supervision/app_CLocale.h"

namespace services::app {

namespace {

constexpr std::size_t titleSize = 4096;
constexpr long memoryLimit = 2048;       // kb, that a pattern may take
constexpr rlim_t hardLimit = 32U << 20;  // bytes more than at the start, at which the trial ends
constexpr rlim_t secondsLimit = 1;       // of processor time

// The letters and digits that a pattern looks for, its counts left out.
std::string lettersOf(const std::string& pattern) {
  std::string letters;
  bool isCount = false;
  for (const char c : pattern) {
    isCount = c == '{' || (isCount && c != '}');
    if (!isCount && std::isalnum(static_cast<unsigned char>(c)) != 0) letters += c;
  }
  return letters.empty() ? "a" : letters;
}

// Letters at random in runs of about that length: each new mixture costs the library a state.
std::string titleOf(const std::string& letters, unsigned int run) {
  std::string title;
  unsigned int random = 1;
  while (title.size() < titleSize) {
    random = random * 1103515245 + 12345;
    const unsigned int drawn = random >> 16;
    title += drawn % run == 0 ? " /-"[drawn / run % 3] : letters[drawn / run % letters.size()];
  }
  return title;
}

void setLimit(__rlimit_resource resource, rlim_t value) {
  const rlimit limit{.rlim_cur = value, .rlim_max = value};
  ::setrlimit(resource, &limit);
}

void setLimits() {
  unsigned long pages = 0;
  if (std::FILE* file = std::fopen("/proc/self/statm", "re")) {
    if (std::fscanf(file, "%lu", &pages) != 1) pages = 0;
    std::fclose(file);
  }
  setLimit(RLIMIT_CORE, 0);
  setLimit(RLIMIT_CPU, secondsLimit);
  if (pages == 0) return;
  setLimit(RLIMIT_AS, pages * static_cast<unsigned long>(::sysconf(_SC_PAGESIZE)) + hardLimit);
}

long memoryTaken() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

bool isAffordable(const std::string& pattern) {
  const long before = memoryTaken();
  regex_t compiled;
  const int result = ::regcomp(&compiled, pattern.c_str(), REG_EXTENDED | REG_NOSUB);
  if (result != 0) return result != REG_ESPACE;
  const std::string letters = lettersOf(pattern);
  for (unsigned int run = 2; run <= 64; run *= 2) {
    if (::regexec(&compiled, titleOf(letters, run).c_str(), 0, nullptr, 0) == REG_ESPACE) {
      return false;
    }
  }
  return memoryTaken() - before <= memoryLimit;
}

// The child: one byte when all went well.
[[noreturn]] void tryPattern(const std::string& pattern, int answer) {
  const CLocale byteForByte;
  setLimits();
  const bool good = isAffordable(pattern) && ::write(answer, "", 1) == 1;
  ::_exit(good ? 0 : 1);
}

}  // namespace

bool isCostly(const std::string& pattern) {
  if (pattern.find_first_of("*+{") == std::string::npos) return false;
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) return false;
  const pid_t child = ::fork();
  if (child == 0) tryPattern(pattern, ends[1]);
  ::close(ends[1]);
  char byte = 0;
  ssize_t size = 0;
  while ((size = ::read(ends[0], &byte, 1)) < 0 && errno == EINTR) continue;
  ::close(ends[0]);
  while (child > 0 && ::waitpid(child, nullptr, 0) < 0 && errno == EINTR) continue;
  return child > 0 && size != 1;
}

}  // namespace services::app
