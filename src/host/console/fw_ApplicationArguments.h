// The arguments with which the host program was started.
#pragma once

#include "host/base/ut_Arguments.h"

namespace framework {

class ApplicationArguments {
 public:
  /// The arguments, the program's own name as number 0; empty before setArgs().
  static const utility::Arguments& getArgs() { return args(); }
  /// Called once by main.
  static void setArgs(utility::Arguments arguments) { args() = std::move(arguments); }

 private:
  static utility::Arguments& args();
};

}  // namespace framework
