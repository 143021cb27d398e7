// The shell: the commands by their words.
#include "host/console/fw_Shell.h"

#include <algorithm>
#include <cstring>
#include <set>

#include "host/base/fw_Guarded.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_Nearest.h"
#include "host/console/fw_TypedLine.h"

namespace framework {

namespace {

const char* wordAt(const CommandHandler& handler, std::uint32_t index) {
  return strings::StringRepository::toString(handler.data().path[index]);
}

bool beginsWith(const CommandHandler& handler, const utility::Arguments& words) {
  if (words.ArgCount() > handler.data().wordCount) return false;
  for (unsigned int i = 0; i < words.ArgCount(); ++i) {
    if (std::strcmp(words.ArgValue(i), wordAt(handler, i)) != 0) return false;
  }
  return true;
}

bool wordsBefore(const CommandHandler* left, const CommandHandler* right) {
  return Shell::pathOf(*left) < Shell::pathOf(*right);
}

std::set<std::string> setOf(const std::vector<std::string>& names) {
  return {names.begin(), names.end()};
}

}  // namespace

// Never destroyed: commands of plug-ins lie in it.
Shell& Shell::instance() {
  static Shell& only = *[] {
    auto* shell = new Shell;
    shell->takeCommands(false);
    return shell;
  }();
  return only;
}

void Shell::registerCommand(CommandHandler* handler) {
  std::unique_ptr<CommandHandler> owned(handler);
  if (m_takes) {
    m_handlers.push_back(std::move(owned));
  } else {
    Logger::StaticLog(LogType::Error,
                      "command %s is not taken: register it in initializeCommands()",
                      pathOf(*owned).c_str());
  }
}

void Shell::execute(const std::string& line, Console& console) const {
  std::string error;
  auto words = splitLine(line, error);
  if (!words) return console.reply(Usage, "%s", error.c_str());
  if (!words->empty() && words->front() == "--json") {
    words->erase(words->begin());
    console.askForRecords();
  }
  if (!words->empty()) execute(*words, console);
}

void Shell::execute(const std::vector<std::string>& words, Console& console) const {
  utility::Arguments arguments(words);
  CommandHandler* handler = find(arguments);
  if (handler == nullptr) return replyUsage(arguments, console);
  arguments.skip(handler->data().wordCount);
  const bool ended = guarded(handler->getNameString(), "command", [&] {
    if (handler->execute(console, arguments) == 0) {
      console.reply(Usage, "usage: %s", handler->data().usage);
    }
  });
  if (!ended) console.reply(Refused, "the command failed; the log says why\n");
}

std::vector<const CommandHandler*> Shell::commandsFrom(const utility::Arguments& words) const {
  std::vector<const CommandHandler*> found;
  for (const auto& handler : m_handlers) {
    if (beginsWith(*handler, words)) found.push_back(handler.get());
  }
  std::ranges::stable_sort(found, wordsBefore);
  return found;
}

std::string Shell::pathOf(const CommandHandler& handler) {
  std::string path = wordAt(handler, 0);
  for (std::uint32_t i = 1; i < handler.data().wordCount; ++i) {
    path += ' ';
    path += wordAt(handler, i);
  }
  return path;
}

std::string Shell::enablingLine() const {
  const auto found = std::ranges::find_if(
      m_handlers, [](const auto& handler) { return handler->data().enabling != nullptr; });
  return found == m_handlers.end() ? "" : pathOf(**found) + ' ' + (*found)->data().enabling;
}

std::vector<std::string> Shell::choices(const utility::Arguments& words) const {
  std::set<std::string> found;
  for (const CommandHandler* command : commandsFrom(words)) {
    if (command->data().wordCount > words.ArgCount())
      found.insert(wordAt(*command, words.ArgCount()));
  }
  const CommandHandler* named = find(words);
  if (named != nullptr && named->data().choices != nullptr) {
    found.merge(setOf(named->data().choices(words.ArgCount() - named->data().wordCount)));
  }
  return {found.begin(), found.end()};
}

CommandHandler* Shell::find(const utility::Arguments& arguments) const {
  CommandHandler* best = nullptr;
  for (const auto& handler : m_handlers) {
    const bool longer = best == nullptr || handler->data().wordCount > best->data().wordCount;
    if (longer && handler->match(arguments)) best = handler.get();
  }
  return best;
}

void Shell::replyUsage(const utility::Arguments& arguments, Console& console) const {
  const char* first = arguments.ArgValue(0);
  const auto alike = commandsFrom(utility::Arguments({first}));
  if (alike.empty()) {
    const std::string near = didYouMean(first, choices(utility::Arguments()));
    return console.reply(Usage, "unknown command: %s%s\n", first,
                         near.empty() ? "; try help" : near.c_str());
  }
  for (const CommandHandler* handler : alike) {
    console.reply(Usage, "usage: %s", handler->data().usage);
  }
}

}  // namespace framework
