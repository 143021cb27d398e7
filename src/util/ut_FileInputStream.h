// Reading from a file.
#pragma once

#include "util/fw_InputStream.h"

namespace utility {

/// An input stream from a file that is open from construction to destruction.
class FileInputStream : public framework::InputStream {
 public:
  /// Opens `path` for reading. A failure leaves the stream closed and in error.
  explicit FileInputStream(const char* path);
  FileInputStream(const FileInputStream&) = delete;
  FileInputStream& operator=(const FileInputStream&) = delete;
  ~FileInputStream() override;

  /// Reads from the file's start again. Answers whether the file is open.
  bool StartInputStream() override;
  void EndInputStream() override;

  /// One read(2) of at most `size` bytes, so that a file under /proc is seen at one moment. Answers
  /// the bytes read, 0 at the end, -1 on an error.
  int ReceiveInputStream(char* data, unsigned int size) override;

  bool isInputStreamOpen() override;
  /// The open or a read failed.
  bool isInputStreamInError() override;
  /// A read found the end.
  bool isInputStreamAtEnd() override;

  /// The file's size in bytes, -1 when it is not open.
  std::int64_t GetInputStreamSize() override;

 private:
  int m_descriptor;
  bool m_error;
  bool m_atEnd = false;
};

}  // namespace utility
