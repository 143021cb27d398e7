// The supervision record of one daemon.
#include "app/supervision/app_Process.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "app/supervision/app_CLocale.h"
#include "host/base/fw_Container.h"
#include "host/base/fw_ProcessMem.h"
#include "host/base/st_StringRepository.h"
#include "host/base/ut_Debug.h"
#include "host/service/fw_DebugFlags.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
#include "util/ut_OutcomeCount.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using strings::StringRepository;
using utility::OutcomeCount;
using utility::TimeMeasure;

namespace {

const strings::Words processWords = {"Unclassified", "Up", "Down", "Starting", "GoingDown"};

const framework::DebugFlag debugFlag("Process");

bool isDebugOn() { return utility::Debug::isDebugOn(strings::token<"Process">); }

// Measures one process; what failed to be measured is 0.
ProcessInstance measured(ProcessInstance instance) {
  instance.dataSize = instance.codeSize = instance.sharedSize = 0;
  if (instance.pid <= 0) return instance;
  try {
    const framework::ProcessMem memory(instance.pid);
    instance.dataSize = memory.getSummaryData().getAllDataTouchedTotal();
    instance.codeSize = memory.getSummaryData().getCodeTotal();
    instance.sharedSize = memory.getSummaryData().getSharedTotal();
  } catch (framework::Exception* gone) {
    delete gone;
  }
  return instance;
}

}  // namespace

void Process::PatternRelease::operator()(regex_t* compiled) const {
  ::regfree(compiled);
  framework::Entity::Free(compiled);
}

Process::Process(strings::stringtoken name, bool suspend, const char* pattern)
    : m_name(name), m_suspend(suspend) {
  if (pattern == nullptr) return;
  setPattern(pattern);
  LogInfo("pattern: [%s]", pattern);
  compilePattern();
}

void Process::compilePattern() {
  const CLocale byteForByte;
  void* storage = framework::Entity::Alloc(sizeof(regex_t));
  auto* compiled = new (storage) regex_t;
  if (::regcomp(compiled, m_pattern.get(), REG_EXTENDED | REG_NOSUB) == 0) {
    m_compiled.reset(compiled);
    return;
  }
  LogError("Failure to compile regular expression for %s: %s", getNameString(), m_pattern.get());
  framework::Entity::Free(storage);
}

const char* Process::getNameString() const { return StringRepository::toString(m_name); }

void Process::setPattern(const char* pattern) {
  m_pattern.reset(framework::Memory::StaticAllocString(pattern));
}

bool Process::match(const char* baseName, const char* commandLine) const {
  return tryMatch(baseName, commandLine) == Match::Yes;
}

Process::Match Process::tryMatch(const char* baseName, const char* commandLine) const {
  if (m_compiled == nullptr) {
    return std::strcmp(baseName, getNameString()) == 0 ? Match::Yes : Match::No;
  }
  const CLocale byteForByte;
  const int result = ::regexec(m_compiled.get(), commandLine, 0, nullptr, 0);
  if (result == 0) return Match::Yes;
  if (result == REG_NOMATCH) return Match::No;
  std::array<char, 256> text;
  ::regerror(result, m_compiled.get(), text.data(), text.size());
  LogError("regex match error: %s", text.data());
  return Match::Failed;
}

void Process::control(const char* action, const char* daemon) {
  std::array<char, 128> text;
  utility::BufferStream command(text.data(), text.size(), false);
  const bool isKill = std::strcmp(action, "kill") == 0;
  if (isKill) {
    command.PutF("killall -9 %s", daemon);
  } else {
    command.PutF("/app/etc/init.d/%sS %s &", daemon, action);
  }
  if (isDebugOn()) LogDebug("%s", command.pTail());
  const auto issued = std::make_shared<DaemonCommand>(action);
  {
    const std::lock_guard lock(m_mutex);
    m_lastCommand = issued;
  }
  framework::Container::spawnFor(
      command.pTail(), framework::Container::Fault::Status,
      [issued, isKill,
       ended = isKill ? nullptr : m_scriptEnded](const utility::CommandOutcome& outcome) {
        issued->note(outcome);
        if (!isKill) OutcomeCount::of(OutcomeCount::Purpose::InitScript).note(outcome);
        if (outcome.isEnded() && ended) ended();
      });
}

std::shared_ptr<const DaemonCommand> Process::lastCommand() const {
  const std::lock_guard lock(m_mutex);
  return m_lastCommand;
}

void Process::start() { control("start", getNameString()); }

void Process::stop() { control("stop", getNameString()); }

