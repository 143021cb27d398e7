// What the process is about, for the line that says why it ended.
#include "mchost/Piece.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

namespace mchost {

namespace {

std::string& piece() {
  static std::string& only = *new std::string;
  return only;
}

[[noreturn]] void sayWhatEnded() {
  std::set_terminate(std::abort);  // where nothing was thrown, there is nothing to throw again
  try {
    throw;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "error: %s: %s\n", piece().c_str(), failure.what());
  } catch (...) {
    std::fprintf(stderr, "error: %s: unknown exception\n", piece().c_str());
  }
  std::_Exit(EXIT_FAILURE);
}

}  // namespace

void beginPiece(const std::string& name) {
  piece() = name;
  std::set_terminate(sayWhatEnded);
}

}  // namespace mchost
