// The string tokens that are known when the program is built: one table, one line a text.
#pragma once

#include <cstdint>

namespace strings {

/// The number of a text in the string repository; 0 is the empty text and ends every token list.
using stringtoken = std::uint32_t;

// TOKEN(name, text) makes the constant strings::tGSname. Numbers follow the order of the lines and
// live no longer than the process, so a line may be added anywhere.
#define MC_TOKEN_TABLE(TOKEN)                               \
  /* services and their class */                            \
  TOKEN(AppManager, "AppManager")                           \
  TOKEN(InterfaceManager, "InterfaceManager")               \
  TOKEN(PartnerFirmwareUpdate, "PartnerFirmwareUpdate")     \
  TOKEN(NetTracker, "NetTracker")                           \
  TOKEN(AppFileLogger, "AppFileLogger")                     \
  TOKEN(AppManagerCommandBundle, "AppManagerCommandBundle") \
  TOKEN(serviceClass, "mcapp")                              \
  TOKEN(ProcessCommands, "ProcessCommands")                 \
  TOKEN(MailCommands, "MailCommands")                       \
  TOKEN(operatorClass, "mcops")                             \
  /* debug flags that are no service's */                   \
  TOKEN(Process, "Process")                                 \
  TOKEN(lifecycle, "lifecycle")                             \
  TOKEN(destructors, "destructors")                         \
  TOKEN(pairing, "pairing")                                 \
  /* states of a process */                                 \
  TOKEN(Unclassified, "Unclassified")                       \
  TOKEN(Up, "Up")                                           \
  TOKEN(Down, "Down")                                       \
  TOKEN(Starting, "Starting")                               \
  TOKEN(GoingDown, "GoingDown")                             \
  /* daemons that the services know by name */              \
  TOKEN(sfcbd, "sfcbd")                                     \
  TOKEN(logMigrator, "logmigrated")                         \
  /* events */                                              \
  TOKEN(goingDown, "goingDown")                             \
  TOKEN(killNonEssentialEvent, "killNonEssentialProcesses") \
  TOKEN(logMigration, "logMigration")                       \
  TOKEN(logMigrationMc1, "logMigrationMc1")                 \
  TOKEN(logMigrationMc2, "logMigrationMc2")                 \
  TOKEN(logMigrationMc3, "logMigrationMc3")                 \
  /* keys of the limits */                                  \
  TOKEN(pageCache, "pageCache")                             \
  /* command words */                                       \
  TOKEN(memory, "memory")                                   \
  TOKEN(memoryOfSave, "memory")                             \
  TOKEN(stats, "stats")                                     \
  TOKEN(output, "output")                                   \
  TOKEN(save, "save")                                       \
  TOKEN(reset, "reset")                                     \
  TOKEN(help, "help")                                       \
  TOKEN(words, "words")                                     \
  TOKEN(services, "services")                               \
  TOKEN(information, "information")                         \
  TOKEN(event, "event")                                     \
  TOKEN(send, "send")                                       \
  TOKEN(debug, "debug")                                     \
  TOKEN(on, "on")                                           \
  TOKEN(off, "off")                                         \
  TOKEN(list, "list")                                       \
  TOKEN(log, "log")                                         \
  TOKEN(level, "level")                                     \
  TOKEN(shutdown, "shutdown")                               \
  TOKEN(process, "process")                                 \
  TOKEN(start, "start")                                     \
  TOKEN(stop, "stop")                                       \
  TOKEN(restart, "restart")                                 \
  TOKEN(suspend, "suspend")                                 \
  TOKEN(resume, "resume")                                   \
  TOKEN(lock, "lock")                                       \
  TOKEN(take, "take")                                       \
  TOKEN(release, "release")                                 \
  TOKEN(portal, "portal")                                   \
  TOKEN(register, "register")                               \
  TOKEN(managedlogs, "managedlogs")                         \
  TOKEN(mail, "mail")                                       \
  TOKEN(simple, "simple")                                   \
  TOKEN(managedLogsMail, "managed-logs")                    \
  /* errors that exceptions carry */                        \
  TOKEN(streamOverflow, "stream overflow")                  \
  TOKEN(processGone, "process gone")

/// The known tokens, one constant a line of the table.
enum : stringtoken {
  tGSendOfList = 0,
#define MC_TOKEN_CONSTANT(name, text) tGS##name,
  MC_TOKEN_TABLE(MC_TOKEN_CONSTANT)
#undef MC_TOKEN_CONSTANT
      tGSfirstRuntimeToken
};

}  // namespace strings
