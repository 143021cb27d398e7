// What an input stream does unless it knows better.
#include "util/fw_InputStream.h"

namespace framework {

bool InputStream::isInputStreamGood() {
  return isInputStreamOpen() && !isInputStreamInError() && !isInputStreamAtEnd();
}

std::int64_t InputStream::GetInputStreamSize() { return -1; }

void InputStream::setInputMode(InputMode /*mode*/) {}

}  // namespace framework
