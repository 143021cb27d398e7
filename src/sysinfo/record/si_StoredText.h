// A text of a record in the store, or none.
#pragma once

#include <atomic>
#include <cstdint>

namespace services::sysinfo {

/// An owned text or null. While the store is held for reading one thread may set a text that others
/// read: what they may still see is retired, not freed, until the store is next held exclusively.
/// Assignment frees at once: it is for records that nobody else sees, and under the write guard.
class StoredText {
 public:
  StoredText() = default;
  explicit StoredText(const char* text);
  StoredText(const StoredText& other) : StoredText(other.get()) {}
  StoredText& operator=(const StoredText& other);
  ~StoredText();

  /// The text, or null; valid while the store is held.
  const char* get() const { return m_text.load(std::memory_order_acquire); }
  /// Keeps a copy of the text; null clears it.
  void set(const char* text);

  /// Frees what was retired. Call while the store is held exclusively.
  static void freeRetired();
  /// How often a text was set so far in this process.
  static std::uint64_t changes();

 private:
  std::atomic<char*> m_text = nullptr;
};

}  // namespace services::sysinfo
