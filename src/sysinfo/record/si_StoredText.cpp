// A text of a record in the store, or none.
#include "sysinfo/record/si_StoredText.h"

#include <mutex>
#include <vector>

#include "host/base/fw_Memory.h"

namespace services::sysinfo {

namespace {

using framework::Memory;

struct Retired {
  std::mutex mutex;
  std::vector<framework::StaticText> texts;
};

// Never destroyed: texts of static records outlive any static of this file.
Retired& retired() {
  static auto* const only = new Retired;
  return *only;
}

std::atomic<std::uint64_t> changeCount = 0;

}  // namespace

StoredText::StoredText(const char* text) : m_text(Memory::StaticAllocString(text)) {}

StoredText& StoredText::operator=(const StoredText& other) {
  if (this == &other) return *this;
  Memory::StaticFreeString(m_text.exchange(Memory::StaticAllocString(other.get())));
  return *this;
}

StoredText::~StoredText() { Memory::StaticFreeString(m_text.load(std::memory_order_relaxed)); }

void StoredText::set(const char* text) {
  framework::StaticText old(
      m_text.exchange(Memory::StaticAllocString(text), std::memory_order_acq_rel));
  ++changeCount;
  if (old == nullptr) return;
  Retired& all = retired();
  const std::lock_guard lock(all.mutex);
  all.texts.push_back(std::move(old));
}

void StoredText::freeRetired() {
  Retired& all = retired();
  const std::lock_guard lock(all.mutex);
  all.texts.clear();
}

std::uint64_t StoredText::changes() { return changeCount; }

}  // namespace services::sysinfo