void Process::restart() {
  {
    const std::lock_guard lock(m_mutex);
    m_restarting = true;
    m_oldPidCount = m_instanceCount;
    std::transform(m_instances.begin(), m_instances.end(), m_oldPids.begin(),
                   [](const ProcessInstance& instance) { return instance.pid; });
  }
  control("restart", getNameString());
}

void Process::setState(State state) {
  if (isDebugOn()) {
    LogDebug("%s: from: %s to %s", getNameString(), StringRepository::toString(getState()),
             StringRepository::toString(state));
  }
  const std::lock_guard lock(m_mutex);
  m_state = state;
  m_stateTime = TimeMeasure::getTimestamp();
}

Process::State Process::getState() const {
  const std::lock_guard lock(m_mutex);
  return m_state;
}

int Process::getStateTime() const {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(TimeMeasure::getSeconds(TimeMeasure::getTimestamp() - m_stateTime));
}

void Process::startScan() {
  const std::lock_guard lock(m_mutex);
  for (unsigned int i = 0; i < m_instanceCount; ++i) m_instances[i].seen = false;
  for (ProcessInstance& stranger : m_strangers) stranger.seen = false;
  m_oldCount = m_instanceCount;
}

void Process::addInstance(int pid) {
  const std::lock_guard lock(m_mutex);
  for (ProcessInstance& stranger : m_strangers) {
    if (stranger.pid != pid) continue;
    stranger.seen = true;
    return;
  }
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    if (m_instances[i].pid != pid) continue;
    m_instances[i].seen = true;
    return;
  }
  if (m_instanceCount == maxInstances) return;
  m_instances[m_instanceCount++] = {.seen = true, .pid = pid};
}

bool Process::endScan() {
  const std::lock_guard lock(m_mutex);
  setStrangersApart();
  const bool oldOnesGone = std::none_of(m_instances.begin(), m_instances.begin() + m_oldCount,
                                        [](const ProcessInstance& old) { return old.seen; });
  auto* const last = std::remove_if(m_instances.begin(), m_instances.begin() + m_instanceCount,
                                    [](const ProcessInstance& instance) { return !instance.seen; });
  m_instanceCount = static_cast<unsigned int>(last - m_instances.begin());
  sumSizes();
  if (m_instanceCount == 0) return false;
  m_lastPid = m_instances[0].pid;
  if (oldOnesGone) ++m_generation;
  return oldOnesGone && m_oldCount > 0;
}

unsigned int Process::generation() const {
  const std::lock_guard lock(m_mutex);
  return m_generation;
}

int Process::lastPid() const {
  const std::lock_guard lock(m_mutex);
  return m_lastPid;
}

void Process::setStrangersApart() {
  std::erase_if(m_strangers, [](const ProcessInstance& stranger) { return !stranger.seen; });
  for (unsigned int i = 0; m_strict && i < m_instanceCount; ++i) {
    ProcessInstance& instance = m_instances[i];
    if (!instance.stranger || !instance.seen) continue;
    m_strangers.push_back(instance);
    instance.seen = false;  // and so it is removed
  }
}

std::vector<int> Process::newcomers() const {
  std::vector<int> pids;
  const std::lock_guard lock(m_mutex);
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    if (!m_instances[i].settled) pids.push_back(m_instances[i].pid);
  }
  return pids;
}

bool Process::hasNewcomers() const {
  const std::lock_guard lock(m_mutex);
  return std::any_of(m_instances.begin(), m_instances.begin() + m_instanceCount,
                     [](const ProcessInstance& one) { return !one.settled; });
}

bool Process::isOwn(int pid) const {
  const std::lock_guard lock(m_mutex);
  return std::any_of(m_instances.begin(), m_instances.begin() + m_instanceCount,
                     [pid](const ProcessInstance& one) { return one.pid == pid && !one.stranger; });
}

bool Process::isStranger(int pid) const {
  const std::lock_guard lock(m_mutex);
  const auto is = [pid](const ProcessInstance& one) { return one.pid == pid && one.stranger; };
  return std::any_of(m_instances.begin(), m_instances.begin() + m_instanceCount, is) ||
         std::ranges::any_of(m_strangers, is);
}

void Process::settle(int pid, bool stranger) {
  const std::lock_guard lock(m_mutex);
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    ProcessInstance& one = m_instances[i];
    if (one.pid != pid) continue;
    one.stranger = stranger && one.doubted;
    one.settled = !stranger || one.doubted;
    one.doubted = true;
  }
}

