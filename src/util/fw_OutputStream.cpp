// What an output stream does unless it knows better.
#include "util/fw_OutputStream.h"

namespace framework {

void OutputStream::FlushOutputStream() {}

bool OutputStream::TransferFromInputStream(InputStream& input) {
  char chunk[16384];
  while (input.isInputStreamGood()) {
    const int received = input.ReceiveInputStream(chunk, sizeof chunk);
    if (received <= 0) return received == 0;
    if (!SendOutputStream(chunk, static_cast<unsigned int>(received))) return false;
  }
  return !input.isInputStreamInError() && input.isInputStreamAtEnd();
}

bool OutputStream::isOutputStreamGood() {
  return isOutputStreamOpen() && !isOutputStreamInError() && !isOutputStreamAtEnd();
}

}  // namespace framework
