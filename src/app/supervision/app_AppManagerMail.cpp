// The supervision service: the mails that it sends.
//
// Each mail is a file of header lines and text in the temporary directory, which a shell command
// hands to sendmail and then removes. A kind of mail has one file, so mails of one kind are made
// one after the other. The commands open the file by its name, so nobody else may put one there.
#include <cerrno>
#include <mutex>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_MailProduct.h"
#include "host/base/fw_Container.h"
#include "host/base/ut_Environment.h"
#include "host/base/ut_Path.h"
#include "host/log/fw_Logger.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "util/fw_ShownText.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileOutputStream.h"
#include "util/ut_IPV4Address.h"
#include "util/ut_OutcomeCount.h"
#include "util/ut_TimeMeasure.h"
#include "util/ut_VirtualPutStream.h"

namespace services::app {

using framework::Container;
using framework::Logger;
using framework::LogType;
using sysinfo::MCInfo;
using sysinfo::SysInfo;
using sysinfo::SysInfoReadGuard;
using utility::BufferStream;
using utility::FileOutputStream;
using utility::VirtualPutStream;

namespace {

constexpr int streamSize = 16384;
constexpr int streamLevel = 13107;
constexpr unsigned int fileMode = 0666;

// A text of fixed size, and the stream that writes it. One that does not fit is an exception: a
// command that was cut would be another command.
template <std::size_t size>
struct FixedText {
  std::array<char, size> array;
  BufferStream stream{array.data(), static_cast<int>(size), false};
  const char* get() const { return array.data(); }
};
using PathText = FixedText<128>;
using CommandText = FixedText<500>;

// The temporary directory; null, and an error line, when it is not set or not safe.
const char* temporaryDirectory(const char* operation, int line) {
  const char* directory = utility::Environment::GetEnv("MC_TEMP");
  if (directory == nullptr || *directory == '\0') {
    Logger::StaticLogMethod(LogType::Error, operation, line, "no mail: MC_TEMP is not set");
    return nullptr;
  }
  if (utility::Path::isOpenToOthers(directory)) {
    Logger::StaticLogMethod(LogType::Error, operation, line,
                            "no mail: other users can write MC_TEMP, %s, not root's and sticky",
                            directory);
    return nullptr;
  }
  return directory;
}

// A new file in place of what a send that was killed has left.
struct MailFile {
  MailFile(const char* name, bool append)
      : path(name), stream(emptied(name), append, fileMode, refused) {}

  // Whether somebody was faster, with a file or a link of theirs; if so, says it.
  bool isTaken(const char* operation, int line) const {
    if (stream.getErrno() != EEXIST) return false;
    Logger::StaticLogMethod(LogType::Error, operation, line, "no mail: %s is somebody else's",
                            path);
    return true;
  }

  const char* const path;
  FileOutputStream stream;

