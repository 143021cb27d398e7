// Has libFuzzer make the inputs.

#include "fuzz/play.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  play({reinterpret_cast<const char*>(data), size});
  return 0;
}
