// The console commands on the memory statistics.
#pragma once

#include "host/console/fw_CommandBundle.h"
#include "host/console/fw_CommandHandler.h"

namespace services::app {

/// Prints, saves and resets the save track of the supervision service.
class AppManagerCommandBundle : public framework::CommandBundle {
 public:
  explicit AppManagerCommandBundle(const char* name) : CommandBundle(name) {}
  ~AppManagerCommandBundle() override = default;

  const framework::ServiceInfo* serviceInfo() const override { return &m_serviceInfoData; }
  void initializeCommands(framework::Shell& shell) override;

 private:
  static const framework::ServiceInfo m_serviceInfoData;
};

/// "memory stats output": prints the save track as CSV.
class MemoryStatsOutput : public framework::CommandHandler {
 public:
  using CommandHandler::CommandHandler;
  int execute(framework::Console& console, utility::Arguments& arguments) override;
};

/// "memory stats save <filename>": writes the same text to a file.
class MemoryStatsSave : public framework::CommandHandler {
 public:
  using CommandHandler::CommandHandler;
  int execute(framework::Console& console, utility::Arguments& arguments) override;
};

/// "memory stats reset": empties the save track.
class MemoryStatsReset : public framework::CommandHandler {
 public:
  using CommandHandler::CommandHandler;
  int execute(framework::Console& console, utility::Arguments& arguments) override;
};

}  // namespace services::app