 private:
  static constexpr auto refused = FileOutputStream::Existing::Refused;
  static const char* emptied(const char* name) {
    utility::Path::remove(name);
    return name;
  }
};

struct TimeText {
  TimeText() {
    using utility::TimeMeasure;
    TimeMeasure::printTimestamp(TimeMeasure::getTimestamp(), text.data(),
                                static_cast<int>(text.size()));
  }
  std::array<char, 64> text;
};

struct AddressText {
  explicit AddressText(std::uint32_t address) {
    utility::IPV4Address(address).toBuffer(text.data(), static_cast<int>(text.size()));
  }
  std::array<char, 64> text;
};

// The letter that the hardware gives for this controller's slot, or a zero byte.
char readSlot() {
  std::array<char, 32> slot{};
  AppManager::getExternalValue("readslot", slot.data(), slot.size());
  return slot[0];
}

// The letter as a sender line carries it: none for a zero byte or what would break the line.
std::string letterText(char slot) {
  const std::string text(1, slot);
  return framework::isShown(text) ? text : "";
}

const MCInfo* controllerOf(const SysInfo& sysInfo, char slot) {
  return slot == 'A' ? sysInfo.getMCAInfo() : sysInfo.getMCBInfo();
}

// Whether both controllers are known; if not, says so.
bool controllersKnown(const SysInfo& sysInfo, const char* operation, int line) {
  if (sysInfo.getMCAInfo() != nullptr && sysInfo.getMCBInfo() != nullptr) return true;
  Logger::StaticLogMethod(LogType::Error, operation, line,
                          "Failed to send. MCA or MCB Info invalid.");
  return false;
}

int run(const char* command) { return Container::spawnFor(command, Container::Fault::Status); }

// The line ends with the removal of the mail, so its status is not that of the relay.
constexpr auto relayFault = Container::Fault::StandardError;

void count(const utility::CommandOutcome& outcome) {
  utility::OutcomeCount::of(utility::OutcomeCount::Purpose::Mail).note(outcome);
}

// One that was killed, at its time limit or at a stop, has not removed the file.
void send(const char* command, const char* path) {
  if (Container::spawnFor(command, relayFault, count) < 0) utility::Path::remove(path);
}

}  // namespace

// Lines carry the signature of the operation that others call, also those of its helpers.
#define MC_MAIL_DEBUG(...) \
  if (isDebugOn()) LogMethodDebug(operation, __LINE__, __VA_ARGS__)

void AppManager::sendMail(const char* daemon) const {
  const char* const operation = __PRETTY_FUNCTION__;
  SysInfoReadGuard guard;
  if (guard.getObject() == nullptr) return;
  MC_MAIL_DEBUG("readslot");
  const char slot = readSlot();
  if (!controllersKnown(*guard.getObject(), operation, __LINE__)) return;
  const AddressText address(controllerOf(*guard.getObject(), slot)->getIpV4Address());
  guard.freeObject();

  MC_MAIL_DEBUG("temp");
  const char* directory = temporaryDirectory(operation, __LINE__);
  if (directory == nullptr) return;
  PathText path;
  path.stream.PutF("%s/%scrash.mail", directory, daemon);
  if (!isEarlierSent(path.get())) {
    LogMethodError(operation, __LINE__, "no crash mail of %s: the one before is still being sent",
                   daemon);
    return;
  }
  if (!writeCrashMail(operation, path.get(), daemon, address.text.data(), slot)) return;
  appendCrashReports(path.get(), daemon);

  MC_MAIL_DEBUG("About to execute sendmail for file: %s", path.get());
  CommandText command;
  command.stream.PutF("/sbin/sendmail -S %s -t <%s; rm %s; &", mailRelay, path.get(), path.get());
  MC_MAIL_DEBUG("using: %s", command.get());
  const auto sending = std::make_shared<const bool>();
  m_sends[path.get()] = sending;
  Container::spawnFor(command.get(), relayFault,
                      [sending](const utility::CommandOutcome& outcome) { count(outcome); });
}

// The command of a send ends with the removal of the file, which would take the next mail away. The
// mails of one poll cycle share the patience, as the table is locked meanwhile.
bool AppManager::isEarlierSent(const std::string& path) const {
  const std::weak_ptr<const void>& earlier = m_sends[path];
  for (; m_mailPatience > 0 && !earlier.expired(); --m_mailPatience) taskDelay(1);
  return earlier.expired();
}

bool AppManager::writeCrashMail(const char* operation, const char* path, const char* daemon,
                                const char* address, char slot) const {
  MailFile file(path, true);
  if (file.isTaken(operation, __LINE__)) return false;
  MC_MAIL_DEBUG("create virtualputstream");
  VirtualPutStream mail(file.stream, streamSize, streamLevel);
  MC_MAIL_DEBUG("create output");
  if (file.stream.isOutputStreamGood()) {
    MC_MAIL_DEBUG("create output");
    mail.PutF("to: %s\n", crashMailbox);
    mail.PutF("from: %s_mc_%s@%s\n", address, letterText(slot).c_str(), crashSenderDomain);
    mail.PutF("subject: PhoneHome: %s crash (%s)\n", daemon, releaseCode);
    mail.PutF("\nCrash at: %s\n\n\n", TimeText().text.data());
  }
  mail.EndOutputStream();
  return true;
}

void AppManager::appendCrashReports(const char* path, const char* daemon) {
  CommandText command;
  command.stream.PutF("/usr/bin/getmcinfoheader >>%s", path);
  run(command.get());
  command.stream.Rewind();
  command.stream.PutF("cat /cfg/sysinfo/system.xml >>%s", path);
  run(command.get());
  command.stream.Rewind();
  command.stream.PutF("%s >>%s", logScript(daemon).c_str(), path);
  run(command.get());
}

std::string AppManager::logScript(const char* daemon) {
  return "/app/etc/get" + std::string(daemon) + "logs";
}

#undef MC_MAIL_DEBUG

void AppManager::sendManagedLogsMail(int /*unused*/, int /*unused*/, const void* file) const {
  mailManagedLogs(__PRETTY_FUNCTION__, static_cast<const char*>(file));
}

bool AppManager::mailManagedLogs(const char* operation, const char* logFile) const {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  const SysInfoReadGuard guard;
  LogMethodInfo(operation, __LINE__, "SendManagedLogsMail entry file: %s", logFile);
  const SysInfo* sysInfo = guard.getObject();
  if (sysInfo == nullptr) {
    LogMethodError(operation, __LINE__,
                   "AppManager::sendManagedLogsMail did not get lock on sysInfo exit");
    return false;
  }
  LogMethodInfo(operation, __LINE__, "readslot");
  const char slot = readSlot();
  if (!controllersKnown(*sysInfo, operation, __LINE__)) return false;

  LogMethodInfo(operation, __LINE__, "temp");
  const char* directory = temporaryDirectory(operation, __LINE__);
  if (directory == nullptr) return false;
  LogMethodInfo(operation, __LINE__, "pTempDir %s", directory);
  PathText path;
  path.stream.PutF("%s/ManagedLogs.mail", directory);
  if (!writeManagedLogsMail(operation, path.get(), *sysInfo, slot, logFile)) return false;

  LogMethodInfo(operation, __LINE__, "About to execute sendmail for file: %s", path.get());
  CommandText command;
  if (sysInfo->getEmailIncludeLogsEnable()) {
    LogMethodInfo(operation, __LINE__, "Includ log enabled");
    command.stream.PutF("/sbin/sendmail -S %s -a %s -t <%s; rm %s;", sysInfo->getEmailServer(),
                        logFile, path.get(), path.get());
  } else {
    LogMethodInfo(operation, __LINE__, "Include log disabled");
    command.stream.PutF("/sbin/sendmail -S %s -t <%s; rm %s;", sysInfo->getEmailServer(),
                        path.get(), path.get());
  }
  LogMethodInfo(operation, __LINE__, "using: %s", command.get());
  send(command.get(), path.get());
  LogMethodInfo(operation, __LINE__, "SendManagedLogsMail exit");
  return true;
}

bool AppManager::writeManagedLogsMail(const char* operation, const char* path,
                                      const SysInfo& sysInfo, char slot,
                                      const char* logFile) const {
  const MCInfo* controller = controllerOf(sysInfo, slot);
  const AddressText address(controller->getIpV4Address());
  MailFile file(path, true);
  if (file.isTaken(operation, __LINE__)) return false;
  LogMethodInfo(operation, __LINE__, "create virtualputstream");
  VirtualPutStream mail(file.stream, streamSize, streamLevel);
  LogMethodInfo(operation, __LINE__,
                "sendManagedLogsMail: getManagedLogsEnable %d controllerSerial %s",
                sysInfo.getManagedLogsEnable(), controller->getControllerSerial());
  if (!sysInfo.getManagedLogsEnable()) {
    LogMethodWarning(operation, __LINE__, "SendManagedLogsMail managed logs is disabled exit");
    return false;
  }
  if (*sysInfo.getEmailAddr4() == '\0') {
    LogMethodError(operation, __LINE__, "SendManagedLogsMail: email4 address is not set exit");
    return false;
  }
  if (file.stream.isOutputStreamGood()) {
    LogMethodInfo(operation, __LINE__, "create output");
    mail.PutF("to: %s\n", sysInfo.getEmailAddr4());
    mail.PutF("from: %s_MC_%s_%s_%s@%s\n", controller->getControllerSerial(),
              letterText(slot).c_str(), address.text.data(), sysInfo.getEmailSender(),
              sysInfo.getEmailDomain());
    mail.PutF("subject: Managed Log: %s (%s)\n", logFile, releaseCode);
    mail.PutF("\nManaged Log at: %s\n\n\n", TimeText().text.data());
  }
  mail.EndOutputStream();
  return true;
}

void AppManager::sendSimpleMail(const char* to, const char* from, const char* subject,
                                const char* body) {
  mailSimple(__PRETTY_FUNCTION__, to, from, subject, body);
}

bool AppManager::mailSimple(const char* operation, const char* to, const char* from,
                            const char* subject, const char* body) {
  static std::mutex oneAtATime;
  const std::lock_guard lock(oneAtATime);
  const char* directory = temporaryDirectory(operation, __LINE__);
  if (directory == nullptr) return false;
  PathText path;
  path.stream.PutF("%s/simple.mail", directory);
  Logger::StaticLogMethod(LogType::Info, operation, __LINE__, "creating file: %s", path.get());
  MailFile file(path.get(), false);
  if (file.stream.isOutputStreamInError() || !file.stream.isOutputStreamOpen()) {
    Logger::StaticLogMethod(LogType::Error, operation, __LINE__,
                            "failure to sent e-mail to: %s (%d)", to, file.stream.getErrno());
    return false;
  }
  VirtualPutStream mail(file.stream, streamSize, streamLevel);
  mail.PutF("to: %s\nfrom: %s\nsubject: %s\n", to, from, subject);
  mail.PutF("\nmessage at: %s\n\n%s\n", TimeText().text.data(), body);
  mail.EndOutputStream();
  file.stream.EndOutputStream();
  FixedText<2048> command;
  command.stream.PutF("/sbin/sendmail -S %s -t <%s; rm %s", mailRelay, path.get(), path.get());
  Logger::StaticLogMethod(LogType::Info, operation, __LINE__, "command: %s", command.get());
  send(command.get(), path.get());
  return true;
}

}  // namespace services::app
