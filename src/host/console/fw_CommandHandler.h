// A console command: its words, its texts and what it does.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/base/fw_Item.h"
#include "host/base/ut_Arguments.h"

namespace framework {

class Console;

/// One command of the console. The shell owns it and calls it on the threads of its clients, so
/// execute() may run on several at once.
class CommandHandler : public virtual Item {
 public:
  /// What a command is made of. What it points to outlives the command.
  struct commanddata {
    const char* name;
    const char* help;         ///< one line with its line end, shown by "help"
    const char* usage;        ///< one line with its line end, shown after a malformed command
    std::uint32_t wordCount;  ///< at least 1
    const strings::stringtoken* path;  ///< the command's words, wordCount of them
    /// The arguments with which it enables a disabled console, which the local root may type even
    /// there; null for a command that does not.
    const char* enabling = nullptr;
    /// Answers what may stand behind the words at a place, 0 being the first, for those who type;
    /// null where that cannot be listed.
    std::vector<std::string> (*choices)(unsigned int place) = nullptr;
  };

  explicit CommandHandler(const commanddata& data) : m_data(data) {}

  strings::stringtoken getName() const override;
  const char* getNameString() const override { return m_data.name; }
  /// The help line, and with `detailed` the usage line too.
  void information(utility::PutStream& stream, int indentation, bool detailed) const override;

  /// Whether a typed line begins with this command's words.
  virtual bool match(const utility::Arguments& arguments) const;

  /// Does the command and replies on the console. The arguments are those behind the command's
  /// words. The answer is 1 for a command that was understood; 0 makes the shell reply with the
  /// usage text and the code for it.
  virtual int execute(Console& console, utility::Arguments& arguments) = 0;

  const commanddata& data() const { return m_data; }

 private:
  commanddata m_data;
};

/// A command that is a function.
class FunctionCommand : public CommandHandler {
 public:
  /// Answers like CommandHandler::execute().
  using Function = std::function<int(Console& console, const utility::Arguments& arguments)>;

  FunctionCommand(const commanddata& data, Function function)
      : CommandHandler(data), m_function(std::move(function)) {}

  int execute(Console& console, utility::Arguments& arguments) override {
    return m_function(console, arguments);
  }

 private:
  Function m_function;
};

}  // namespace framework
