// The interface of everything that bytes are read from.
#pragma once

#include <cstdint>

namespace framework {

/// A source of bytes. Reads go from StartInputStream to EndInputStream. No stream holds a lock: one
/// thread at a time.
class InputStream {
 public:
  /// How a source that tells the two apart delivers its bytes.
  enum InputMode { binaryInput, textInput };

  virtual ~InputStream() = default;

  /// Starts reading at the beginning. Answers whether the stream can be read.
  virtual bool StartInputStream() = 0;
  virtual void EndInputStream() = 0;

  /// Reads at most `size` bytes into `data`. Answers the bytes read, 0 at the end, -1 on an error.
  virtual int ReceiveInputStream(char* data, unsigned int size) = 0;

  virtual bool isInputStreamOpen() = 0;
  virtual bool isInputStreamInError() = 0;
  virtual bool isInputStreamAtEnd() = 0;

  /// Open, not in error and not at the end.
  virtual bool isInputStreamGood();

  /// The size of the whole source in bytes; -1 when it is not known in advance.
  virtual std::int64_t GetInputStreamSize();

  /// Chooses how bytes are delivered; a source that knows one way only ignores it.
  virtual void setInputMode(InputMode mode);
};

}  // namespace framework
