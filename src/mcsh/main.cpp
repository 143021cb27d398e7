// mcsh, the operator's client of the console: one command, a file of commands, or a prompt.
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>
#include <sstream>
#include <string_view>

#include "host/console/fw_TypedLine.h"
#include "mcsh/Client.h"
#include "mcsh/Prompt.h"
#include "mcsh/SecretSource.h"
#include "mcsh/Secrets.h"
#include "mcsh/Views.h"
#include "util/fw_ShownText.h"

namespace {

using Words = std::vector<std::string>;

enum ExitStatus { succeeded = 0, failed = 1, unusable = 2 };

constexpr const char* usage =
    "usage: mcsh [--socket PATH] [--timeout SECONDS] [--json] [COMMAND...]\n"
    "Runs a command of the host's console. Without one: prompts on a terminal, otherwise runs the\n"
    "lines of standard input up to the first that fails. \"mcsh help\" lists the commands.\n"
    "\n"
    "  top                            the daemons, repainted each second; \"q\" ends it\n"
    "  watch [SECONDS] COMMAND...     what a command says, repainted each 2 seconds\n"
    "  log tail -f [LEVEL] [TEXT]     the log's lines as they come\n"
    "  events -f [NAME]               the events as they are raised\n"
    "\n"
    "  --socket PATH      the console's socket ($MC_CONSOLE, else /run/mc/console)\n"
    "  --timeout SECONDS  end when the host keeps silent for so long, 1 to 86400\n"
    "  --json             answer by one JSON text; what is refused goes to standard error\n"
    "  --help             show this text\n"
    "\n"
    "A secret stays off the command line with \"@\" behind its key: its value is then the path of "
    "a\n"
    "file, or \"-\" to be asked: sysinfo set KEY@ FILE, user add NAME KEY@=-.\n"
    "\n"
    "Exit status: 0 when the commands were done, 1 when one was not, 2 when there is no console\n"
    "or the call is wrong.\n";

struct Options {
  std::string socket;
  mcsh::Patience patience;
  bool json = false;
  std::vector<std::string> command;
};

void sayNoAnswerYet() {
  std::fputs("mcsh: no answer yet; it is waited for (see --timeout)\n", stderr);
}

// No time when the text is none.
std::chrono::seconds secondsOf(std::string_view text) {
  constexpr int day = 86400;
  int seconds = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), seconds);
  const bool whole = read.ec == std::errc() && read.ptr == text.data() + text.size();
  return std::chrono::seconds(whole && seconds <= day ? std::max(seconds, 0) : 0);
}

// Nothing, with the exit status to end with, when the call asks for no work.
std::optional<Options> parse(int argc, char** argv, int& status) {
  const char* fromEnvironment = std::getenv("MC_CONSOLE");
  Options options{.socket = fromEnvironment == nullptr ? "/run/mc/console" : fromEnvironment,
                  .patience = {.noAnswerYet = sayNoAnswerYet},
                  .command = {}};
  const option known[] = {{"socket", required_argument, nullptr, 's'},
                          {"timeout", required_argument, nullptr, 't'},
                          {"json", no_argument, nullptr, 'j'},
                          {"help", no_argument, nullptr, 'h'},
                          {nullptr, 0, nullptr, 0}};
  int found = 0;
  while ((found = ::getopt_long(argc, argv, "+s:h", known, nullptr)) != -1) {
    if (found == 's') {
      options.socket = ::optarg;
      continue;
    }
    if (found == 't') {
      options.patience.limit = secondsOf(::optarg);
      if (options.patience.limit.count() > 0) continue;
    }
    if (found == 'j') {
      options.json = true;
      continue;
    }
    status = found == 'h' ? succeeded : unusable;
    std::fputs(usage, found == 'h' ? stdout : stderr);
    return std::nullopt;
  }
  options.command.assign(argv + ::optind, argv + argc);
  return options;
}

void print(const mcsh::Reply& reply, std::FILE* stream = stdout) {
  const std::string text = framework::shownLines(reply.text);
  std::fwrite(text.data(), 1, text.size(), stream);
  std::fflush(stream);
}

