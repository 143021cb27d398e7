// Appending characters, byte runs and formatted text within a buffer's bound.
#include "util/ut_PutStream.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "util/fw_Exception.h"

namespace utility {

PutStream::PutStream(char* array, int size) : Buffer(array, size, false) {}

bool PutStream::StartOutputStream() {
  Rewind();
  return true;
}

void PutStream::EndOutputStream() {}

bool PutStream::isOutputStreamOpen() { return WriteRemaining() > 0; }

bool PutStream::isOutputStreamInError() { return WriteRemaining() < 1; }

bool PutStream::isOutputStreamAtEnd() { return WriteRemaining() < 1; }

void PutStream::setDecoration(DecorationType type) { setDecoration(type, nullptr); }

void PutStream::setDecoration(DecorationType type, PutStream* stream) {
  m_decoration = type;
  m_decorationStream = stream;
}

void PutStream::PutC(char c) {
  if (room() < 1) return overflow("void utility::PutStream::PutC(char)");
  *pHead() = c;
  advance(1);
}

void PutStream::Indent(int count) {
  for (int i = 0; i < count; ++i) PutC(' ');
}

void PutStream::PutS(const char* text) {
  if (text != nullptr && !append(text, std::strlen(text)))
    overflow("void utility::PutStream::PutS(const char*)");
}

void PutStream::PutB(const char* data, int count) {
  if (count > 0 && !append(data, static_cast<std::size_t>(count)))
    overflow("virtual void utility::PutStream::PutB(const char*, int)");
}

bool PutStream::SendOutputStream(const char* data, unsigned int size) {
  if (!append(data, size))
    overflow("virtual bool utility::PutStream::SendOutputStream(const char*, unsigned int)");
  return true;
}

void PutStream::PutF(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const bool whole = appendFormatted(format, arguments);
  va_end(arguments);
  if (!whole) overflow("void utility::PutStream::PutF(const char*, ...)");
}

// Appends what fits and answers whether all did. A forwarding stream has room again after each run.
bool PutStream::append(const char* data, std::size_t size) {
  while (size > 0 && room() > 0) {
    const std::size_t run = std::min(size, static_cast<std::size_t>(room()));
    std::memcpy(pHead(), data, run);
    advance(static_cast<int>(run));
    data += run;
    size -= run;
  }
  return size == 0;
}

// Accepts `count` characters that stand at the write position.
void PutStream::advance(int count) {
  WriteAdvance(count);
  *pHead() = '\0';
}

// Formats at the write position without moving it. Answers the length of the whole text.
int PutStream::print(const char* format, va_list arguments) {
  va_list copy;
  va_copy(copy, arguments);
  const int left = room();
  char* const place = left > 0 ? pHead() : nullptr;
  const std::size_t size = left > 0 ? static_cast<std::size_t>(left) + 1 : 0;
  const int length = std::vsnprintf(place, size, format, copy);
  va_end(copy);
  return length;
}

bool PutStream::appendFormatted(const char* format, va_list arguments) {
  int length = print(format, arguments);
  if (length > room()) {
    FlushOutputStream();
    length = print(format, arguments);
  }
  const int left = room();
  if (left < 1) return length <= 0;
  advance(std::clamp(length, 0, left));
  // Room after the buffer was filled: the stream forwards, so the rest has somewhere to go.
  return length <= left || (room() > 0 && appendLong(format, arguments, length, left));
}

// Appends what comes after the first `done` characters of a text of `length`.
bool PutStream::appendLong(const char* format, va_list arguments, int length, int done) {
  const auto size = static_cast<std::size_t>(length) + 1;
  const auto text = std::make_unique<char[]>(size);
  std::vsnprintf(text.get(), size, format, arguments);
  return append(text.get() + done, static_cast<std::size_t>(length - done));
}

void PutStream::overflow(const char* operation) const {
  if (isSilentTruncation()) return;
  throw new framework::Exception(strings::tGSstreamOverflow, "mclinux/src/util/ut_PutStream",
                                 operation, "", true);
}

}  // namespace utility
