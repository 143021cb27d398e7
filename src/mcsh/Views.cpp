// The commands of the client's own: those that go on showing what the host says.
#include "mcsh/Views.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <sstream>

#include "host/console/fw_TypedLine.h"
#include "mcsh/Listing.h"
#include "mcsh/Screen.h"
#include "mcsh/Top.h"
#include "util/fw_ShownText.h"

namespace mcsh {

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using Words = std::vector<std::string>;

enum ExitStatus { succeeded = 0, failed = 1 };

// Paints what `draw` answers until the user ends it.
template <typename Draw>
int repaint(const char* what, milliseconds period, const Draw& draw) {
  Screen screen(what);
  do {
    screen.paint(draw(screen));
  } while (screen.wait(period));
  return screen.exitStatus();
}

int top(Client& client) {
  return repaint("top", seconds(1), [&](const Screen& screen) {
    const Reply reply = client.ask("--json process list");
    if (reply.code != 0) return std::vector<ScreenLine>{{framework::shownText(reply.text)}};
    return pictureOf(daemonsOf(reply.text), screen.size().rows);
  });
}

std::vector<ScreenLine> linesOf(const std::string& title, const std::string& text) {
  std::vector<ScreenLine> lines = {{title, ScreenLine::Bold}, {""}};
  std::istringstream stream(framework::shownLines(text));
  for (std::string line; std::getline(stream, line);) lines.push_back({line});
  return lines;
}

// The whole number from 1 to 3600 that the text is, else 0.
int secondsOf(const std::string& text) {
  constexpr int longest = 3600;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && number >= 1 && number <= longest ? number : 0;
}

int watch(Client& client, Words words) {
  words.erase(words.begin());
  int period = words.empty() ? 0 : secondsOf(words.front());
  if (period > 0) words.erase(words.begin());
  if (words.empty()) {
    std::fputs("usage: watch [SECONDS] COMMAND...; SECONDS is 1 to 3600, or 2\n", stderr);
    return failed;
  }
  if (period == 0) period = 2;
  const std::string line = framework::joinWords(words);
  const std::string title = "every " + std::to_string(period) + " s: " + line;
  return repaint("watch", seconds(period),
                 [&](const Screen&) { return linesOf(title, client.ask(line).text); });
}

// Whether standard output is still read, after a pause.
bool pauseWhileRead() {
  constexpr int pause = 500;  // milliseconds
  pollfd output{.fd = STDOUT_FILENO, .events = 0, .revents = 0};
  return ::poll(&output, 1, pause) == 0;
}

void print(const Tail& tail) {
  if (tail.skipped > 0)
    std::printf("... %lld lines were skipped\n", static_cast<long long>(tail.skipped));
  for (const std::string& line : tail.lines) std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

// Asks again and again for what came since. The host keeps no client in mind: one that is slow
// finds lines gone, which are counted.
int follow(Client& client, const std::string& command, const Words& choice) {
  std::string after;
  do {
    const std::string line = "--json " + command + after + " " + framework::joinWords(choice);
    const Reply reply = client.ask(line);
    if (reply.code != 0) {
      std::fputs(framework::shownLines(reply.text).c_str(), stderr);
      return failed;
    }
    const Tail tail = tailOf(reply.text);
    print(tail);
    after = " after " + std::to_string(tail.last);
  } while (pauseWhileRead());
  return succeeded;
}

bool begins(const Words& words, const Words& first) {
  return words.size() >= first.size() && std::equal(first.begin(), first.end(), words.begin());
}

const Words logTail = {"log", "tail", "-f"};
const Words events = {"events", "-f"};

}  // namespace

bool isView(const Words& words) {
  return words == Words{"top"} || begins(words, {"watch"}) || begins(words, logTail) ||
         begins(words, events);
}

int runView(Client& client, const Words& words) {
  if (words.front() == "top") return top(client);
  if (words.front() == "watch") return watch(client, words);
  return words.front() == "log" ? follow(client, "log tail", {words.begin() + 3, words.end()})
                                : follow(client, "events", {words.begin() + 2, words.end()});
}

}  // namespace mcsh
