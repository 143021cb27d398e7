// The host's memory: owned texts, and the allocator's accounts.
#include "host/base/fw_Memory.h"

#include <malloc.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstring>

#include "host/log/fw_Logger.h"

namespace framework {

namespace {
int bounded(std::size_t value) { return static_cast<int>(std::min<std::size_t>(value, INT_MAX)); }
}  // namespace

char* Memory::StaticAllocString(const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  return static_cast<char*>(std::memcpy(new char[size], text, size));
}

void Memory::StaticFreeString(char* text) { delete[] text; }

void Memory::getMemoryStats(int& total, int& used, int& free, int& mapped, int& freeBlocks,
                            int& extra) {
  const struct mallinfo2 accounts = ::mallinfo2();
  total = bounded(accounts.arena + accounts.hblkhd);
  used = bounded(accounts.uordblks + accounts.hblkhd);
  free = bounded(accounts.fordblks);
  mapped = bounded(accounts.hblkhd);
  freeBlocks = bounded(accounts.ordblks);
  extra = bounded(accounts.keepcost);
}

void Memory::dumpMemoryStats() {
  if (Logger::getLevel() < LogType::Trace) return;
  int total = 0, used = 0, free = 0, mapped = 0, freeBlocks = 0, extra = 0;
  getMemoryStats(total, used, free, mapped, freeBlocks, extra);
  Logger::StaticLog(LogType::Trace, "memory: total %d used %d free %d mapped %d blocks %d extra %d",
                    total, used, free, mapped, freeBlocks, extra);
}

}  // namespace framework
