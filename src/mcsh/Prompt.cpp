// Lines typed at a terminal, with editing, history and completion.
#include "mcsh/Prompt.h"

#include <editline/readline.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>

#include "mcsh/Secrets.h"

namespace mcsh {

namespace {

std::function<std::vector<std::string>(const std::string&)> choicesBehind;

// The choices that begin with `start`; no exception may pass through the editor.
std::vector<std::string> candidatesFor(const char* start) {
  const auto length = static_cast<std::size_t>(rl_point) - std::strlen(start);
  std::vector<std::string> candidates;
  try {
    candidates = choicesBehind(std::string(rl_line_buffer, length));
  } catch (const std::exception&) {
    return {};  // the next command tells
  }
  std::erase_if(candidates, [&](const std::string& one) { return !one.starts_with(start); });
  return candidates;
}

// Called with 0 for the first candidate and more for the next ones; libedit frees the answer.
char* nextCompletion(const char* start, int state) {
  static std::vector<std::string> candidates;
  static std::size_t next = 0;
  if (state == 0) {
    candidates = candidatesFor(start);
    next = 0;
  }
  return next < candidates.size() ? ::strdup(candidates[next++].c_str()) : nullptr;
}

char** complete(const char* start, int /*begin*/, int /*end*/) {
  rl_attempted_completion_over = 1;  // no file names
  return rl_completion_matches(start, nextCompletion);
}

}  // namespace

void setCompletion(std::function<std::vector<std::string>(const std::string&)> choices) {
  choicesBehind = std::move(choices);
  rl_attempted_completion_function = complete;
}

std::optional<std::string> promptedLine() {
  const std::unique_ptr<char, void (*)(void*)> line(::readline("mc> "), std::free);
  if (line == nullptr) return std::nullopt;
  if (*line != '\0' && !mayHoldSecret(line.get())) ::add_history(line.get());
  return line.get();
}

}  // namespace mcsh
