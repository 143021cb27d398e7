// A bounded buffer that is written and read back.
#pragma once

#include <vector>

#include "util/ut_GetStream.h"
#include "util/ut_PutStream.h"

namespace utility {

/// What is put can be read back: one buffer under a put stream and a get stream.
class BufferStream : public PutStream, public GetStream {
 public:
  /// Empty, over the `size` bytes at `array`, which stays the caller's and outlives the stream.
  BufferStream(char* array, int size, bool silentTruncation);

  /// Holds the whole content of the file `path` as terminated text, in memory of its own. Nothing
  /// is available when the file cannot be read; a read that fails half-way leaves what came before.
  explicit BufferStream(const char* path);

  ~BufferStream() override = default;

 private:
  std::vector<char> m_content;
};

}  // namespace utility
