// A bounded character array with a write and a read position.
#pragma once

#include <cstdint>

namespace utility {

/// The storage of the bounded streams: an array of N bytes holds at most N - 1 characters and a
/// terminating zero byte. Content lies between the read position (tail) and the write position
/// (head). Overrunning a bound throws a framework::Exception* with the kind
/// strings::tGSstreamOverflow, or is clipped when silent truncation is on. No lock: one thread at a
/// time.
class Buffer {
 public:
  /// No array: no room and nothing to read.
  Buffer() = default;

  /// Empty, over the `size` bytes at `array`. The array stays the caller's and outlives the buffer.
  /// A null array or a size below 1 leaves no room.
  Buffer(char* array, int size, bool silentTruncation);

  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  virtual ~Buffer() = default;

  /// Characters that still fit: the capacity less the write position, also where an advance that
  /// threw has left that outside the array.
  virtual int WriteRemaining() const;

  /// Characters written and not yet read.
  virtual int ReadAvailable() const;

  /// Moves the write position by `count` characters. A negative count, or one past the capacity,
  /// throws with the position already moved, or is clipped to the content's end and start. Until
  /// a rewind, what is put at a position outside the array is an overflow, and nothing is read.
  virtual void WriteAdvance(int count);

  /// Moves the read position, with the same rule for a negative count or one past the content.
  virtual void ReadAdvance(int count);

  /// Where the next character is written.
  char* pHead() const { return m_data + m_head; }

  /// Where the next character is read: the start of the unread text.
  char* pTail() const { return m_data + m_tail; }

  /// Empties the buffer for reuse.
  void Rewind();

  /// True: overruns are clipped without notice. False, the default: they throw.
  void setSilentTruncation(bool silent) { m_silentTruncation = silent; }

 protected:
  bool isSilentTruncation() const { return m_silentTruncation; }

  /// The characters that can be put at the write position, and read at the read position: none
  /// where an advance that threw has left one outside the array.
  int room() const { return m_head < 0 ? 0 : WriteRemaining(); }
  int unread() const { return m_tail < 0 || m_head > m_capacity ? 0 : ReadAvailable(); }

  /// Takes the `size` bytes at `array`, which belongs to the derived stream, leaving its content.
  void attach(char* array, int size);

  /// Reads again from the start.
  void rereadFromStart() { m_tail = 0; }

 private:
  // 1 over a caller's array; 0 with none or one that a derived stream owns.
  std::uint32_t m_callersArray = 0;
  std::int32_t m_capacity = 0;
  char* m_data = nullptr;
  std::int32_t m_head = 0;
  std::int32_t m_tail = 0;
  bool m_silentTruncation = false;
};

}  // namespace utility
