// Holding the console, so that nobody switches it off in the middle of an operator's work.
#pragma once

#include <map>
#include <mutex>

#include "host/service/fw_Service.h"

namespace framework {

class Console;
class Shell;

/// The current service of the host's console while at least one client holds it. Any thread may
/// call.
class ConsoleHold : public Service {
 public:
  static ConsoleHold& instance();

  const ServiceInfo* serviceInfo() const override;

  /// Counts one more hold of this client.
  void take(const Console& client);
  /// Takes one of its holds back; false when it has none.
  bool release(const Console& client);
  /// Whether this client holds the console.
  bool isHolder(const Console& client) const;
  /// Takes all of them back.
  void releaseAll(const Console& client);

  /// Whether any client holds the console.
  bool isHeld() const;

 private:
  ConsoleHold();
  void settle();

  mutable std::mutex m_mutex;
  std::map<const Console*, int> m_holds;
};

/// Registers "console hold" and "console release". A client's holds end with its connection.
void registerHoldCommands(Shell& shell);

}  // namespace framework
