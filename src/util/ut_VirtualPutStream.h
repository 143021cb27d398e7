// A put stream without a bound: its content goes on to another stream.
#pragma once

#include <cstdint>
#include <memory>

#include "util/ut_PutStream.h"

namespace utility {

/// Collects text in a buffer of its own and forwards it to a target stream whenever the fill level
/// is reached, on a flush, and at the end of the run. Text that the target refuses is dropped and
/// the stream is in error until the next start.
class VirtualPutStream : public PutStream {
 public:
  /// `target` stays the caller's and outlives the stream. `size` is the buffer's size in bytes, at
  /// least 2; `level` the fill, in characters, at which it is forwarded: 1 to `size` - 1, other
  /// values are moved into that range.
  VirtualPutStream(framework::OutputStream& target, int size, int level);

  /// Ends the run when content is still unsent, as after an exception; otherwise leaves the target
  /// alone. What the target throws is swallowed here.
  ~VirtualPutStream() override;

  /// Ends the run before, if any, and starts one of the target. Answers the target's answer.
  bool StartOutputStream() override;

  /// Forwards what is buffered and ends the target's run.
  void EndOutputStream() override;

  /// Appends `size` bytes. Answers false once the target has refused content of this run.
  bool SendOutputStream(const char* data, unsigned int size) override;

  /// Forwards what is buffered, if anything.
  void FlushOutputStream() override;

  bool isOutputStreamInError() override;

  void WriteAdvance(int count) override;

 private:
  framework::OutputStream& m_target;
  std::unique_ptr<char[]> m_storage;
  int m_level;
  std::uint32_t m_refused = 0;
};

}  // namespace utility