bool Process::hasStrangersOnly() const {
  const std::lock_guard lock(m_mutex);
  if (m_instanceCount == 0) return !m_strangers.empty();
  return std::all_of(m_instances.begin(), m_instances.begin() + m_instanceCount,
                     [](const ProcessInstance& one) { return one.stranger; });
}

bool Process::isImpostor() const {
  const std::lock_guard lock(m_mutex);
  return m_impostor;
}

bool Process::setImpostor(bool impostor) {
  const std::lock_guard lock(m_mutex);
  return std::exchange(m_impostor, impostor) != impostor;
}

void Process::sumSizes() {
  m_dataSize = m_codeSize = m_sharedSize = 0;
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    m_dataSize += m_instances[i].dataSize;
    m_codeSize += m_instances[i].codeSize;
    m_sharedSize += m_instances[i].sharedSize;
  }
}

void Process::updateInfo() {
  // Only this thread changes the list, so it stays in place between the locks.
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    const ProcessInstance fresh = measured(m_instances[i]);
    const std::lock_guard lock(m_mutex);
    m_instances[i] = fresh;
  }
  const std::lock_guard lock(m_mutex);
  sumSizes();
}

char* Process::getInstanceInfo(char* buffer, unsigned int size) const {
  utility::PutStream list(buffer, static_cast<int>(size));
  const std::lock_guard lock(m_mutex);
  const char* separator = "";
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    if (!m_instances[i].seen) continue;
    const std::string pid = separator + std::to_string(m_instances[i].pid);
    if (static_cast<std::size_t>(list.WriteRemaining()) < pid.size()) break;
    list.PutS(pid.c_str());
    separator = ",";
  }
  return buffer;
}

int Process::numInstances() const {
  const std::lock_guard lock(m_mutex);
  return static_cast<int>(m_instanceCount);
}

int Process::getPid(unsigned int index) const {
  const std::lock_guard lock(m_mutex);
  return index < m_instanceCount ? m_instances[index].pid : -1;
}

unsigned int Process::getDataSize() const {
  const std::lock_guard lock(m_mutex);
  return m_dataSize;
}

unsigned int Process::getCodeSize() const {
  const std::lock_guard lock(m_mutex);
  return m_codeSize;
}

unsigned int Process::getSharedSize() const {
  const std::lock_guard lock(m_mutex);
  return m_sharedSize;
}

bool Process::getSuspend() const {
  const std::lock_guard lock(m_mutex);
  return m_suspend;
}

void Process::setSuspend(bool suspend) {
  const std::lock_guard lock(m_mutex);
  m_suspend = suspend;
}

bool Process::getNoKill() const {
  const std::lock_guard lock(m_mutex);
  return m_noKill;
}

void Process::setNoKill(bool noKill) {
  const std::lock_guard lock(m_mutex);
  m_noKill = noKill;
}

bool Process::getRestarting() const {
  const std::lock_guard lock(m_mutex);
  return m_restarting;
}

void Process::setRestarting(bool restarting) {
  const std::lock_guard lock(m_mutex);
  m_restarting = restarting;
}

bool Process::isNewGeneration() const {
  const std::lock_guard lock(m_mutex);
  const auto* const oldEnd = m_oldPids.begin() + m_oldPidCount;
  return std::none_of(m_instances.begin(), m_instances.begin() + m_instanceCount,
                      [&](const ProcessInstance& instance) {
                        return std::find(m_oldPids.begin(), oldEnd, instance.pid) != oldEnd;
                      });
}

void Process::information(utility::PutStream& stream, int indentation, bool /*detailed*/) const {
  const std::lock_guard lock(m_mutex);
  const auto seconds = TimeMeasure::getSeconds(TimeMeasure::getTimestamp() - m_stateTime);
  stream.Indent(indentation);
  stream.PutF(
      "%-14s: %-10s (%5d), suspend: %-5s, last transition: %6d, code %6u kb data: %6u kb shared "
      "%6u kb\n",
      getNameString(), StringRepository::toString(m_state),
      m_instanceCount == 1 ? m_instances[0].pid : 0,
      m_suspend ? strings::pGStrue : strings::pGSfalse, static_cast<int>(seconds), m_codeSize,
      m_dataSize, m_sharedSize);
  if (m_instanceCount < 2) return;
  for (unsigned int i = 0; i < m_instanceCount; ++i) {
    const ProcessInstance& instance = m_instances[i];
    stream.Indent(indentation + 4);
    stream.PutF("(%5d), code: %6u kb data: %6u kb shared: %6u kb\n", instance.pid,
                instance.codeSize, instance.dataSize, instance.sharedSize);
  }
}

}  // namespace services::app
