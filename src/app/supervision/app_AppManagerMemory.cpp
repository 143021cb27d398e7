// The supervision service: the memory snapshot, the save track and the limits.
#include <cstdlib>
#include <cstring>

#include "app/supervision/app_AppManager.h"
#include "app/supervision/app_DaemonReport.h"
#include "app/supervision/app_Threshold.h"
#include "host/base/fw_Memory.h"
#include "host/console/fw_ConsoleTable.h"
#include "util/fw_Exception.h"
#include "util/ut_BufferStream.h"
#include "util/ut_FileInputStream.h"
#include "util/ut_TimeMeasure.h"

namespace services::app {

using utility::TimeMeasure;

namespace {

constexpr int samplePeriodSeconds = 119;
constexpr int sfcbdInstances = 26;

// Whether more than the sample period has passed; the clock reads 0 before the first sample.
bool isDue(std::int64_t last) {
  return TimeMeasure::getSeconds(TimeMeasure::getTimestamp()) - TimeMeasure::getSeconds(last) >
         samplePeriodSeconds;
}

unsigned int valueOf(const char* text, const char* key) {
  std::array<char, 64> value;
  AppManager::extractValue(text, key, value.data(), value.size());
  return static_cast<unsigned int>(std::atoi(value.data()));
}

}  // namespace

void AppManager::doMemTrack() {
  if (isDue(m_memInfoTime)) takeMemInfo();
  if (isDue(m_memSaveTime)) takeMemSample();
}

void AppManager::takeMemInfo() {
  m_memInfoTime = TimeMeasure::getTimestamp();
  std::array<char, 1025> text;
  int size = 0;
  try {
    utility::FileInputStream file("/proc/meminfo");
    if (file.StartInputStream()) size = file.ReceiveInputStream(text.data(), text.size() - 1);
  } catch (framework::Exception* failed) {
    delete failed;
    return;
  }
  if (size <= 0) return;
  text[static_cast<unsigned int>(size)] = '\0';
  const unsigned int total = valueOf(text.data(), "MemTotal:");
  m_memFree = valueOf(text.data(), "MemFree:");
  m_memCached = valueOf(text.data(), "Cached:");
  m_memAnon = valueOf(text.data(), "AnonPages:");
  m_memBuffers = valueOf(text.data(), "Buffers:");
  if (total == 0) return;
  m_memFreePercent = m_memFree * 100 / total;
  m_memCachedPercent = m_memCached * 100 / total;
  m_memAnonPercent = m_memAnon * 100 / total;
  m_memBuffersPercent = m_memBuffers * 100 / total;
}

void AppManager::extractValue(const char* text, const char* key, char* value, unsigned int size) {
  value[0] = '\0';
  const char* found = std::strstr(text, key);
  if (found == nullptr) return;
  found += std::strlen(key);
  found += std::strspn(found, " ");
  const std::size_t length = std::min<std::size_t>(std::strcspn(found, " \t\r\n"), size - 1);
  std::memcpy(value, found, length);
  value[length] = '\0';
}

void AppManager::takeMemSample() {
  m_memSaveTime = TimeMeasure::getTimestamp();
  framework::Memory::dumpMemoryStats();
  int mapped = 0;
  int freeBlocks = 0;
  const std::lock_guard lock(m_memSaveLock);
  memtrack_& sample = m_memSaveTrack[m_memSaveNext];
  framework::Memory::getMemoryStats(sample.totalBytes, sample.usedBytes, sample.freeBytes, mapped,
                                    freeBlocks, sample.extraBytes);
  sample.timeStamp = utility::DateTime(TimeMeasure::getSeconds(m_memSaveTime));
  sample.sysBytesFree = static_cast<int>(m_memFree);
  sample.sysPercentFree = static_cast<int>(m_memFreePercent);
  m_memSaveNext = (m_memSaveNext + 1) % static_cast<unsigned int>(m_memSaveTrack.size());
  if (m_memSaveCount < m_memSaveTrack.size()) ++m_memSaveCount;
}

std::vector<memtrack_> AppManager::memSamples() const {
  const std::lock_guard lock(m_memSaveLock);
  const auto size = static_cast<unsigned int>(m_memSaveTrack.size());
  const unsigned int first = m_memSaveCount == size ? m_memSaveNext : 0;
  std::vector<memtrack_> samples;
  samples.reserve(m_memSaveCount);
  for (unsigned int i = 0; i < m_memSaveCount; ++i) {
    samples.push_back(m_memSaveTrack[(first + i) % size]);
  }
  return samples;
}

std::optional<memtrack_> AppManager::newestMemSample() const {
  const std::lock_guard lock(m_memSaveLock);
  if (m_memSaveCount == 0) return std::nullopt;
  return m_memSaveTrack[(m_memSaveNext == 0 ? m_memSaveTrack.size() : m_memSaveNext) - 1];
}

void AppManager::dumpMemSaveTrack(utility::PutStream& stream, unsigned int most) const {
  if (auto* records = framework::recordsAskedOf(stream)) {
    for (const memtrack_& sample : memSamples()) records->addRecord(app::recordOf(sample));
    return;
  }
  stream.PutS("timeStamp,totalBytes,usedBytes,freeBytes,extraBytes,sysBytesFree,sysPercentFree\n");
  const std::vector<memtrack_> samples = memSamples();
  const std::size_t step = most == 0 ? 1 : (samples.size() + most - 1) / most;
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if ((samples.size() - 1 - i) % step != 0) continue;
    const memtrack_& sample = samples[i];
    sample.timeStamp.ToISOBuffer(stream);
    stream.PutF(",%d,%d,%d,%d,%d,%d\n", sample.totalBytes, sample.usedBytes, sample.freeBytes,
                sample.extraBytes, sample.sysBytesFree, sample.sysPercentFree);
  }
}

void AppManager::clearMemSaveTrack() {
  const std::lock_guard lock(m_memSaveLock);
  m_memSaveNext = 0;
  m_memSaveCount = 0;
}

void AppManager::doMemLimitChecking() {
  if (m_memCached >= Threshold::getThreshold(strings::token<"pageCache">)) return;
  LogWarning("MEM: VM page cache low, finding proces to restart");
  for (Process* process : m_processes.records()) {
    if (restartIfOverLimit(*process)) return;
  }
}

bool AppManager::restartIfOverLimit(Process& process) {
  if (process.getName() == strings::tGSsfcbd) {
    if (process.numInstances() <= sfcbdInstances) return false;
    process.restart();
    LogError("MEM: MAX INSTANCES REACHED: restarting sfcbd");
    noteLimitRestart(process);
    return true;
  }
  const unsigned int limit = Threshold::getThreshold(process.getName());
  if (process.getDataSize() <= limit) return false;
  LogError("MEM: DATA SIZE THRESHOLD EXCEEDED: %s (%u/%u) - restarting ...",
           process.getNameString(), process.getDataSize(), limit);
  process.restart();
  noteLimitRestart(process);
  return true;
}

void AppManager::noteLimitRestart(const Process& process) {
  expectEffect(process, "restart", "memory limit");
  noteAsked(process, "restart", "memory limit", true);
  follow(process, "restart");
  noteRestart(process);
}

}  // namespace services::app
