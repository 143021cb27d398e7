// A plug-in's look at the running processes, before any service is built.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace utility {
class PutStream;
}

namespace framework {

class Config;

/// Registers what a service makes of the processes that run now under a configuration. Made by
/// static initialisers beside its factory; the host calls it when it is asked to check a
/// configuration against the running processes.
class RunningCheck {
 public:
  /// Answers what the host that runs replies to a line of the console; empty where none does.
  using Ask = std::function<std::string(const char* line)>;

  /// Writes what the service of that instance name would do with each process into `stream`, and
  /// what a start would change on the running host; answers warnings, a text of one line each.
  using Check = std::vector<std::string> (*)(const Config& config, const char* instance,
                                             utility::PutStream& stream, const Ask& ask);

  /// `name` must live as long as the program.
  RunningCheck(const char* name, Check check);

  /// The check of the service of that name, or null.
  static Check of(const std::string& name);
};

}  // namespace framework
