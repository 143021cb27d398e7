// The supervision service: the operations by which others control and find processes.
#include <unistd.h>

#include <cstring>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_CommandLine.h"
#include "app/supervision/app_ProcessSurvey.h"
#include "app/supervision/app_Why.h"
#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Array.h"
#include "host/base/ut_DirIterator.h"
#include "host/log/fw_Logger.h"
#include "util/ut_BufferStream.h"

namespace services::app {

bool AppManager::startProcess(strings::stringtoken name, const char* by) {
  return controlProcess(name, {"starting", "start", "starting", &Process::start},
                        __PRETTY_FUNCTION__, by);
}

bool AppManager::stopProcess(strings::stringtoken name, const char* by) {
  return controlProcess(name, {"stopping", "stop", "stopping", &Process::stop}, __PRETTY_FUNCTION__,
                        by);
}

bool AppManager::restartProcess(strings::stringtoken name, const char* by) {
  return controlProcess(name, {"restarting", "restart", "restopping", &Process::restart},
                        __PRETTY_FUNCTION__, by);
}

bool AppManager::controlProcess(strings::stringtoken name, const ControlAction& action,
                                const char* operation, const char* by) {
  const auto debug = [&](const char* doing, const char* step) {
    if (!isDebugOn()) return;
    framework::Logger::StaticLogMethod(framework::LogType::Debug, operation, __LINE__,
                                       "%s process %s - %s", doing,
                                       strings::StringRepository::toString(name), step);
  };
  AppManager* manager = getSingleton();
  if (manager == nullptr || !manager->m_doProcessControl) return false;
  debug(action.doing, "open");
  const Claim process = claim(name);
  if (!process) return false;
  debug(action.doing, action.name);
  ((*process).*action.command)();
  manager->noteCommand(*process, action.name, by);
  debug(action.done, "close");
  return true;
}

Process::State AppManager::getProcessState(strings::stringtoken name) {
  const Claim process = claim(name);
  return process ? process->getState() : Process::Unclassified;
}

// The table, the names and the patterns do not change, so it takes no lock.
void AppManager::explainProcess(strings::stringtoken name, utility::PutStream& stream) const {
  const Process* process = m_processes.find(name);
  if (process != nullptr) explainRecord(*process, surveyProcesses(m_processes.items()), stream);
}

void AppManager::whyProcess(strings::stringtoken name, utility::PutStream& stream) const {
  const Process* process = m_processes.find(name);
  if (process == nullptr) return;
  const std::lock_guard betweenTwoStatePasses(m_processes);
  writeWhy(process->getNameString(), factsOf(*process), stream);
}

int AppManager::findProcess(const char* prefix) {
  const std::size_t length = std::strlen(prefix);
  std::array<char, 256> baseName;
  utility::DirIterator directories("/proc/", "[0-9]*");
  while (const char* directory = directories.next()) {
    int pid = -1;
    if (!extractProcessInfo(directory, baseName.data(), baseName.size(), nullptr, 0, pid)) continue;
    if (std::strncmp(baseName.data(), prefix, length) == 0) return pid;
  }
  return -1;
}

std::int64_t AppManager::wakeTimesTotal() const {
  return m_watch == nullptr ? 0 : m_watch->histogramTotal();
}

utility::ExitWatch::Histogram AppManager::wakeTimes() const {
  return m_watch == nullptr ? utility::ExitWatch::Histogram{} : m_watch->histogram();
}

void AppManager::getAllPids(utility::IntArray& pids) const {
  pids.Append(::getpid());
  const std::lock_guard lock(m_processes);
  for (const Process* process : m_processes.records()) {
    const auto count = static_cast<unsigned int>(process->numInstances());
    for (unsigned int k = 0; k < count; ++k) pids.Append(process->getPid(k));
  }
}

bool AppManager::getExternalValue(const char* command, char* buffer, unsigned int size) {
  utility::BufferStream output(buffer, static_cast<int>(size), false);
  return framework::Container::spawn(command, nullptr, &output) == 0;
}

bool AppManager::extractProcessInfo(const char* directory, char* baseName, unsigned int nameSize,
                                    char* commandLine, unsigned int commandLineSize, int& pid) {
  CommandLine process;
  if (!process.read(directory)) return false;
  process.copyBaseName(baseName, nameSize);
  if (commandLine != nullptr) {
    utility::BufferStream copy(commandLine, static_cast<int>(commandLineSize), true);
    copy.PutS(process.text());
  }
  pid = pidOf(directory);
  return true;
}

}  // namespace services::app
