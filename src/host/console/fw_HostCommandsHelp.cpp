// The console commands that say what can be typed: help, "?" and complete.
#include <algorithm>
#include <array>
#include <functional>
#include <span>

#include "host/console/fw_CommandTable.h"
#include "host/console/fw_HostCommands.h"

namespace framework {

namespace {

using utility::Arguments;

// A subject: the first words of its commands, and one line that shows how one is typed.
struct Subject {
  const char* title;
  std::array<std::string_view, 4> words;
  const char* example;
};

constexpr std::array<Subject, 8> subjects = {{
    {"Daemons", {"process", "why"}, "process history web"},
    {"Interfaces and paths", {"interface", "path"}, "interface down Telnet"},
    {"The two controllers", {"pairing", "partner"}, "pairing show"},
    {"Settings and users", {"sysinfo", "user"}, "sysinfo get EmailServer"},
    {"Log and events", {"log", "debug", "event", "events"}, "log tail warning"},
    {"Mail and reports", {"mail", "managedlogs"}, "managedlogs list"},
    {"Memory", {"memory"}, "memory stats output"},
    {"The host", {}, "information AppManager"},  // and all that is of no other
}};

const Subject& subjectOf(const CommandHandler& command) {
  const std::string path = Shell::pathOf(command);
  const std::string_view first = std::string_view(path).substr(0, path.find(' '));
  const auto* found = std::ranges::find_if(subjects, [first](const Subject& subject) {
    return std::ranges::find(subject.words, first) != subject.words.end();
  });
  return found == subjects.end() ? subjects.back() : *found;
}

void tellAll(const std::vector<const CommandHandler*>& commands, utility::PutStream& stream) {
  for (const Subject& subject : subjects) {
    bool isFirst = true;
    for (const CommandHandler* command : commands) {
      if (&subjectOf(*command) != &subject) continue;
      if (isFirst) stream.PutF("%s, such as: %s\n", subject.title, subject.example);
      isFirst = false;
      command->information(stream, 2, false);
    }
  }
}

std::string withoutEnd(std::string line) {
  while (line.ends_with('\n')) line.pop_back();
  return line;
}

int help(const Shell& shell, Console& console, const Arguments& arguments) {
  const auto commands = shell.commandsFrom(arguments);
  if (commands.empty()) console.reply(Usage, "no command begins with these words; try help\n");
  if (auto* records = recordsAskedOf(console.output())) {
    for (const CommandHandler* command : commands) {
      records->addRecord({{"Command", Shell::pathOf(*command)},
                          {"Subject", subjectOf(*command).title},
                          {"Help", withoutEnd(command->data().help)},
                          {"Usage", withoutEnd(command->data().usage)}});
    }
    return 1;
  }
  if (arguments.ArgCount() == 0) {
    tellAll(commands, console.output());
    return 1;
  }
  for (const CommandHandler* command : commands) command->information(console.output(), 0, true);
  return 1;
}

int helpWords(const Shell& shell, Console& console, const Arguments& arguments) {
  if (arguments.ArgCount() > 0) return 0;
  for (const CommandHandler* command : shell.commandsFrom(Arguments())) {
    console.output().PutF("%s\n", Shell::pathOf(*command).c_str());
  }
  return 1;
}

int complete(const Shell& shell, Console& console, const Arguments& arguments) {
  for (const std::string& word : shell.choices(arguments)) {
    console.output().PutF("%s\n", word.c_str());
  }
  return 1;
}

}  // namespace

void registerHelpCommands(Shell& shell) {
  const auto helper = std::bind_front(help, std::cref(shell));
  registerCommands(
      shell,
      {
          {helper,
           commandOf<"help">("Help",
                             "help: list the commands, or those that begin with the words given.\n",
                             "help [WORD...]\n")},
          {helper, commandOf<"?">("Question", "?: the same as help.\n", "? [WORD...]\n")},
          {std::bind_front(helpWords, std::cref(shell)),
           commandOf<"help", "words">(
               "HelpWords", "help words: list the words of every command, one command a line.\n",
               "help words\n")},
          {std::bind_front(complete, std::cref(shell)),
           commandOf<"complete">("Complete",
                                 "complete: list the words and names that may come behind these.\n",
                                 "complete [WORD...]\n")},
      });
}

}  // namespace framework
