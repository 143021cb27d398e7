// Reading back the text of a bounded buffer.
#pragma once

#include "util/fw_InputStream.h"
#include "util/ut_Buffer.h"

namespace utility {

/// An input stream from a bounded buffer, which the most derived class provides.
class GetStream : public framework::InputStream, public virtual Buffer {
 public:
  /// Reads again from the start; answers true.
  bool StartInputStream() override;
  void EndInputStream() override;

  /// Reads at most `size` unread bytes into `data`. Answers their number, 0 when none is left.
  int ReceiveInputStream(char* data, unsigned int size) override;

  /// Something is left to read; at the end otherwise. Never in error.
  bool isInputStreamOpen() override;
  bool isInputStreamInError() override;
  bool isInputStreamAtEnd() override;

  /// The unread character `index` places after the next one; a zero byte past the content.
  virtual char operator[](unsigned int index);

  /// Reads one character into `destination`. Answers false, leaving it, when none is left.
  bool GetC(char* destination);
};

}  // namespace utility
