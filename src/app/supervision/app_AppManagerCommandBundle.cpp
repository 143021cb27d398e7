// The console commands on the memory statistics.
#include "app/supervision/app_AppManagerCommandBundle.h"

#include <array>

#include "app/supervision/app_AppManager.h"
#include "host/base/ut_Path.h"
#include "host/console/fw_Console.h"
#include "host/console/fw_Shell.h"
#include "host/service/fw_ServiceFactory.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using framework::CommandHandler;

namespace {

using Path = std::array<strings::stringtoken, 3>;

// The first word of saving has a token of its own.
constexpr strings::stringtoken memoryOfSave = strings::digestOf("memory of save");
const strings::Word memoryOfSaveWord(memoryOfSave, "memory");

constexpr Path MemoryStatsOutput_path = {strings::token<"memory">, strings::token<"stats">,
                                         strings::token<"output">};
constexpr Path MemoryStatsSave_path = {memoryOfSave, strings::token<"stats">,
                                       strings::token<"save">};
constexpr Path MemoryStatsReset_path = {strings::token<"memory">, strings::token<"stats">,
                                        strings::token<"reset">};

const CommandHandler::commanddata MemoryStatsOutput_data = {
    "MemoryStatsOutput", "memory stats output: output the memory stats to the console.\n",
    "memory stats output\n", MemoryStatsOutput_path.size(), MemoryStatsOutput_path.data()};
const CommandHandler::commanddata MemoryStatsSave_data = {
    "MemoryStatsSave", "memory stats save: save the memory stats to a file.\n",
    "memory stats save <filename>\n", MemoryStatsSave_path.size(), MemoryStatsSave_path.data()};
const CommandHandler::commanddata MemoryStatsReset_data = {
    "MemoryStatsReset", "memory stats reset: reset the memory stats back to an initial state.\n",
    "memory stats reset\n", MemoryStatsReset_path.size(), MemoryStatsReset_path.data()};

class OutputLock {
 public:
  explicit OutputLock(framework::Console& console) : m_console(console) { m_console.outputLock(); }
  ~OutputLock() { m_console.outputUnLock(); }
  OutputLock(const OutputLock&) = delete;
  OutputLock& operator=(const OutputLock&) = delete;

 private:
  framework::Console& m_console;
};

}  // namespace

framework::Service* AppManagerCommandBundle_builder(const char* name) {
  return new AppManagerCommandBundle(name);
}

const framework::ServiceFactory pFactoryAppManagerCommandBundle(AppManagerCommandBundle_builder,
                                                                "AppManagerCommandBundle");

const framework::ServiceInfo AppManagerCommandBundle::m_serviceInfoData = {
    strings::token<"AppManagerCommandBundle">, strings::token<"AppManagerCommandBundle">,
    strings::tGSserviceClass};

void AppManagerCommandBundle::initializeCommands(framework::Shell& shell) {
  shell.registerCommand(new MemoryStatsOutput(MemoryStatsOutput_data));
  shell.registerCommand(new MemoryStatsSave(MemoryStatsSave_data));
  shell.registerCommand(new MemoryStatsReset(MemoryStatsReset_data));
}

int MemoryStatsOutput::execute(framework::Console& console, utility::Arguments& /*arguments*/) {
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) {
    console.reply(framework::Ok,
                  "Memory statistics measurement is not configured in this process.\n");
    return 1;
  }
  const OutputLock lock(console);
  manager->dumpMemSaveTrack(console.output());
  return 1;
}

int MemoryStatsSave::execute(framework::Console& console, utility::Arguments& arguments) {
  const char* name = arguments.ArgValue(0);
  if (name == nullptr) {
    console.reply(framework::Refused, "must specify filename\n");
    return 1;
  }
  const AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) {
    console.reply(framework::Ok,
                  "memory statistics measurement is not configured in thisbprocess.\n");
    return 1;
  }
  {
    utility::FileOutputStream file(name, false, 0666);
    if (file.isOutputStreamInError()) {
      console.reply(framework::Refused, "Cannot open file %s", name);
      return 1;
    }
    utility::VirtualPutStream stream(file, 16384, 13107);
    stream.StartOutputStream();
    manager->dumpMemSaveTrack(stream);
    stream.EndOutputStream();
    if (file.isOutputStreamInError()) {
      utility::Path::remove(name);
      console.reply(framework::Refused, "Cannot write file %s\n", name);
      return 1;
    }
  }
  console.reply(framework::Ok, "Saved memory statistics to %s\n", name);
  return 1;
}

int MemoryStatsReset::execute(framework::Console& console, utility::Arguments& /*arguments*/) {
  AppManager* manager = AppManager::getSingleton();
  if (manager == nullptr) {
    console.reply(framework::Ok,
                  "memory statistics measurement is not configured in this process.\n");
    return 1;
  }
  manager->clearMemSaveTrack();
  console.reply(framework::Ok, "memory statistics have been reset.\n");
  return 1;
}

}  // namespace services::app
