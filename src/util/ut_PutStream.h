// Writing text into a bounded buffer.
#pragma once

#include <cstdarg>
#include <cstddef>

#include "util/fw_OutputStream.h"
#include "util/ut_Buffer.h"
#include "util/ut_Decorator.h"

namespace utility {

/// An output stream into a bounded array. Text is appended at the write position and the array
/// stays terminated. What does not fit is dropped with silent truncation; without, the leading part
/// is kept and a framework::Exception* of the kind strings::tGSstreamOverflow is thrown, which
/// names the operation. Nothing is allocated while text is put, but for one case: see PutF.
class PutStream : public framework::OutputStream, public Decorator, public virtual Buffer {
 public:
  /// Empty, over the `size` bytes at `array`, which stays the caller's; silent truncation is off.
  PutStream(char* array, int size);

  /// Empties the stream; answers true.
  bool StartOutputStream() override;
  void EndOutputStream() override;

  /// Appends `size` bytes. Answers true, also when silent truncation dropped some.
  bool SendOutputStream(const char* data, unsigned int size) override;

  /// Room for at least one more character. A full stream counts as in error and as at its end.
  bool isOutputStreamOpen() override;
  bool isOutputStreamInError() override;
  bool isOutputStreamAtEnd() override;

  /// Appends `count` bytes; a count below 1 appends nothing.
  virtual void PutB(const char* data, int count);

  /// Appends `count` blanks; a count below 1 appends nothing.
  virtual void Indent(int count);

  void setDecoration(DecorationType type) override;
  void setDecoration(DecorationType type, PutStream* stream) override;

  void PutC(char c);

  /// Appends a terminated text; null appends nothing.
  void PutS(const char* text);

  /// Appends text formatted as by printf(3); what printf cannot convert appends nothing. A text
  /// longer than the whole buffer of a stream that forwards its content takes memory for the length
  /// of the call.
  void PutF(const char* format, ...) __attribute__((format(printf, 2, 3)));

 protected:
  /// For a stream whose most derived class provides the buffer.
  PutStream() = default;

 private:
  bool append(const char* data, std::size_t size);
  void advance(int count);
  int print(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
  bool appendFormatted(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
  bool appendLong(const char* format, va_list arguments, int length, int done)
      __attribute__((format(printf, 2, 0)));
  void overflow(const char* operation) const;

  DecorationType m_decoration = plain;
  PutStream* m_decorationStream = nullptr;
};

}  // namespace utility
