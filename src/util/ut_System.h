// What the utilities take from the machine: the clock and where files lie.
#pragma once

#include <cstddef>
#include <cstdint>

namespace utility {

/// The narrow part of the machine that the time values and the file streams need. The host's
/// platform derives from it and offers the rest; a test puts a simulated machine in its place.
class System {
 public:
  virtual ~System() = default;

  /// Microseconds since the epoch, on a clock that never steps: anchored to the wall clock when the
  /// process started and advanced by CLOCK_BOOTTIME. Any thread may call.
  virtual std::int64_t now() = 0;

  /// Microseconds to add to a value of now() so that it prints as the wall clock shows it.
  virtual std::int64_t wallOffset() = 0;

  /// The path under which the file `path` really lies: `path` itself, or a text built in `buffer`
  /// of `size` bytes. A path that does not fit gives an empty text, which no file has.
  virtual const char* locate(const char* path, char* buffer, std::size_t size) = 0;

  /// The machine in force. The host defines it; it is valid from before the first static
  /// initialiser that asks for it to the end of the process.
  static System& current();
};

/// The room that a located path may take.
inline constexpr std::size_t locateSize = 512;

}  // namespace utility
