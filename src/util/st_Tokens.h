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
  TOKEN(SysInfoCommands, "SysInfoCommands")                 \
  TOKEN(UserCommands, "UserCommands")                       \
  TOKEN(InterfaceCommands, "InterfaceCommands")             \
  TOKEN(ConsoleHold, "ConsoleHold")                         \
  TOKEN(PairingCommands, "PairingCommands")                 \
  TOKEN(PathCommands, "PathCommands")                       \
  TOKEN(PartnerLink, "PartnerLink")                         \
  TOKEN(PartnerCommands, "PartnerCommands")                 \
  TOKEN(peerClass, "mcpeer")                                \
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
  /* management interfaces */                               \
  TOKEN(Http, "Http")                                       \
  TOKEN(Https, "Https")                                     \
  TOKEN(Telnet, "Telnet")                                   \
  TOKEN(Ssh, "Ssh")                                         \
  TOKEN(Smis, "Smis")                                       \
  TOKEN(Ftp, "Ftp")                                         \
  TOKEN(Snmp, "Snmp")                                       \
  TOKEN(Debug, "Debug")                                     \
  TOKEN(Usmis, "Usmis")                                     \
  TOKEN(ActivityProgress, "ActivityProgress")               \
  /* roles and types of a user's SNMP access */             \
  TOKEN(SnmpUser, "SnmpUser")                               \
  TOKEN(SnmpTarget, "SnmpTarget")                           \
  TOKEN(MD5, "MD5")                                         \
  TOKEN(SHA, "SHA")                                         \
  TOKEN(DES, "DES")                                         \
  TOKEN(AES, "AES")                                         \
  TOKEN(none, "none")                                       \
  /* sync roles and actions */                              \
  TOKEN(Undetermined, "Undetermined")                       \
  TOKEN(MasterUnpaired, "MasterUnpaired")                   \
  TOKEN(MasterPaired, "MasterPaired")                       \
  TOKEN(SlaveUnpaired, "SlaveUnpaired")                     \
  TOKEN(SlavePaired, "SlavePaired")                         \
  TOKEN(None, "None")                                       \
  TOKEN(Push, "Push")                                       \
  TOKEN(Receive, "Receive")                                 \
  TOKEN(Merge, "Merge")                                     \
  /* accesses to a dataset, and the datasets */             \
  TOKEN(readAccess, "read")                                 \
  TOKEN(components, "components")                           \
  /* daemons that the services know by name */              \
  TOKEN(sfcbd, "sfcbd")                                     \
  TOKEN(logMigrator, "logmigrated")                         \
  TOKEN(telnetd, "telnetd")                                 \
  TOKEN(sshd, "sshd")                                       \
  TOKEN(ftpd, "ftpd")                                       \
  TOKEN(snmpd, "snmpd")                                     \
  TOKEN(slpd, "slpd")                                       \
  TOKEN(activityd, "activityd")                             \
  /* events */                                              \
  TOKEN(goingDown, "goingDown")                             \
  TOKEN(killNonEssentialEvent, "killNonEssentialProcesses") \
  TOKEN(logMigration, "logMigration")                       \
  TOKEN(logMigrationMc1, "logMigrationMc1")                 \
  TOKEN(logMigrationMc2, "logMigrationMc2")                 \
  TOKEN(logMigrationMc3, "logMigrationMc3")                 \
  TOKEN(sysInfoChanged, "sysInfoChanged")                   \
  TOKEN(userChanged, "userChanged")                         \
  TOKEN(userAccessChanged, "userAccessChanged")             \
  TOKEN(updateWakeUp, "updateWakeUp")                       \
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
  TOKEN(sysinfo, "sysinfo")                                 \
  TOKEN(show, "show")                                       \
  TOKEN(get, "get")                                         \
  TOKEN(set, "set")                                         \
  TOKEN(user, "user")                                       \
  TOKEN(add, "add")                                         \
  TOKEN(delete, "delete")                                   \
  TOKEN(interface, "interface")                             \
  TOKEN(up, "up")                                           \
  TOKEN(down, "down")                                       \
  TOKEN(console, "console")                                 \
  TOKEN(hold, "hold")                                       \
  TOKEN(explain, "explain")                                 \
  TOKEN(role, "role")                                       \
  TOKEN(action, "action")                                   \
  TOKEN(path, "path")                                       \
  TOKEN(partner, "partner")                                 \
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
