// Lines typed at a terminal, with editing, history and completion.
#include "mcsh/Prompt.h"

#include <editline/readline.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "mcsh/Completion.h"
#include "mcsh/Secrets.h"

namespace mcsh {

namespace {

std::vector<std::string> completedCommands;

// Called with 0 for the first candidate and more for the next ones; libedit frees the answer.
char* nextCompletion(const char* start, int state) {
  static std::vector<std::string> candidates;
  static std::size_t next = 0;
  if (state == 0) {
    const auto length = static_cast<std::size_t>(rl_point) - std::strlen(start);
    candidates = completions(completedCommands, std::string(rl_line_buffer, length), start);
    next = 0;
  }
  return next < candidates.size() ? ::strdup(candidates[next++].c_str()) : nullptr;
}

char** complete(const char* start, int /*begin*/, int /*end*/) {
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(start, nextCompletion);
}

}  // namespace

void setCompletedCommands(std::vector<std::string> commands) {
  completedCommands = std::move(commands);
  rl_attempted_completion_function = complete;
}

std::optional<std::string> promptedLine() {
  const std::unique_ptr<char, void (*)(void*)> line(::readline("mc> "), std::free);
  if (line == nullptr) return std::nullopt;
  if (*line != '\0' && !mayHoldSecret(line.get())) ::add_history(line.get());
  return line.get();
}

}  // namespace mcsh
