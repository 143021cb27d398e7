// The host's memory: owned texts, and the allocator's accounts.
#pragma once

#include <memory>

namespace framework {

class Memory {
 public:
  /// A copy of a text, released with StaticFreeString; null gives null.
  static char* StaticAllocString(const char* text);
  /// Releases a copy; null does nothing.
  static void StaticFreeString(char* text);

  /// Writes the allocator's accounts to the log, as one trace line.
  static void dumpMemoryStats();

  /// The allocator's accounts of this process in bytes, each at most 2147483647: what it holds of
  /// the system, in use, free, mapped apart for large blocks, number of free blocks, and what the
  /// system could have back (mallinfo2(3): arena + hblkhd, uordblks + hblkhd, fordblks, hblkhd,
  /// ordblks, keepcost).
  static void getMemoryStats(int& total, int& used, int& free, int& mapped, int& freeBlocks,
                             int& extra);
};

/// An owned copy of a text, or null.
struct StaticTextRelease {
  void operator()(char* text) const { Memory::StaticFreeString(text); }
};
using StaticText = std::unique_ptr<char, StaticTextRelease>;

}  // namespace framework
