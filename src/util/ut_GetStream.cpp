// Reading single characters and byte runs from a bounded buffer.
#include "util/ut_GetStream.h"

#include <algorithm>
#include <cstring>

namespace utility {

bool GetStream::StartInputStream() {
  rereadFromStart();
  return true;
}

void GetStream::EndInputStream() {}

int GetStream::ReceiveInputStream(char* data, unsigned int size) {
  if (unread() < 1 || size == 0) return 0;
  const unsigned int run = std::min(size, static_cast<unsigned int>(unread()));
  std::memcpy(data, pTail(), run);
  ReadAdvance(static_cast<int>(run));
  return static_cast<int>(run);
}

bool GetStream::isInputStreamOpen() { return ReadAvailable() > 0; }

bool GetStream::isInputStreamInError() { return false; }

bool GetStream::isInputStreamAtEnd() { return ReadAvailable() < 1; }

char GetStream::operator[](unsigned int index) {
  if (unread() < 1 || index >= static_cast<unsigned int>(unread())) return '\0';
  return pTail()[index];
}

bool GetStream::GetC(char* destination) {
  if (unread() < 1) return false;
  *destination = *pTail();
  ReadAdvance(1);
  return true;
}

}  // namespace utility
