// Writing to a file.
#pragma once

#include "util/fw_OutputStream.h"

namespace utility {

/// An output stream into a file that is open from construction to destruction; starting and ending
/// a run leaves it open. Every send is written at once.
class FileOutputStream : public framework::OutputStream {
 public:
  /// What becomes of a path that is taken. Refused (EEXIST) are links too, so that the file is
  /// certainly a new one.
  enum class Existing { Used, Refused };

  /// Opens `path` for writing, at its end when `append`, replacing its content otherwise. A new
  /// file gets the permission bits `mode` less the umask. A failure leaves the stream closed and in
  /// error; what is no regular file is one (EINVAL).
  FileOutputStream(const char* path, bool append, int mode, Existing existing = Existing::Used);
  FileOutputStream(const FileOutputStream&) = delete;
  FileOutputStream& operator=(const FileOutputStream&) = delete;
  ~FileOutputStream() override;

  /// Answers whether the file is open.
  bool StartOutputStream() override;
  void EndOutputStream() override;

  /// Answers true when all `size` bytes were written. A failure sets the error flag, which stays; a
  /// later send is tried all the same.
  bool SendOutputStream(const char* data, unsigned int size) override;

  bool isOutputStreamOpen() override;
  bool isOutputStreamInError() override;
  bool isOutputStreamAtEnd() override;

  /// The system error number of the failed open; 0 when it did not fail.
  int getErrno() const { return m_errno; }

 private:
  int m_descriptor;
  bool m_open;
  bool m_error;
  int m_errno;
};

}  // namespace utility