// A connection for what repaints and follows: a host that is silent ends it, since its keys are not
// looked at meanwhile.
mcsh::Client viewsClient(const Options& options) {
  mcsh::Patience patience = options.patience;
  if (patience.limit.count() == 0) patience.limit = std::chrono::seconds(5);
  patience.noAnswerYet = nullptr;
  return mcsh::Client(options.socket, patience);
}

std::optional<int> runView(const Options& options, const std::vector<std::string>& words) {
  if (!mcsh::isView(words)) return std::nullopt;
  mcsh::Client client = viewsClient(options);
  return mcsh::runView(client, words);
}

int runOne(const Options& options) {
  if (const auto status = runView(options, options.command)) return *status;
  const std::string command = framework::joinWords(mcsh::withSecrets(options.command));
  const std::string line = options.json ? "--json " + command : command;
  if (!framework::isShown(line)) {
    std::fputs("mcsh: a command is UTF-8 without control characters\n", stderr);
    return unusable;
  }
  const mcsh::Reply reply = mcsh::Client(options.socket, options.patience).ask(line);
  print(reply, options.json && reply.code != 0 ? stderr : stdout);
  return reply.code == 0 ? succeeded : failed;
}

// What is to be sent of a line: empty for a blank line and a comment.
std::string commandOf(const std::string& line) {
  const std::size_t begin = line.find_first_not_of(" \t");
  if (begin == std::string::npos || line[begin] == '#') return "";
  return line.substr(begin, line.find_last_not_of(" \t") + 1 - begin);
}

bool isExit(const std::string& command) { return command == "exit" || command == "quit"; }

int runLines(const Options& options) {
  mcsh::Client client(options.socket, options.patience);
  for (std::string line; std::getline(std::cin, line);) {
    const std::string command = commandOf(line);
    if (isExit(command)) break;
    if (command.empty()) continue;
    const std::string filled = mcsh::withSecrets(command);
    const mcsh::Reply reply = client.ask(options.json ? "--json " + filled : filled);
    print(reply, options.json && reply.code != 0 ? stderr : stdout);
    if (reply.code != 0) return failed;
  }
  return succeeded;
}

// Asks the host; a secret that cannot be had ends the command alone.
void runTyped(const Options& options, mcsh::Client& client, const std::string& command) {
  std::string line;
  std::string error;
  if (runView(options, framework::splitLine(command, error).value_or(Words()))) return;
  try {
    line = mcsh::withSecrets(command);
  } catch (const mcsh::SecretError& failure) {
    std::printf("%s\n", framework::shownText(failure.what()).c_str());
    return;
  }
  mcsh::Reply reply = client.ask(line);
  if (!reply.text.empty() && !reply.text.ends_with('\n')) reply.text += '\n';
  print(reply);
}

// The words that may come behind those typed, of the host and of the client's own.
Words choicesFor(mcsh::Client& client, const std::string& typed) {
  const mcsh::Reply reply = client.ask("complete " + typed);
  Words choices;
  if (reply.code != 0) return choices;
  std::istringstream lines(reply.text);
  for (std::string line; std::getline(lines, line);) choices.push_back(framework::shownText(line));
  if (typed.find_first_not_of(" \t") == std::string::npos) {
    choices.insert(choices.end(), {"exit", "quit", "top", "watch"});
  }
  return choices;
}

int runPrompt(const Options& options) {
  mcsh::Client client(options.socket, options.patience);
  const mcsh::Reply first = client.ask("complete");
  if (first.code != 0) {
    print(first);
    return failed;
  }
  mcsh::setCompletion([&client](const std::string& typed) { return choicesFor(client, typed); });
  while (const auto line = mcsh::promptedLine()) {
    const std::string command = commandOf(*line);
    if (isExit(command)) return succeeded;
    if (!command.empty()) runTyped(options, client, command);
  }
  std::putchar('\n');
  return succeeded;
}

int run(const Options& options) {
  if (!options.command.empty()) return runOne(options);
  const bool terminal = ::isatty(STDIN_FILENO) != 0 && ::isatty(STDOUT_FILENO) != 0;
  return terminal ? runPrompt(options) : runLines(options);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int status = succeeded;
    const auto options = parse(argc, argv, status);
    return options ? run(*options) : status;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "mcsh: %s\n", framework::shownText(failure.what()).c_str());
    return unusable;
  }
}
