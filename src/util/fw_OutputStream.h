// The interface of everything that bytes are written to.
#pragma once

#include "util/fw_InputStream.h"

namespace framework {

/// A destination of bytes. An output run lasts from StartOutputStream to EndOutputStream. No stream
/// holds a lock: one thread at a time.
class OutputStream {
 public:
  virtual ~OutputStream() = default;

  /// Begins an output run. Answers whether the stream can be written.
  virtual bool StartOutputStream() = 0;
  virtual void EndOutputStream() = 0;

  /// Writes the `size` bytes at `data`. Answers false when the stream could not take them.
  virtual bool SendOutputStream(const char* data, unsigned int size) = 0;

  /// Passes on what the stream still holds back; nothing by default.
  virtual void FlushOutputStream();

  /// Copies the rest of `input` to this stream. Answers true when the input came to its end without
  /// an error and everything was written.
  virtual bool TransferFromInputStream(InputStream& input);

  virtual bool isOutputStreamOpen() = 0;
  virtual bool isOutputStreamInError() = 0;
  virtual bool isOutputStreamAtEnd() = 0;

  /// Open, not in error and not at the end.
  virtual bool isOutputStreamGood();
};

}  // namespace framework
